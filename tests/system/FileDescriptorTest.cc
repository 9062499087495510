#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <utility>

#include "system/FileDescriptor.h"
#include "system/Pipe.h"
#include "tests/support/FilterProcess.h"

namespace moxsupply::testing {
namespace {

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) != -1; }

FileDescriptor opened(const char* path = "/dev/null", int flags = O_RDWR) {
  return FileDescriptor(::open(path, flags | O_CLOEXEC));
}

// What a process without the descriptors 0 to 4 finds out, where this one must keep its own.
std::string withoutFilterDescriptors(const std::function<std::string()>& action) {
  FilterProcess process(BackChannel::kClosed, [&] {
    for (int descriptor = 0; descriptor <= 4; ++descriptor) ::close(descriptor);
    return action();
  });
  return process.wait().result;
}

TEST(FileDescriptor, IsClosedAtTheEndOfItsLife) {
  int number = -1;
  {
    const FileDescriptor descriptor = opened();
    number = descriptor.get();
    ASSERT_TRUE(descriptor);
    EXPECT_TRUE(isOpen(number));
  }
  EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptor, HoldsNothingAtFirst) {
  FileDescriptor none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.get(), -1);
  EXPECT_EQ(none.close(), 0);
}

TEST(FileDescriptor, IsClosedOnceWhenItIsMoved) {
  FileDescriptor first = opened();
  const int number = first.get();
  FileDescriptor second = std::move(first);
  EXPECT_EQ(second.get(), number);
  FileDescriptor third;
  third = std::move(second);
  EXPECT_EQ(third.get(), number);
  EXPECT_TRUE(isOpen(number));
  third = FileDescriptor();
  EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptor, IsClosedAtOnceWhenAsked) {
  FileDescriptor descriptor = opened();
  const int number = descriptor.get();
  EXPECT_EQ(descriptor.close(), 0);
  EXPECT_FALSE(isOpen(number));
  EXPECT_FALSE(descriptor);
}

TEST(FileDescriptor, TellsWhenClosingFails) {
  FileDescriptor descriptor = opened();
  ::close(descriptor.get());
  EXPECT_EQ(descriptor.close(), EBADF);
}

TEST(WriteAll, WritesMoreThanAPipeTakesAtOnce) {
  for (const Blocking blocking : {Blocking::kYes, Blocking::kNo}) {
    Pipe pipe = makePipe(blocking);
    const std::string text(1'000'000, 'x');
    std::string read;
    std::thread reader([&] {
      std::array<char, 4096> buffer{};
      while (read.size() < text.size()) {
        const ssize_t count = ::read(pipe.readEnd.get(), buffer.data(), buffer.size());
        if (count > 0) read.append(buffer.data(), static_cast<std::size_t>(count));
        if (count == 0) return;
      }
    });
    EXPECT_EQ(writeAll(pipe.writeEnd.get(), text), 0);
    pipe.writeEnd = FileDescriptor();
    reader.join();
    EXPECT_EQ(read, text);
  }
}

TEST(WriteAll, TellsWhatWentWrong) {
  EXPECT_EQ(writeAll(-1, "x"), EBADF);
  EXPECT_EQ(writeAll(-1, ""), 0);
  EXPECT_EQ(writeAll(opened("/dev/full", O_WRONLY).get(), "x"), ENOSPC);
  Pipe pipe = makePipe(Blocking::kYes);
  pipe.readEnd = FileDescriptor();
  ::signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(writeAll(pipe.writeEnd.get(), "x"), EPIPE);
}

TEST(AboveFilterDescriptors, LiesWhatIsMovedThere) {
  EXPECT_EQ(withoutFilterDescriptors([] {
              FileDescriptor low = opened();
              const int number = low.get();
              const FileDescriptor moved = aboveFilterDescriptors(std::move(low));
              const bool isCloexec = (::fcntl(moved.get(), F_GETFD) & FD_CLOEXEC) != 0;
              return std::string(number < 5 ? "low, " : "") + (moved.get() >= 5 ? "moved, " : "") +
                     (isOpen(number) ? "still open, " : "closed, ") + (isCloexec ? "cloexec" : "");
            }),
            "low, moved, closed, cloexec");
}

TEST(AboveFilterDescriptors, StaysWhatIsThereAlready) {
  FileDescriptor high(::fcntl(opened().get(), F_DUPFD_CLOEXEC, 5));
  const int number = high.get();
  EXPECT_EQ(aboveFilterDescriptors(std::move(high)).get(), number);
}

TEST(AboveFilterDescriptors, IsNothingForNothing) {
  EXPECT_FALSE(aboveFilterDescriptors(FileDescriptor()));
}

}  // namespace
}  // namespace moxsupply::testing
