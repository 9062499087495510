#include "filter/ServedJob.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string_view>

#include "filter/SchedulerMessage.h"
#include "queue/PrintServer.h"
#include "system/FileDescriptor.h"
#include "system/FilterDescriptors.h"
#include "system/ProcessStatus.h"
#include "system/ReadFile.h"
#include "text/Decimal.h"

namespace moxsupply {

namespace {

using Clock = std::chrono::steady_clock;

// Reads what still comes and drops it. Returns whether the end came.
bool backChannelEndsBy(Clock::time_point end) {
  std::array<char, 4096> buffer{};
  for (auto now = Clock::now(); now < end; now = Clock::now()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
    pollfd backChannel = {.fd = kBackChannel, .events = POLLIN, .revents = 0};
    if (::poll(&backChannel, 1, static_cast<int>(left.count())) <= 0) continue;
    const ssize_t count = ::read(kBackChannel, buffer.data(), buffer.size());
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) return true;
  }
  return false;
}

// Whether a process is the backend of a job: like this one it was started by the print server; it
// goes by a device URI, and its first argument is the job's number.
bool isBackendOf(const ServedJob& job, pid_t process) {
  constexpr std::size_t kLongestCommandLine = std::size_t{1} << 20U;
  const auto status = processStatus(process);
  if (!status || status->parent != ::getppid()) return false;
  std::istringstream arguments(
      readFile(fmt::format("/proc/{}/cmdline", process), kLongestCommandLine).value_or(""));
  std::string name;
  std::string number;
  std::getline(arguments, name, '\0');
  std::getline(arguments, number, '\0');
  return name.find("://") != std::string::npos && number == std::to_string(job.id);
}

// A cancelled job's backend gets SIGTERM, but ignores it while it prints what a filter sends: it is
// to finish the page.
void killBackend(const ServedJob& job) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
    const auto number = decimal(entry.path().filename().string());
    const auto process = static_cast<pid_t>(number.value_or(0));
    if (process > 0 && isBackendOf(job, process)) ::kill(process, SIGKILL);
  }
}

}  // namespace

std::optional<ServedJob> servedJob(const std::string& id, const std::string& user) {
  const char* software = std::getenv("SOFTWARE");
  const char* queue = std::getenv("PRINTER");
  const auto number = decimal(id);
  const bool isServed = software != nullptr && std::string_view(software).starts_with("CUPS/") &&
                        std::getenv("CUPS_SERVER") != nullptr && queue != nullptr;
  if (!isServed || !number || *number == 0) return std::nullopt;
  return ServedJob{queue, static_cast<int>(*number), user};
}

void endJob(const ServedJob& job, HasAnswered hasAnswered, std::chrono::milliseconds patience) {
  // A backend that ends before it is told that nothing more comes has failed: the printer has reset
  // the connection, say. The print server would hold its job back and try it again in five minutes.
  const bool endedBefore = backChannelEndsBy(Clock::now() + std::chrono::milliseconds(1));
  const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  ::dup2(nowhere.get(), STDOUT_FILENO);
  const bool hasEnded = endedBefore || backChannelEndsBy(Clock::now() + patience);
  if (hasEnded && !endedBefore && hasAnswered == HasAnswered::kYes) return;

  tellScheduler("DEBUG", hasEnded ? "The CUPS backend may have failed; its job is cancelled."
                                  : "The CUPS backend still waits for the printer; its job is "
                                    "cancelled.");
  auto server = PrintServer::connect();
  ::signal(SIGTERM, SIG_IGN);
  const auto cancelled = server.and_then(
      [&](PrintServer& connected) { return connected.cancelJob(job.queue, job.id, job.user); });
  if (!cancelled) {
    tellScheduler("WARNING", cancelled.error().what);
  } else {
    // Of a job that is not cancelled, this would be a failure, which can stop the queue.
    killBackend(job);
  }
}

}  // namespace moxsupply
