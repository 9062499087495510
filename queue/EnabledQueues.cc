#include "queue/EnabledQueues.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>

#include "json/AsciiJson.h"
#include "json/ReadJson.h"
#include "system/FileDescriptor.h"
#include "system/ReadFile.h"
#include "system/ReplaceFile.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestFile = std::size_t{4} << 20U;  // bytes

// systemd names the folders of a service with colons between them.
std::string stateFolder() {
  const char* named = std::getenv("STATE_DIRECTORY");
  const std::string folders = named == nullptr ? "" : named;
  const std::string first = folders.substr(0, folders.find(':'));
  return first.empty() ? "/var/lib/moxsupply" : first;
}

std::string filePath() { return stateFolder() + "/queues.json"; }

// As `--type` of `moxsupply enable` writes it.
std::string_view typeOf(PrinterKind kind) {
  return kind == PrinterKind::kLaser ? "laser" : "inkjet";
}

// What the print server takes for a queue's name.
bool canBeAQueue(std::string_view name) {
  constexpr std::size_t kLongestName = 127;  // bytes
  return !name.empty() && name.size() <= kLongestName && std::ranges::none_of(name, [](char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == '\x7F' ||
           std::string_view("/?'\"#").find(c) != std::string_view::npos;
  });
}

EnabledQueue queueFrom(const JsonPlace& place) {
  EnabledQueue queue;
  const JsonPlace type = place.at("type");
  const std::string word = type.isText() ? type.text() : "";
  if (word != typeOf(PrinterKind::kLaser) && word != typeOf(PrinterKind::kInkjet)) {
    type.expected(R"("laser" or "inkjet")");
  }
  if (word == typeOf(PrinterKind::kInkjet)) queue.kind = PrinterKind::kInkjet;
  if (const auto low = place.find("low"); low && !low->isNull()) {
    queue.low = static_cast<int>(low->number(kLeastLowLevel, kMostLowLevel));
  }
  if (const auto afterJobs = place.find("afterJobs"); afterJobs && !afterJobs->isNull()) {
    queue.afterJobs = afterJobs->truth();
  }
  return queue;
}

EnabledQueues queuesFrom(const JsonPlace& document) {
  EnabledQueues queues;
  for (const std::string& name : document.keys()) {
    if (canBeAQueue(name)) queues.emplace(name, queueFrom(document.at(name)));
  }
  return queues;
}

std::string jsonOf(const EnabledQueues& queues) {
  constexpr int kIndent = 2;
  nlohmann::ordered_json document = nlohmann::ordered_json::object();
  for (const auto& [name, queue] : queues) {
    document[name] = {
        {"type", typeOf(queue.kind)}, {"low", queue.low}, {"afterJobs", queue.afterJobs}};
  }
  return document.dump(kIndent, ' ', /*ensure_ascii=*/true,
                       nlohmann::ordered_json::error_handler_t::replace) +
         '\n';
}

tl::unexpected<Problem> cannotWrite(int error) {
  return failure(fmt::format("cannot remember what is enabled: {}: {}", forTerminal(filePath()),
                             std::strerror(error)),
                 error == EACCES || error == EPERM
                     ? "Only an administrator may do this. Run this command again with sudo."
                     : "");
}

// The folder, locked until it is closed.
Result<FileDescriptor> lockedFolder() {
  constexpr int kMostTries = 1000;
  const std::string path = stateFolder();
  constexpr mode_t kForEverybody = 0755;
  const bool isNew = ::mkdir(path.c_str(), kForEverybody) == 0;
  if (!isNew && errno != EEXIST) return cannotWrite(errno);
  FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return cannotWrite(errno);
  if (isNew && ::fchmod(folder.get(), kForEverybody) != 0) return cannotWrite(errno);
  for (int tries = 0; ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0; ++tries) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || tries == kMostTries) return cannotWrite(errno);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return folder;
}

}  // namespace

Measure measureOf(const EnabledQueues& enabled, const std::string& queue) {
  const auto found = enabled.find(queue);
  return found == enabled.end() ? Measure() : Measure{.lowLevel = found->second.low};
}

Result<EnabledQueues> enabledQueues() {
  const std::string path = filePath();
  const auto json = readFile(path, kLongestFile);
  if (!json && json.error() == ENOENT) return EnabledQueues();
  if (!json) {
    return failure(fmt::format("{}: {}", forTerminal(path), std::strerror(json.error())));
  }
  auto queues = readJson(*json, forTerminal(path), queuesFrom);
  if (queues) return queues;
  return failure(std::move(queues).error().what,
                 translated("It is left as it is. Mend it, or take it away and enable the queues "
                            "again."));
}

Result<> changeEnabledQueues(const std::function<void(EnabledQueues&)>& change) {
  const auto folder = lockedFolder();
  if (!folder) return tl::unexpected(folder.error());
  const auto former = enabledQueues();
  if (!former) return tl::unexpected(former.error());
  EnabledQueues queues = *former;
  change(queues);
  if (queues == *former) return {};
  constexpr mode_t kForEverybodyToRead = 0644;
  const int error = replaceFile(filePath(), jsonOf(queues), kForEverybodyToRead);
  if (error != 0) return cannotWrite(error);
  return {};
}

}  // namespace moxsupply
