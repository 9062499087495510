#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace moxsupply::transcript {

// Takes the serial numbers out of what a printer sends, as it comes, in pieces of any size.
//
// Printers tell theirs in one place: the payload of the answer to the supplies query begins with
// the serial number's length, a byte, and its text. The text becomes as many zeros.
//
// A packet is A5, the length of what follows as two bytes, flags (bit 20: more packets follow) and
// a body. The answer's body begins with E0 07 02; that of its later packets with one byte of no
// meaning. Bytes between packets, and packets that answer something else, stay as they are. A piece
// that looks like the start of a packet is taken for one, also in the middle of another: a printer
// that broke off may begin again.
class SerialNumbers {
 public:
  // Blanks what `piece` holds of a serial number.
  void blankIn(std::span<std::uint8_t> piece);

 private:
  void take(std::uint8_t& byte);
  void takePayload(std::uint8_t& byte);

  std::size_t mPosition = 0;    // in the packet; 0 between packets
  std::size_t mPacketSize = 0;  // known from the third byte on
  bool mMoreFollow = false;     // after this packet
  bool mIsLater = false;        // this packet goes on with the reply of the one before
  bool mIsAnswer = false;       // the reply answers the supplies query
  bool mHasLength = false;      // the byte before the serial number has come
  std::size_t mLeft = 0;        // bytes of the serial number still to come
};

}  // namespace moxsupply::transcript
