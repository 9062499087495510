#include "host/Command.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "system/FileDescriptor.h"

namespace moxsupply {

int complain(std::string_view command, const Problem& problem) {
  fmt::print(stderr, "moxsupply {}: {}\n", command, problem.what);
  if (!problem.advice.empty()) fmt::print(stderr, "{}\n", problem.advice);
  return problem.isMisuse ? kExitMisuse : kExitFailed;
}

bool wantsColor(std::string_view when) {
  if (when != "auto") return when == "always";
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr &&
         terminal != nullptr && std::string_view(terminal) != "dumb";
}

int print(std::string_view command, std::string_view text) {
  const int error = writeAll(STDOUT_FILENO, text);
  if (error == 0) return 0;
  return complain(command, {fmt::format("standard output: {}", std::strerror(error)), {}, true});
}

}  // namespace moxsupply
