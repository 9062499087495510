#include "filter/RecordingPath.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "system/FileDescriptor.h"
#include "system/ReadFile.h"

namespace moxsupply {

namespace {

constexpr std::string_view kQueue = "%q";

// A name that stays inside its folder, whatever the queue is called.
std::string fileNameOf(std::string queue) {
  std::ranges::replace(queue, '/', '_');
  return queue;
}

std::string withName(std::string file, const std::string& name) {
  for (std::size_t at = 0; (at = file.find(kQueue, at)) != std::string::npos; at += name.size()) {
    file.replace(at, kQueue.size(), name);
  }
  return file;
}

// Writes a file that is not there yet, so that nobody reads half of it. Of several that do so at
// once, one does.
void claim(const std::string& path, const std::string& content) {
  const std::string unfinished = fmt::format("{}.{}", path, ::getpid());
  FileDescriptor file(
      ::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return;
  if (writeAll(file.get(), content) == 0 && file.close() == 0) {
    // Fails where another was first.
    [[maybe_unused]] const int linked = ::link(unfinished.c_str(), path.c_str());
  }
  ::unlink(unfinished.c_str());
}

// The queue whose transcript is in the file itself. This one, where that cannot be remembered.
std::string firstQueue(const std::string& file, const std::string& queue,
                       const std::string& memory) {
  constexpr std::size_t kLongest = 16384;
  const std::string before = file + '\n';
  std::string content = readFile(memory, kLongest, Links::kRefused).value_or("");
  if (!content.starts_with(before)) {
    ::unlink(memory.c_str());  // of another file
    claim(memory, before + queue);
    content = readFile(memory, kLongest, Links::kRefused).value_or("");
  }
  return content.starts_with(before) ? content.substr(before.size()) : queue;
}

}  // namespace

std::string recordingPath(const std::string& file, const std::string& queue,
                          const std::string& cacheFolder) {
  const std::string name = fileNameOf(queue);
  if (file.find(kQueue) != std::string::npos) return withName(file, name);
  if (file.empty() || queue.empty() || cacheFolder.empty()) return file;
  const std::string first = firstQueue(file, queue, cacheFolder + "/moxsupply-recording");
  return first == queue ? file : fmt::format("{}.{}", file, name);
}

}  // namespace moxsupply
