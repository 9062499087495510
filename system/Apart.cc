#include "system/Apart.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "system/Pipe.h"

namespace moxsupply {

tl::expected<Apart, int> Apart::begin(const std::function<void(const Finish&)>& work) {
  Pipe result = makePipe(Blocking::kYes);
  if (!result) return tl::unexpected(errno);
  auto process = Process::fork([&] {
    result.readEnd = FileDescriptor();
    work([&](std::string_view text) { ::_exit(writeAll(result.writeEnd.get(), text)); });
  });
  if (!process) return tl::unexpected(process.error());
  return Apart(std::move(result.readEnd), *std::move(process));
}

std::optional<std::string> Apart::resultBy(Clock::time_point end) {
  constexpr std::size_t kMostBytes = std::size_t{1} << 20U;
  std::string text;
  bool isWhole = false;
  while (!isWhole && text.size() < kMostBytes) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd result = {.fd = mResult.get(), .events = POLLIN, .revents = 0};
    const auto time = std::clamp<decltype(left)>(left, 0, INT_MAX);
    const int ready = ::poll(&result, 1, static_cast<int>(time));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) break;
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(mResult.get(), buffer.data(), buffer.size());
    if (count > 0) text.append(buffer.data(), static_cast<std::size_t>(count));
    isWhole = count == 0;
  }
  mProcess.kill();
  if (!isWhole || text.empty()) return std::nullopt;
  return text;
}

}  // namespace moxsupply
