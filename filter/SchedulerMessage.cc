#include "filter/SchedulerMessage.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "system/FileDescriptor.h"
#include "text/HarmlessText.h"

namespace moxsupply {

void tellScheduler(std::string_view kind, std::string_view text) {
  constexpr std::size_t kLongestText = 1000;
  sendToScheduler(fmt::format("{}: {}\n", kind, harmlessLine(text, kLongestText)));
}

bool sendToScheduler(std::string_view lines) {
  bool areOut = true;
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size() - 1) + 1;
    areOut = writeAll(STDERR_FILENO, lines.substr(0, end)) == 0 && areOut;
    lines.remove_prefix(end);
  }
  return areOut;
}

}  // namespace moxsupply
