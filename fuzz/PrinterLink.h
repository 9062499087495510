#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace moxsupply::fuzzing {

// The printer at the other end of descriptors 1 and 3, played by an input, for as long as it lives:
// what the module writes to standard output comes here, and libcups's read of the back channel is
// answered from here. The rest of the module's channel, MoxFilterComm, is what it is anywhere.
//
// Use it in fuzz targets, which make thousands of queries a second and have no time for processes
// and pipes. In tests, FilterProcess.
//
// The first byte of the input says which write is refused: the first, the second and so on; 0 means
// none. The second says for how many reads the sizes follow, a byte each: 0, nothing comes within
// the timeout; 255, as many bytes come as are wanted; any other, at most that many. What follows is
// what the printer sends. Once the sizes are used up, reads bring as much as is wanted, and after
// the last byte the printer hangs up.
class PrinterLink {
 public:
  explicit PrinterLink(std::span<const std::uint8_t> input);
  ~PrinterLink();
  PrinterLink(const PrinterLink&) = delete;
  PrinterLink& operator=(const PrinterLink&) = delete;
  PrinterLink(PrinterLink&&) = delete;
  PrinterLink& operator=(PrinterLink&&) = delete;

  [[nodiscard]] std::size_t delivered() const { return mDelivered; }      // bytes
  [[nodiscard]] std::size_t readsInVain() const { return mReadsInVain; }  // which brought nothing
  [[nodiscard]] const std::vector<std::size_t>& wanted() const { return mWanted; }  // by each read
  [[nodiscard]] const std::string& written() const { return mWritten; }

  // What libcups's read and the write of standard output do here.
  std::ptrdiff_t read(std::span<char> buffer, double timeout);
  std::ptrdiff_t write(std::string_view bytes);

 private:
  std::uint8_t mRefusedWrite = 0;
  std::span<const std::uint8_t> mSizes;  // of the reads to come
  std::span<const std::uint8_t> mBytes;  // that are still to come
  std::size_t mDelivered = 0;
  std::size_t mReadsInVain = 0;
  std::vector<std::size_t> mWanted;
  std::size_t mWrites = 0;
  std::string mWritten;
};

// The timeout of each read, in seconds, with which targets ask.
constexpr std::uint32_t kTimeout = 7;

}  // namespace moxsupply::fuzzing
