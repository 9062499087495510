#include "tests/support/Run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "system/ChildProcess.h"
#include "system/FileDescriptor.h"
#include "system/MemoryFile.h"
#include "tests/support/BecomeProgram.h"

namespace moxsupply::testing {

Ran run(const std::vector<std::string>& command, const std::vector<std::string>& environment,
        std::chrono::seconds patience) {
  const auto start = std::chrono::steady_clock::now();
  const FileDescriptor output = memoryFile("");
  const FileDescriptor errors = memoryFile("");
  const FileDescriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  ChildProcess child([&] {
    ::dup2(nothing.get(), STDIN_FILENO);
    ::dup2(output.get(), STDOUT_FILENO);
    ::dup2(errors.get(), STDERR_FILENO);
    becomeProgram(command, environment);
  });
  const bool hasEnded = child.waitFor(patience);
  child.kill();

  Ran ran;
  const int status = child.waitStatus().value_or(-1);
  if (WIFEXITED(status)) ran.exitStatus = WEXITSTATUS(status);
  ran.output = contentOf(output);
  ran.errors = contentOf(errors);
  ran.time = std::chrono::steady_clock::now() - start;
  if (!hasEnded) ADD_FAILURE() << command[0] << " did not end: " << ran.output << ran.errors;
  return ran;
}

}  // namespace moxsupply::testing
