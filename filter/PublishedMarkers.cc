#include "filter/PublishedMarkers.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "filter/SchedulerMessage.h"
#include "system/FileDescriptor.h"

namespace moxsupply {

namespace {

// Since when the process that started this one, the print server, has been running. Nothing else
// tells one print server from the one before it that had the same process number.
std::string startOfParent() {
  std::ifstream file(fmt::format("/proc/{}/stat", ::getppid()));
  std::string text((std::istreambuf_iterator<char>(file)), {});
  // The second field is a name in parentheses that may hold anything; the start is the 20th after.
  std::istringstream fields(text.substr(std::min(text.rfind(')') + 1, text.size())));
  std::string field;
  for (int i = 0; i < 20; ++i) fields >> field;
  return fmt::format("{}/{}", ::getppid(), field);
}

std::string originOf(const std::string& ppdPath) {
  struct stat ppd {};
  static_cast<void>(::stat(ppdPath.c_str(), &ppd));
  return fmt::format("{} {}/{}.{}", startOfParent(), ppd.st_ino, ppd.st_mtim.tv_sec,
                     ppd.st_mtim.tv_nsec);
}

// What the file holds. Nothing where a link, a pipe or a device stands in its place, or where it is
// longer than any that is written here: no such thing can keep the filter from its work.
std::string contentOf(const std::string& path) {
  constexpr std::size_t kLongest = 16384;  // six lists of 2000 bytes, and the rest
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat about {};
  const bool isFile = ::fstat(file.get(), &about) == 0 && S_ISREG(about.st_mode);
  if (!isFile || about.st_size > static_cast<off_t>(kLongest)) return {};
  std::string content(kLongest, '\0');
  const ssize_t size = ::read(file.get(), content.data(), content.size());
  content.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return content;
}

// A file name that stays inside the folder, whatever the queue is called.
std::string fileNameFor(std::string queue) {
  std::ranges::replace(queue, '/', '%');
  return fmt::format("moxsupply-{}.markers", queue);
}

}  // namespace

PublishedMarkers::PublishedMarkers(const std::string& cacheFolder, const std::string& queue,
                                   const std::string& ppdPath)
    : mPath(cacheFolder.empty() ? "" : cacheFolder + '/' + fileNameFor(queue)),
      mOrigin(originOf(ppdPath)) {
  std::istringstream file(contentOf(mPath));
  std::string origin;
  if (!std::getline(file, origin) || origin != mOrigin) return;
  std::getline(file, mMessage);
  mMessage += '\n';
  mLists.assign(std::istreambuf_iterator<char>(file), {});
}

void PublishedMarkers::publishLists(const std::vector<std::string>& lines) {
  std::string lists = fmt::format("{}", fmt::join(lines, ""));
  if (lists == mLists) return;
  sendToScheduler(lists);
  mLists = std::move(lists);
  save();
}

void PublishedMarkers::publishMessage(const std::string& line) {
  if (line == mMessage) return;
  sendToScheduler(line);
  mMessage = line;
  save();
}

// Writes a new file and puts it in the place of the old one, so that no reader sees half of it.
void PublishedMarkers::save() const {
  if (mPath.empty()) return;
  const std::string unfinished = fmt::format("{}.{}", mPath, ::getpid());
  FileDescriptor file(
      ::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return;
  const std::string message = mMessage.empty() ? "\n" : mMessage;
  const bool isWritten =
      writeAll(file.get(), mOrigin + '\n' + message + mLists) == 0 && file.close() == 0;
  if (!isWritten || std::rename(unfinished.c_str(), mPath.c_str()) != 0) {
    ::unlink(unfinished.c_str());
  }
}

}  // namespace moxsupply
