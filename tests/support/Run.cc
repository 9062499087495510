#include "tests/support/Run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "system/FileDescriptor.h"
#include "system/MemoryFile.h"
#include "system/Process.h"
#include "system/ReadFile.h"

namespace moxsupply::testing {

constexpr std::size_t kMostOutput = std::size_t{256} << 20U;

Ran run(const std::vector<std::string>& command, const std::vector<std::string>& environment,
        std::chrono::seconds patience) {
  const auto start = std::chrono::steady_clock::now();
  const FileDescriptor output = aboveFilterDescriptors(memoryFile(""));
  const FileDescriptor errors = aboveFilterDescriptors(memoryFile(""));
  const FileDescriptor nothing =
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)));
  auto child = Process::start({.program = command.front(),
                               .arguments = command,
                               .environment = environmentWith(environment),
                               .descriptors = {nothing.get(), output.get(), errors.get()}});
  if (!child) {
    ADD_FAILURE() << command.front() << ": " << std::strerror(child.error());
    return {};
  }
  const bool hasEnded = child->waitFor(patience);
  child->kill();

  Ran ran;
  const int status = child->waitStatus().value();
  if (WIFEXITED(status)) ran.exitStatus = WEXITSTATUS(status);
  ran.output = readFile(output.get(), kMostOutput).value();
  ran.errors = readFile(errors.get(), kMostOutput).value();
  ran.time = std::chrono::steady_clock::now() - start;
  if (!hasEnded) ADD_FAILURE() << command[0] << " did not end: " << ran.output << ran.errors;
  return ran;
}

}  // namespace moxsupply::testing
