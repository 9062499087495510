#include "monitoring/ListFile.h"

#include <utility>

namespace moxsupply {

ListFile::ListFile(std::string path) : mPath(std::move(path)), mRead(identity()), mSeen(mRead) {}

ListFile::Identity ListFile::identity() const {
  struct stat status {};
  if (::stat(mPath.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}

Result<PrinterList> ListFile::readAgain() {
  mRead = mSeen = identity();
  return read();
}

std::optional<Result<PrinterList>> ListFile::look() {
  const Identity now = identity();
  const bool isSettled = std::exchange(mSeen, now) == now;
  if (!isSettled || now == mRead) return std::nullopt;
  mRead = now;
  return read();
}

}  // namespace moxsupply
