#include "filter/FormerFilter.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "queue/PpdFile.h"
#include "system/MemoryFile.h"
#include "system/Process.h"
#include "system/StopSignals.h"

namespace moxsupply {

namespace {

constexpr std::size_t kFileArgument = 6;

// Far beyond what cleaning a print head takes.
constexpr std::chrono::minutes kPatience(15);
constexpr std::chrono::seconds kPatienceWhenStopped(5);

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// Where the print server finds a filter.
std::string pathOf(const std::string& program) {
  if (program.starts_with('/')) return program;
  return fmt::format("{}/filter/{}", environment("CUPS_SERVERBIN"), program);
}

// What a filter is told that its job ends as.
std::string finalContentType(const FilterLine& line) {
  const std::string type =
      line.resultType.empty() ? "printer/" + environment("PRINTER") : line.resultType;
  return "FINAL_CONTENT_TYPE=" + type;
}

std::vector<std::string> textsOf(char** arguments) {
  std::vector<std::string> texts;
  for (; *arguments != nullptr; ++arguments) texts.emplace_back(*arguments);
  return texts;
}

}  // namespace

FormerFilter::FormerFilter(FilterLine line)
    : mLine(std::move(line)), mPath(pathOf(mLine.program)) {}

std::optional<FormerFilter> FormerFilter::of(const std::string& ppdPath) {
  const auto ppd = PpdFile::fromFile(ppdPath);
  const auto text = ppd ? ppd->value("moxCommandFilter") : std::nullopt;
  auto line = text ? filterLineFrom(*text) : std::nullopt;
  // A program of ours would hand the job to itself for ever.
  if (!line || line->program.ends_with(kCommandFilter)) return std::nullopt;
  return FormerFilter(*std::move(line));
}

Problem FormerFilter::become(char** arguments,
                             const std::vector<CommandFile::Command>& commands) const {
  if (const auto trusted = isTrusted(); !trusted) return trusted.error();
  const std::vector<std::string> texts = textsOf(arguments);
  if (texts.size() <= kFileArgument) {
    const FileDescriptor file = memoryFile(textOf(commands));
    if (::dup2(file.get(), STDIN_FILENO) < 0) return cannotRun(std::strerror(errno));
  }
  ::alarm(0);  // would outlast this program
  const std::vector<std::string> variables = environmentWith({finalContentType(mLine)});
  std::vector<char*> pointers;
  pointers.reserve(variables.size() + 1);
  for (const std::string& variable : variables) {
    pointers.push_back(const_cast<char*>(variable.c_str()));
  }
  pointers.push_back(nullptr);
  ::execve(mPath.c_str(), arguments, pointers.data());
  return cannotRun(std::strerror(errno));
}

Result<bool> FormerFilter::answer(char** arguments,
                                  const std::vector<CommandFile::Command>& commands) const {
  if (const auto trusted = isTrusted(); !trusted) return tl::unexpected(trusted.error());
  const FileDescriptor file = aboveFilterDescriptors(memoryFile(textOf(commands)));
  if (!file) return tl::unexpected(cannotRun(std::strerror(errno)));
  std::vector<std::string> texts = textsOf(arguments);
  const bool takesFile = texts.size() > kFileArgument;
  // It has no name, and so cannot be left behind.
  if (takesFile) texts[kFileArgument] = fmt::format("/proc/{}/fd/{}", ::getpid(), file.get());

  ::alarm(0);  // was for reading the command file
  const StopSignals stop;
  ProgramStart start = {.program = mPath,
                        .arguments = texts,
                        .environment = environmentWith({finalContentType(mLine)})};
  if (!takesFile) start.descriptors = {file.get(), STDOUT_FILENO, STDERR_FILENO};
  auto process = Process::start(start);
  if (!process) {
    const std::string why = std::strerror(process.error());
    stop.letThrough();
    return tl::unexpected(cannotRun(why));
  }
  std::array<pollfd, 2> ends = {pollfd{process->descriptor(), POLLIN, 0},
                                pollfd{stop.descriptor(), POLLIN, 0}};
  const std::chrono::milliseconds patience = kPatience;
  static_cast<void>(::poll(ends.data(), ends.size(), static_cast<int>(patience.count())));
  if (ends[0].revents == 0) process->signal(SIGTERM);
  process->waitFor(kPatienceWhenStopped);
  process->kill();
  stop.letThrough();
  return process->shellStatus() == EXIT_SUCCESS;
}

// This process has rights that whoever may write the program need not have; the print server would
// not have run it either.
Result<> FormerFilter::isTrusted() const {
  for (const std::string& path : {mPath.substr(0, mPath.rfind('/')), mPath}) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return tl::unexpected(cannotRun(std::strerror(errno)));
    const bool isOthers = status.st_uid != 0 && status.st_uid != ::geteuid();
    if (isOthers || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
      return tl::unexpected(cannotRun(fmt::format("others than root may write {}", path)));
    }
  }
  return {};
}

Problem FormerFilter::cannotRun(const std::string& why) const {
  return {
      .what = fmt::format("cannot run {}, which answers the other commands of this queue: {}",
                          mPath, why),
      .advice = "If it is gone, `moxsupply disable` and `enable` find out who answers them now."};
}

}  // namespace moxsupply
