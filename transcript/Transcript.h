#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace moxsupply::transcript {

using Bytes = std::vector<std::uint8_t>;

enum class Event : std::uint8_t {
  kSent,      // the host wrote these bytes to the printer
  kFailed,    // what it wrote last did not go out whole: the link took no more
  kReceived,  // these bytes came from the printer, at once
  kEnded,     // the printer hung up: nothing more comes
};

// One operation on the link.
struct Operation {
  Event event = Event::kSent;
  std::chrono::milliseconds pause{0};  // since the operation before, or the query's beginning
  Bytes bytes;                         // of kSent and kReceived, 1 to kMostBytesOfOperation

  friend bool operator==(const Operation&, const Operation&) = default;
};

// One query of a printer: how it was asked, and what then went over the link.
struct Session {
  std::string printerType;    // "Laser" or "Inkjet"
  std::string transport;      // "usb", "socket", "mdns" or "dnssd"
  std::uint32_t timeout = 0;  // seconds for each single read
  std::vector<Operation> operations;

  friend bool operator==(const Session&, const Session&) = default;
};

// One session, or several of the same printer, one after the other.
using Transcript = std::vector<Session>;

// What a transcript can hold. A query takes in 8 replies of at most 65,536 bytes each and asks with
// fewer than 100; two of them, one as a laser and one as an inkjet printer, fit four times.
constexpr std::size_t kMostBytesOfOperation = 65'536;
constexpr std::size_t kMostBytes = 4'194'304;
constexpr std::size_t kMostOperations = 262'144;
constexpr std::size_t kMostQueries = 64;

}  // namespace moxsupply::transcript
