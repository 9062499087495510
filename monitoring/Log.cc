#include "monitoring/Log.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

// Calls again what a signal has ended early.
template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

std::string asLine(std::string_view text) {
  constexpr std::string_view kBegin = "moxsupply exporter: ";
  // A pipe takes as much whole, or says beforehand that it does not.
  constexpr std::size_t kMost = PIPE_BUF - kBegin.size() - 1;
  return fmt::format("{}{}\n", kBegin, harmlessLine(text, kMost));
}

}  // namespace

void Log::line(std::string_view text) {
  if (mLost > 0) {
    const std::string lost =
        fmt::format("{} line{} left out: nobody read the log", mLost, mLost == 1 ? "" : "s");
    if (!tryToWrite(asLine(lost))) {
      ++mLost;
      return;
    }
    mLost = 0;
  }
  if (!tryToWrite(asLine(text))) ++mLost;
}

bool Log::tryToWrite(std::string_view text) {
  pollfd writable = {.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
  if (uninterrupted([&] { return ::poll(&writable, 1, 0); }) != 1) return false;
  if ((writable.revents & POLLOUT) == 0) return false;
  return uninterrupted([&] { return ::write(STDERR_FILENO, text.data(), text.size()); }) ==
         static_cast<ssize_t>(text.size());
}

}  // namespace moxsupply
