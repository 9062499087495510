#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace moxsupply::transcript {

// Takes the serial numbers out of what a printer sends, as it comes, in pieces of any size.
//
// Printers tell theirs in one place: the payload of the answer to the supplies query begins with
// the serial number's length, a byte, and its text. The text becomes as many zeros.
//
// The answer begins wherever A5 .. .. .. E0 07 02 stands, whatever came before and whatever that
// said would follow: printers break off, and begin again. The two bytes behind A5 are the length of
// the packet's rest. Behind a packet that ends before the serial number does, it goes on in the
// next one, which has a head of five bytes, also where the flags say that none follows; what stands
// between the two becomes zeros, too, since a packet may be longer than it says.
class SerialNumbers {
 public:
  // Blanks what `piece` holds of a serial number.
  void blankIn(std::span<std::uint8_t> piece);

 private:
  static constexpr std::size_t kHeadSize = 7;  // of the answer's first packet

  void take(std::uint8_t& byte);
  void takeData(std::uint8_t& byte);
  void endHead(std::size_t size);

  std::array<std::uint8_t, kHeadSize> mLatest{};  // bytes, as the printer sent them
  std::size_t mHeadLeft = 0;                      // bytes of this packet's head still to come
  std::size_t mDataLeft = 0;                      // the same of what is behind its head
  std::optional<std::size_t> mLeft = 0;           // of the serial number; none until its length
};

}  // namespace moxsupply::transcript
