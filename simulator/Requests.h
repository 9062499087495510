#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "simulator/Bytes.h"

namespace moxsupply::simulator {

// What hosts ask a printer.
enum class Request : std::uint8_t {
  kLoopBack,       // any printer
  kInkjetQuery,    // inkjet: all items
  kDeviceQuery,    // laser: the supplies table
  kSuppliesQuery,  // laser: the record of the model family
};
constexpr std::size_t kRequestCount = 4;

// The packet that stands before both laser queries and is not answered for itself.
Bytes prefixPacket();

// Bytes that are no request.
struct Junk {
  static constexpr std::size_t kShown = 32;
  Bytes head;            // the first kShown of them
  std::size_t size = 0;  // all of them
};

// Finds the requests in what a connection brings, cut as it may be.
//
// A byte with which no request can begin or go on makes the first byte of what is held junk; the
// search for a request starts again at the byte after it. So a request is found wherever it stands,
// also right after half of another one. Junk is gathered and given as one: before the next request,
// or when asked for.
class RequestReader {
 public:
  using Finding = std::variant<Request, Junk>;

  // What `bytes` complete, in order.
  std::vector<Finding> read(std::span<const std::uint8_t> bytes);

  // The junk gathered so far.
  std::optional<Junk> takeJunk();

  // The same once no more bytes come: the beginning of a request is junk too.
  std::optional<Junk> takeRest();

  [[nodiscard]] bool holdsJunk() const { return mJunk.size > 0; }

 private:
  void addToJunk(std::size_t count);

  Bytes mBegun;  // the beginning of a request, or nothing
  Junk mJunk;
};

}  // namespace moxsupply::simulator
