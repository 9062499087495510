#include "commands/Command.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <system_error>

#include "commands/Remedies.h"
#include "system/FileDescriptor.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

std::string complaint(std::string_view command, const Problem& problem) {
  std::string text = fmt::format("moxsupply {}: {}\n", command, problem.what);
  if (const std::string help = helpFor(problem); !help.empty()) text += help + '\n';
  return text;
}

int complain(std::string_view command, const Problem& problem) {
  fmt::print(stderr, "{}", complaint(command, problem));
  return problem.isMisuse ? kExitMisuse : kExitFailed;
}

int complainOfEnd(const std::exception& error) noexcept {
  const bool isOutOfMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
  const auto* refused = dynamic_cast<const std::system_error*>(&error);
  const bool isOfFiles = dynamic_cast<const std::filesystem::filesystem_error*>(&error) != nullptr;
  std::fprintf(stderr, "moxsupply: %s\n", isOutOfMemory ? "out of memory" : error.what());
  return isOutOfMemory || (refused != nullptr && !isOfFiles) ? kExitFailed : kExitMisuse;
}

void sayWhenMemoryRunsOut() noexcept {
  std::set_terminate([] {
    try {
      if (const auto failed = std::current_exception()) std::rethrow_exception(failed);
    } catch (const std::bad_alloc& error) {
      std::_Exit(complainOfEnd(error));
    } catch (...) {
      // a mistake of ours
    }
    std::abort();
  });
}

bool wantsColor(Coloring when) {
  if (when != Coloring::kAuto) return when == Coloring::kAlways;
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr &&
         terminal != nullptr && std::string_view(terminal) != "dumb";
}

// (A terminal that shows ASCII alone would show few letters of some languages.)
void speakTheReadersLanguage() {
  if (localeIsUtf8()) translateMessages();
}

int print(std::string_view command, std::string_view text, int output) {
  const int error = writeAll(output, text);
  if (error == 0) return 0;
  return complain(command, misuse(translated("standard output: {}", std::strerror(error))).value());
}

}  // namespace moxsupply
