#include "fuzz/PrinterLink.h"

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "fuzz/Target.h"

namespace moxsupply::fuzzing {

namespace {

PrinterLink* theLink = nullptr;

// Four replies to each of two requests, and each ends with the first read that brings nothing.
constexpr std::size_t kMostReadsInVain = 8;

ssize_t writeToLink(void* /*cookie*/, const char* bytes, std::size_t size) {
  return theLink == nullptr ? 0 : theLink->write({bytes, size});
}

// Puts standard output and descriptor 3 in the places that they have in a filter.
bool standInForAFilter() {
  const int backChannel = ::open("/dev/null", O_RDWR | O_NONBLOCK);  // which readData looks at
  if (backChannel != 3 && (::dup2(backChannel, 3) != 3 || ::close(backChannel) != 0)) std::abort();
  stdout = ::fopencookie(nullptr, "w", {nullptr, writeToLink, nullptr, nullptr});
  return stdout != nullptr && std::setvbuf(stdout, nullptr, _IONBF, 0) == 0;
}

// Before anybody opens a file, which would be descriptor 3.
const bool kIsReady = standInForAFilter();

std::span<const std::uint8_t> taken(std::span<const std::uint8_t>& bytes, std::size_t count) {
  const auto front = bytes.first(std::min(count, bytes.size()));
  bytes = bytes.subspan(front.size());
  return front;
}

std::uint8_t takenByte(std::span<const std::uint8_t>& bytes) {
  const auto front = taken(bytes, 1);
  return front.empty() ? 0 : front[0];
}

}  // namespace

PrinterLink::PrinterLink(std::span<const std::uint8_t> input) {
  promise(kIsReady && theLink == nullptr, "one printer at a time");
  theLink = this;
  mRefusedWrite = takenByte(input);
  const std::size_t sizes = takenByte(input);
  mSizes = taken(input, sizes);
  mBytes = input;
}

PrinterLink::~PrinterLink() { theLink = nullptr; }

std::ptrdiff_t PrinterLink::read(std::span<char> buffer, double timeout) {
  constexpr std::size_t kMostWanted = 512;
  promise(!buffer.empty() && buffer.size() <= kMostWanted, "a read asks for 1 to 512 bytes");
  promise(timeout == kTimeout, "a read waits as long as the host said");

  mWanted.push_back(buffer.size());

  constexpr std::uint8_t kAsManyAsAreWanted = 255;
  const std::uint8_t size = mSizes.empty() ? kAsManyAsAreWanted : takenByte(mSizes);
  const auto bytes =
      taken(mBytes, size == kAsManyAsAreWanted ? buffer.size()
                                               : std::min<std::size_t>(size, buffer.size()));
  std::ranges::copy(bytes, buffer.begin());
  mDelivered += bytes.size();
  if (!bytes.empty()) return static_cast<std::ptrdiff_t>(bytes.size());

  promise(++mReadsInVain <= kMostReadsInVain, "no query goes on for more than eight waits");
  return mBytes.empty() ? 0 : -1;
}

std::ptrdiff_t PrinterLink::write(std::string_view bytes) {
  if (++mWrites == mRefusedWrite) return 0;
  mWritten += bytes;
  return static_cast<std::ptrdiff_t>(bytes.size());
}

}  // namespace moxsupply::fuzzing

// In the place of the one in libcups.
extern "C" ssize_t cupsBackChannelRead(char* buffer, std::size_t bytes, double timeout) {
  return moxsupply::fuzzing::theLink->read({buffer, bytes}, timeout);
}
