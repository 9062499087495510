#include "simulator/Requests.h"

#include <algorithm>
#include <array>
#include <utility>

namespace moxsupply::simulator {

namespace {

struct KnownRequest {
  Request request;
  Bytes bytes;
};

// clang-format off
const std::array<KnownRequest, kRequestCount> kRequests = {{
    {Request::kLoopBack,      {0xA5, 0x00, 0x06, 0x40, 0x03, 0x04, 0x20, 0x20, 0x20}},
    {Request::kInkjetQuery,   {0xA5, 0x00, 0x05, 0x50, 0xE0, 0x81, 0x00, 0xFF}},
    // Laser printers are sent a prefix packet first.
    {Request::kDeviceQuery,   {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4, 0x5B, 0x10, 0xEF,
                               0xA4, 0x5B, 0x11, 0xEE, 0x00, 0xFF, 0x13, 0xEC, 0x2E,
                               0xA5, 0x00, 0x08, 0x50, 0xE0, 0x21, 0x01, 0x00, 0x00, 0x01, 0x08}},
    {Request::kSuppliesQuery, {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4, 0x5B, 0x10, 0xEF,
                               0xA4, 0x5B, 0x11, 0xEE, 0x00, 0xFF, 0x13, 0xEC, 0x2E,
                               0xA5, 0x00, 0x05, 0x50, 0xE0, 0x07, 0x02, 0x00}},
}};
// clang-format on

bool beginsRequest(const Bytes& bytes) {
  return std::ranges::any_of(kRequests, [&](const KnownRequest& known) {
    return bytes.size() <= known.bytes.size() &&
           std::equal(bytes.begin(), bytes.end(), known.bytes.begin());
  });
}

std::optional<Request> wholeRequest(const Bytes& bytes) {
  const auto* found = std::ranges::find(kRequests, bytes, &KnownRequest::bytes);
  if (found == kRequests.end()) return std::nullopt;
  return found->request;
}

}  // namespace

Bytes prefixPacket() {
  constexpr std::ptrdiff_t kSize = 19;
  const auto* query = std::ranges::find(kRequests, Request::kDeviceQuery, &KnownRequest::request);
  return {query->bytes.begin(), query->bytes.begin() + kSize};
}

std::vector<RequestReader::Finding> RequestReader::read(std::span<const std::uint8_t> bytes) {
  std::vector<Finding> findings;
  for (const std::uint8_t byte : bytes) {
    mBegun.push_back(byte);
    while (!beginsRequest(mBegun)) addToJunk(1);
    if (const auto request = wholeRequest(mBegun)) {
      if (auto junk = takeJunk()) findings.emplace_back(*std::move(junk));
      findings.emplace_back(*request);
      mBegun.clear();
    }
  }
  return findings;
}

std::optional<Junk> RequestReader::takeJunk() {
  if (!holdsJunk()) return std::nullopt;
  return std::exchange(mJunk, {});
}

std::optional<Junk> RequestReader::takeRest() {
  addToJunk(mBegun.size());
  return takeJunk();
}

void RequestReader::addToJunk(std::size_t count) {
  for (std::size_t i = 0; i < count && mJunk.head.size() < Junk::kShown; ++i) {
    mJunk.head.push_back(mBegun[i]);
  }
  mJunk.size += count;
  mBegun.erase(mBegun.begin(), mBegun.begin() + static_cast<std::ptrdiff_t>(count));
}

}  // namespace moxsupply::simulator
