#include "host/ServedJob.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "host/Decimal.h"
#include "host/PrintServer.h"
#include "host/SchedulerMessage.h"
#include "system/FileDescriptor.h"

namespace moxsupply {

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kBackChannel = 3;

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

void endJob(const ServedJob& job, std::chrono::milliseconds patience) {
  const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  ::dup2(nowhere.get(), STDOUT_FILENO);
  if (backChannelEndsBy(Clock::now() + patience)) return;

  tellScheduler("DEBUG", "The CUPS backend still waits for the printer; its job is cancelled.");
  auto server = PrintServer::connect();
  auto problem = std::holds_alternative<Problem>(server)
                     ? std::optional(std::get<Problem>(server))
                     : std::get<PrintServer>(server).cancelJob(job.queue, job.id, job.user);
  if (problem) tellScheduler("WARNING", problem->what);
}

}  // namespace moxsupply
