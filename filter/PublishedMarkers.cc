#include "filter/PublishedMarkers.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

#include "filter/SchedulerMessage.h"
#include "system/ProcessStatus.h"
#include "system/ReadFile.h"
#include "system/ReplaceFile.h"
#include "text/Decimal.h"

namespace moxsupply {

namespace {

// Stands for lists that were published before the print server started.
constexpr std::string_view kUnknownLists = "?\n";

// The process that started this one, the print server, and since when it has been running: nothing
// else tells one print server from the one before it that had the same process number.
std::string parentAndItsStart() {
  const pid_t parent = ::getppid();
  return fmt::format("{}/{}", parent, processStatus(parent).value_or(ProcessStatus{}).startTime);
}

std::string originOf(const std::string& ppdPath) {
  struct stat ppd {};
  static_cast<void>(::stat(ppdPath.c_str(), &ppd));
  return fmt::format("{} {}/{}.{}", parentAndItsStart(), ppd.st_ino, ppd.st_mtim.tv_sec,
                     ppd.st_mtim.tv_nsec);
}

// What the file holds. Nothing where a link, a pipe or a device stands in its place, or where it is
// longer than any that is written here: no such thing can keep the filter from its work.
std::string contentOf(const std::string& path) {
  constexpr std::size_t kLongest = 16384;  // six lists of 2000 bytes, and the rest
  return readFile(path, kLongest, Links::kRefused).value_or("");
}

// Of complete lines, the one with the levels; empty where there is none.
std::string levelsIn(const std::string& lists) {
  const std::size_t begin = lists.find("ATTR: marker-levels=");
  if (begin == std::string::npos) return {};
  return lists.substr(begin, lists.find('\n', begin) + 1 - begin);
}

std::string withoutLevels(std::string lists) {
  const std::string levels = levelsIn(lists);
  return lists.erase(std::min(lists.find(levels), lists.size()), levels.size());
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
  std::string message;
  std::string reported;
  if (!std::getline(file, origin) || !std::getline(file, reported)) return;
  if (!std::getline(file, message)) return;
  const auto seconds = decimal(reported);
  if (seconds.value_or(0) > 0) mReported.emplace(std::chrono::seconds(*seconds));
  std::string lists(std::istreambuf_iterator<char>(file), {});
  mHasLevels = !lists.empty();
  if (origin != mOrigin) return;
  mMessage = message + '\n';
  if (lists != kUnknownLists) mLists = std::move(lists);
}

void PublishedMarkers::publishLists(const std::vector<std::string>& lines) {
  std::string lists = fmt::format("{}", fmt::join(lines, ""));
  if (lists == mLists) return;
  const bool isNew = withoutLevels(lists) != withoutLevels(mLists);
  // What the print server may not have heard is sent again.
  mLists = sendToScheduler(isNew ? lists : levelsIn(lists)) ? std::move(lists) : kUnknownLists;
  save();
}

void PublishedMarkers::publishMessage(const std::string& line) {
  mReported = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  mMessage = line;
  sendToScheduler(line);
  save();
}

void PublishedMarkers::publishNewMessage(const std::string& line) {
  if (line == mMessage) return;
  mMessage = line;
  sendToScheduler(line);
  save();
}

void PublishedMarkers::forget() {
  mLists.clear();
  mMessage.clear();
  mHasLevels = false;
  mReported.reset();
  if (!mPath.empty()) ::unlink(mPath.c_str());
}

void PublishedMarkers::save() const {
  if (mPath.empty()) return;
  const std::string message = mMessage.empty() ? "\n" : mMessage;
  const std::string_view lists = mLists.empty() && mHasLevels ? kUnknownLists : mLists;
  const auto seconds = mReported ? mReported->time_since_epoch().count() : 0;
  static_cast<void>(
      replaceFile(mPath, fmt::format("{}\n{}\n{}{}", mOrigin, seconds, message, lists), 0600));
}

}  // namespace moxsupply
