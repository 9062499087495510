#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>

#include "system/KeptOutput.h"
#include "system/MemoryFile.h"
#include "system/ReadFile.h"
#include "system/Substitute.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

constexpr int kPlace = 3;

TEST(Substitute, StandsInItsPlaceForAsLongAsItLives) {
  FilterProcess process(BackChannel::kClosed, [] {
    const FileDescriptor file = memoryFile("");
    const Substitute substitute(STDOUT_FILENO, file.get());
    static_cast<void>(writeAll(STDOUT_FILENO, "inside"));
    static_cast<void>(writeAll(substitute.former(), "former "));
    return readFile(file.get(), 64).value();
  });
  EXPECT_EQ(process.receive(7), bytesOf("former "));
  EXPECT_EQ(process.wait().result, "inside");
}

TEST(Substitute, SaysWhetherItIsInItsPlace) {
  FilterProcess process(BackChannel::kClosed, [] {
    const FileDescriptor file = memoryFile("");
    const bool isThere = Substitute(STDOUT_FILENO, file.get()).isInPlace();
    const bool isNothingThere = Substitute(STDOUT_FILENO, -1).isInPlace();
    return std::string(isThere ? "yes " : "no ") + (isNothingThere ? "yes" : "no");
  });
  EXPECT_EQ(process.wait().result, "yes no");
}

TEST(Substitute, GivesThePlaceBack) {
  FilterProcess process(BackChannel::kClosed, [] {
    const FileDescriptor file = memoryFile("");
    { const Substitute substitute(STDOUT_FILENO, file.get()); }
    static_cast<void>(writeAll(STDOUT_FILENO, "outside"));
    return readFile(file.get(), 64).value();
  });
  const auto ending = process.wait();
  EXPECT_EQ(ending.result, "");
  EXPECT_EQ(ending.written, bytesOf("outside"));
}

// What is written afterwards is not for the substitute.
TEST(Substitute, LeavesThePlaceEmptyThatItCannotGiveBack) {
  FilterProcess process(BackChannel::kClosed, [] {
    const FileDescriptor file = memoryFile("");
    {
      const Substitute substitute(STDOUT_FILENO, file.get());
      rlimit limit{};
      ::getrlimit(RLIMIT_NOFILE, &limit);
      limit.rlim_cur = 0;
      ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    static_cast<void>(writeAll(STDOUT_FILENO, "for nobody"));
    return readFile(file.get(), 64).value();
  });
  const auto ending = process.wait();
  EXPECT_EQ(ending.result, "");
  EXPECT_TRUE(ending.written.empty());
}

TEST(Substitute, LeavesAPlaceEmptyThatWasEmpty) {
  FilterProcess process(BackChannel::kClosed, [] {
    const FileDescriptor file = aboveFilterDescriptors(memoryFile(""));
    std::string told;
    {
      const Substitute substitute(kPlace, file.get());
      told = substitute.former() == -1 && ::fcntl(kPlace, F_GETFD) != -1 ? "stands in, " : "";
    }
    return told + (::fcntl(kPlace, F_GETFD) == -1 ? "leaves none" : "leaves one");
  });
  EXPECT_EQ(process.wait().result, "stands in, leaves none");
}

TEST(KeptOutput, IsTheCallersWhileAnotherStandsInItsPlace) {
  FilterProcess process(BackChannel::kClosed, [] {
    const KeptOutput output;
    const FileDescriptor file = memoryFile("");
    const Substitute substitute(STDOUT_FILENO, file.get());
    static_cast<void>(writeAll(output.descriptor(), "for the caller"));
    const bool isOutOfTheWay = output.descriptor() >= 5;
    const bool isCloexec = (::fcntl(output.descriptor(), F_GETFD) & FD_CLOEXEC) != 0;
    return readFile(file.get(), 64).value() +
           (isOutOfTheWay && isCloexec ? "kept apart" : "in the way");
  });
  const auto ending = process.wait();
  EXPECT_EQ(ending.written, bytesOf("for the caller"));
  EXPECT_EQ(ending.result, "kept apart");
}

}  // namespace
}  // namespace moxsupply::testing
