#include "commands/Remedies.h"

#include <fmt/format.h>

#include "text/ShellWord.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

std::string enableCommand(const Remedy& remedy, std::string_view type) {
  std::string command =
      fmt::format("sudo moxsupply enable {} --type {}", shellWord(remedy.subject), type);
  if (remedy.timeout != 0) command += fmt::format(" --timeout {}", remedy.timeout);
  if (remedy.deadline != 0) command += fmt::format(" --deadline {}", remedy.deadline);
  if (remedy.lowLevel != 0) command += fmt::format(" --low {}", remedy.lowLevel);
  if (!remedy.afterJobs) command += " --no-after-jobs";
  return command;
}

// Anyone may ask over a connection; most CUPS backends only root may run.
std::string levelsCommand(const Remedy& remedy, std::string_view options) {
  const bool isForAnyone = remedy.subject.starts_with("socket:");
  const std::string type = remedy.type.empty() ? "" : fmt::format(" --type {}", remedy.type);
  return fmt::format("{}moxsupply levels {}{} {}", isForAnyone ? "" : "sudo ",
                     shellWord(remedy.subject), type, options);
}

}  // namespace

std::string commandFor(const Remedy& remedy) {
  switch (remedy.kind) {
    case Remedy::Kind::kEnableQueue:
      if (!remedy.type.empty()) return enableCommand(remedy, remedy.type);
      return fmt::format(
          "{}\n{}", enableCommand(remedy, "laser"),
          translated("or, for an inkjet printer: {}", enableCommand(remedy, "inkjet")));
    case Remedy::Kind::kExamineQueue:
      return fmt::format("moxsupply doctor {}", shellWord(remedy.subject));
    case Remedy::Kind::kAskPatiently:
      return levelsCommand(remedy, "--timeout 15 --deadline 180");
    case Remedy::Kind::kRecordPrinter:
      return levelsCommand(remedy, "--record printer.transcript --redact");
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
    add(translated("--deadline SECONDS gives it longer."));
  }
  for (const std::string& command : {problem.command, commandFor(problem.remedy)}) {
    if (!command.empty()) add(translated("Run: {}", command));
  }
  return help;
}

}  // namespace moxsupply
