#include "tests/support/Run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "system/ChildProcess.h"
#include "system/FileDescriptor.h"
#include "tests/support/BecomeProgram.h"

namespace moxsupply::testing {

namespace {

// A file without a name: unlike a pipe, it takes all that is written while nobody reads.
FileDescriptor emptyFile() { return FileDescriptor(::memfd_create("output", MFD_CLOEXEC)); }

std::string contentOf(const FileDescriptor& file) {
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = ::pread(file.get(), buffer.data(), buffer.size(),
                                           static_cast<off_t>(text.size()))) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

Ran run(const std::vector<std::string>& command, const std::vector<std::string>& environment,
        std::chrono::seconds patience) {
  const auto start = std::chrono::steady_clock::now();
  const FileDescriptor output = emptyFile();
  const FileDescriptor errors = emptyFile();
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
