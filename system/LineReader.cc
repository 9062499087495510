#include "system/LineReader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace moxsupply {

bool LineReader::readMore() {
  constexpr std::size_t kAtOnce = 65536;
  mRead.erase(0, mBegin);
  mBegin = 0;
  const std::size_t before = mRead.size();
  mRead.resize(before + kAtOnce);
  ssize_t size = 0;
  do {
    size = ::read(mFile, mRead.data() + before, kAtOnce);
  } while (size < 0 && errno == EINTR);
  if (size < 0) mError = errno;
  mIsAtEnd = size <= 0;
  mRead.resize(before + static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return !mIsAtEnd;
}

std::optional<std::string> LineReader::next() {
  std::size_t searched = 0;
  for (;;) {
    const std::size_t end = mRead.find('\n', mBegin + searched);
    searched = std::min(end, mRead.size()) - mBegin;
    if (end == std::string::npos && searched <= mMostBytes && !mIsAtEnd && readMore()) continue;
    if (mError != 0 || (end == std::string::npos && searched == 0)) return std::nullopt;
    const std::string line = mRead.substr(mBegin, std::min(searched, mMostBytes + 1));
    mBegin += line.size() + (line.size() == searched && end != std::string::npos ? 1 : 0);
    return line;
  }
}

}  // namespace moxsupply
