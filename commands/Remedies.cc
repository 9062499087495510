#include "commands/Remedies.h"

#include <fmt/format.h>

#include "text/ShellWord.h"

namespace moxsupply {

std::string commandFor(const Remedy& remedy) {
  switch (remedy.kind) {
    case Remedy::Kind::kEnableQueue:
      return fmt::format(
          "moxsupply enable {0} --type laser\nor, for an inkjet printer: moxsupply enable {0} "
          "--type inkjet",
          shellWord(remedy.subject));
    case Remedy::Kind::kExamineQueue:
      return fmt::format("moxsupply doctor {}", shellWord(remedy.subject));
    case Remedy::Kind::kNone:
    case Remedy::Kind::kLongerDeadline:
      break;
  }
  return {};
}

std::string helpFor(const Problem& problem) {
  std::string help = problem.advice;
  const auto add = [&help](std::string_view sentence) {
    if (!help.empty()) help += ' ';
    help += sentence;
  };
  if (problem.remedy.kind == Remedy::Kind::kLongerDeadline) {
    add("--deadline SECONDS gives it longer.");
  }
  if (const std::string command = commandFor(problem.remedy); !command.empty()) {
    add(fmt::format("Run: {}", command));
  }
  return help;
}

}  // namespace moxsupply
