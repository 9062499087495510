#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>

#include "system/Pipe.h"
#include "tests/support/FilterProcess.h"

namespace moxsupply::testing {
namespace {

bool blocks(const FileDescriptor& descriptor) {
  return (::fcntl(descriptor.get(), F_GETFL) & O_NONBLOCK) == 0;
}

bool closesOnExec(const FileDescriptor& descriptor) {
  return (::fcntl(descriptor.get(), F_GETFD) & FD_CLOEXEC) != 0;
}

// What comes through, from one descriptor to the other; "end" at the end.
std::string passed(const FileDescriptor& from, const FileDescriptor& to, const std::string& text) {
  EXPECT_EQ(writeAll(from.get(), text), 0);
  std::array<char, 64> buffer{};
  const ssize_t count = ::read(to.get(), buffer.data(), buffer.size());
  return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

TEST(PipeOfTwoEnds, PassesBytesAndShowsItsEnd) {
  Pipe pipe = makePipe(Blocking::kYes);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(passed(pipe.writeEnd, pipe.readEnd, "abc"), "abc");
  pipe.writeEnd = FileDescriptor();
  char byte = 0;
  EXPECT_EQ(::read(pipe.readEnd.get(), &byte, 1), 0);
}

TEST(PipeOfTwoEnds, BlocksAtBothEndsOrAtNeither) {
  const Pipe blocking = makePipe(Blocking::kYes);
  EXPECT_TRUE(blocks(blocking.readEnd));
  EXPECT_TRUE(blocks(blocking.writeEnd));
  const Pipe other = makePipe(Blocking::kNo);
  EXPECT_FALSE(blocks(other.readEnd));
  EXPECT_FALSE(blocks(other.writeEnd));
}

TEST(SocketPair, PassesBytesBothWays) {
  const Pipe pair = makeSocketPair();
  ASSERT_TRUE(pair);
  EXPECT_TRUE(blocks(pair.readEnd));
  EXPECT_EQ(passed(pair.writeEnd, pair.readEnd, "there"), "there");
  EXPECT_EQ(passed(pair.readEnd, pair.writeEnd, "and back"), "and back");
}

TEST(PipesAndSocketPairs, AreClosedWhenAProgramIsExecuted) {
  for (const Pipe& pipe : {makePipe(Blocking::kYes), makePipe(Blocking::kNo), makeSocketPair()}) {
    EXPECT_TRUE(closesOnExec(pipe.readEnd));
    EXPECT_TRUE(closesOnExec(pipe.writeEnd));
  }
}

TEST(PipesAndSocketPairs, LieAboveTheDescriptorsOfAFilter) {
  FilterProcess process(BackChannel::kClosed, [] {
    for (int descriptor = 0; descriptor <= 4; ++descriptor) ::close(descriptor);
    std::string found;
    for (const Pipe& pipe : {makePipe(Blocking::kNo), makeSocketPair()}) {
      found += pipe.readEnd.get() >= 5 && pipe.writeEnd.get() >= 5 ? "above " : "below ";
    }
    return found;
  });
  EXPECT_EQ(process.wait().result, "above above ");
}

TEST(PipesAndSocketPairs, AreEmptyWhenThereAreNoMoreDescriptors) {
  FilterProcess process(BackChannel::kClosed, [] {
    const int next = FileDescriptor(::dup(STDOUT_FILENO)).get();
    const auto room = static_cast<rlim_t>(next) + 1;  // for one end
    const rlimit few = {.rlim_cur = room, .rlim_max = room};
    ::setrlimit(RLIMIT_NOFILE, &few);
    return std::string(makePipe(Blocking::kYes) ? "a pipe" : "none") +
           (makeSocketPair() ? " and sockets" : " and none");
  });
  EXPECT_EQ(process.wait().result, "none and none");
}

}  // namespace
}  // namespace moxsupply::testing
