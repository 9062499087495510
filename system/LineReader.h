#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace moxsupply {

// The lines of an open file or pipe, one at a time.
class LineReader {
 public:
  // A line of more than `mostBytes` is given cut, with one byte more than that.
  LineReader(int file, std::size_t mostBytes) : mFile(file), mMostBytes(mostBytes) {}

  // The next line without its line feed. Nothing at the end, and where reading failed.
  std::optional<std::string> next();

  // The errno of a failure; 0 for none.
  [[nodiscard]] int error() const { return mError; }

 private:
  bool readMore();

  int mFile;
  std::size_t mMostBytes;
  std::string mRead;       // what was read
  std::size_t mBegin = 0;  // of it, what comes next
  bool mIsAtEnd = false;
  int mError = 0;
};

}  // namespace moxsupply
