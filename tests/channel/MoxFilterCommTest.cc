#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "channel/MoxFilterComm.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

// One read as a line of text: its status, the size that it left, and the bytes.
std::string readOnce(std::uint32_t wanted, std::uint32_t timeout) {
  std::array<std::uint8_t, 64> buffer{};
  std::uint32_t size = wanted;
  const Status status = MoxFilterComm().readData(buffer, size, timeout);
  std::string line = fmt::format("{} {}", signedNumber(status), size);
  if (status == Status::kSuccess) {
    for (std::uint32_t i = 0; i < size; ++i) line += fmt::format(" {:02X}", buffer[i]);
  }
  return line;
}

std::string readTimes(int times, std::uint32_t wanted) {
  std::string lines = readOnce(wanted, 5);
  for (int i = 1; i < times; ++i) lines += ", " + readOnce(wanted, 5);
  return lines;
}

std::string writeOnce(const Bytes& bytes, std::uint32_t size) {
  return std::to_string(signedNumber(MoxFilterComm().writeData(bytes, size)));
}

struct Timed {
  FilterProcess::Ending ending;
  std::chrono::duration<double> time;
};

Timed waitTimed(FilterProcess& filter) {
  const auto start = std::chrono::steady_clock::now();
  auto ending = filter.wait();
  return {std::move(ending), std::chrono::steady_clock::now() - start};
}

TEST(WriteData, SendsTheBytesUnchangedAndAtOnce) {
  const Bytes request = hex("A5 00 06 40 03 04 20 20 20");
  FilterProcess filter(BackChannel::kNonBlockingPipe, [&] {
    std::string status = writeOnce(request, 9);
    readOnce(1, 5);  // the request must have arrived before this wait ends
    return status;
  });
  EXPECT_EQ(filter.receive(9), request);
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "0");
  EXPECT_TRUE(ending.written.empty());
}

TEST(WriteData, SendsAfterWhatTheHostWroteBefore) {
  FilterProcess filter(BackChannel::kClosed, [] {
    std::fputs("job ", stdout);
    return writeOnce(bytesOf("request"), 7);
  });
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "0");
  EXPECT_EQ(ending.written, bytesOf("job request"));
}

TEST(WriteData, BlocksUntilTheLinkHasTakenAll) {
  const Bytes request = repeated(0x11, 200000);  // more than a pipe holds
  FilterProcess filter(BackChannel::kClosed, [&] { return writeOnce(request, 200000); });
  std::this_thread::sleep_for(100ms);
  EXPECT_TRUE(filter.isRunning());
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "0");
  EXPECT_EQ(ending.written, request);
}

TEST(WriteData, FailsWhenTheLinkTakesOnlyAPart) {
  FilterProcess filter(BackChannel::kClosed, [] {
    std::array<int, 2> link{};
    if (::pipe2(link.data(), O_NONBLOCK) != 0) return std::string("no pipe");
    const int room = ::fcntl(link[1], F_GETPIPE_SZ);
    ::dup2(link[1], STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const auto size = static_cast<std::uint32_t>(room) + 1;
    std::string status = writeOnce(repeated(0x11, size), size);
    int written = 0;
    ::ioctl(link[0], FIONREAD, &written);
    return status + (written == room ? " in part" : " otherwise");
  });
  EXPECT_EQ(filter.wait().result, "-2 in part");
}

TEST(WriteData, SendsNoMoreThanTheSize) {
  FilterProcess filter(BackChannel::kClosed, [] { return writeOnce(hex("01 02 03"), 2); });
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "0");
  EXPECT_EQ(ending.written, hex("01 02"));
}

TEST(WriteData, CountsASizeOfZeroAsFailedAndStillFlushes) {
  FilterProcess filter(BackChannel::kClosed, [] {
    std::fputs("from before", stdout);
    std::string status = writeOnce({}, 0);
    ::_exit(status == "-2" ? 0 : 1);  // ends without flushing
    return status;
  });
  const auto ending = filter.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.written, bytesOf("from before"));
}

TEST(WriteData, RefusesASizeBeyondTheBuffer) {
  FilterProcess filter(BackChannel::kClosed, [] { return writeOnce(hex("01 02 03"), 4); });
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "-2");
  EXPECT_TRUE(ending.written.empty());
}

TEST(WriteData, FailsWithoutASignalWhenTheLinkIsGone) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    readOnce(1, 5);
    sigset_t pending;
    std::string status = writeOnce(hex("01 02 03"), 3);
    sigpending(&pending);
    return status + (sigismember(&pending, SIGPIPE) == 1 ? " pending" : "");
  });
  filter.closeLink();
  filter.send(hex("00"));
  const auto ending = filter.wait();
  EXPECT_EQ(ending.signal, 0);
  EXPECT_EQ(ending.result, "-2");
}

TEST(WriteData, LeavesSigpipeAsTheHostHadIt) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    readOnce(1, 5);
    static_cast<void>(writeOnce(hex("01"), 1));
    ::write(STDOUT_FILENO, "x", 1);  // the host's own write still gets the signal
    return std::string("alive");
  });
  filter.closeLink();
  filter.send(hex("00"));
  EXPECT_EQ(filter.wait().signal, SIGPIPE);
}

TEST(WriteData, LeavesASigpipeThatWaitsAlready) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    std::raise(SIGPIPE);
    readOnce(1, 5);
    std::string status = writeOnce(hex("01"), 1);
    sigpending(&signals);
    return status + (sigismember(&signals, SIGPIPE) == 1 ? " pending" : " taken");
  });
  filter.closeLink();
  filter.send(hex("00"));
  EXPECT_EQ(filter.wait().result, "-2 pending");
}

// Only the write is judged, not the flush after it. Bytes that a buffered standard output took
// count as written, also when the link refuses them a moment later.
TEST(WriteData, DoesNotLookAtTheFlush) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::setvbuf(stdout, nullptr, _IOFBF, 4096);
    readOnce(1, 5);
    return writeOnce(hex("01 02 03"), 3);
  });
  filter.closeLink();
  filter.send(hex("00"));
  EXPECT_EQ(filter.wait().result, "0");
}

TEST(WriteData, FailsOnAClosedStandardOutput) {
  FilterProcess filter(BackChannel::kClosed, [] {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    ::close(STDOUT_FILENO);
    return writeOnce(hex("01"), 1);
  });
  EXPECT_EQ(filter.wait().result, "-2");
}

class ReadData : public ::testing::TestWithParam<BackChannel> {};

INSTANTIATE_TEST_SUITE_P(OnEveryDescriptor, ReadData,
                         ::testing::Values(BackChannel::kNonBlockingPipe,
                                           BackChannel::kBlockingPipe, BackChannel::kSocketPair),
                         [](const auto& kind) {
                           switch (kind.param) {
                             case BackChannel::kNonBlockingPipe:
                               return "NonBlockingPipe";
                             case BackChannel::kBlockingPipe:
                               return "BlockingPipe";
                             default:
                               return "SocketPair";
                           }
                         });

TEST_P(ReadData, BringsWhatCameWhenItIsLessThanWanted) {
  FilterProcess filter(GetParam(), [] { return readOnce(5, 5); });
  filter.send(hex("A5 00 03"));
  EXPECT_EQ(filter.wait().result, "0 3 A5 00 03");
}

TEST_P(ReadData, BringsNoMoreThanWanted) {
  FilterProcess filter(GetParam(), [] { return readTimes(2, 2); });
  filter.send(hex("01 02 03"));
  EXPECT_EQ(filter.wait().result, "0 2 01 02, 0 1 03");
}

TEST_P(ReadData, TakesNothingWhenNothingIsWanted) {
  FilterProcess filter(GetParam(), [] { return readOnce(0, 5) + ", " + readOnce(2, 5); });
  filter.send(hex("01 02 03"));
  EXPECT_EQ(filter.wait().result, "-6 0, 0 2 01 02");
}

TEST_P(ReadData, BringsTheLastBytesBeforeTheEnd) {
  FilterProcess filter(GetParam(), [] { return readTimes(3, 2); });
  filter.send(hex("01 02 03"));
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, "0 2 01 02, 0 1 03, -6 2");
}

TEST_P(ReadData, WaitsForTheFirstByte) {
  FilterProcess filter(GetParam(), [] { return readOnce(5, 5); });
  std::this_thread::sleep_for(100ms);
  EXPECT_TRUE(filter.isRunning());
  filter.send(hex("07"));
  EXPECT_EQ(filter.wait().result, "0 1 07");
}

TEST_P(ReadData, GivesUpAfterTheTimeoutAndLeavesTheSize) {
  FilterProcess filter(GetParam(), [] { return readOnce(5, 1); });
  const auto [ending, time] = waitTimed(filter);
  EXPECT_EQ(ending.result, "-1 5");
  EXPECT_GE(time, 900ms);
  EXPECT_LT(time, 5s);
  EXPECT_LT(ending.processorTime, 500ms);
}

TEST_P(ReadData, TakesOnlyWhatIsThereWithATimeoutOfZero) {
  FilterProcess filter(GetParam(), [] {
    const auto start = std::chrono::steady_clock::now();
    const std::string line = readOnce(5, 0);
    return line + (std::chrono::steady_clock::now() - start < 900ms ? " at once" : " late");
  });
  EXPECT_EQ(filter.wait().result, "-1 5 at once");
}

TEST_P(ReadData, TellsTheEndFromSilenceAndLeavesTheSize) {
  FilterProcess filter(GetParam(), [] { return readTimes(2, 5); });
  filter.endBackChannel();
  const auto [ending, time] = waitTimed(filter);
  EXPECT_EQ(ending.result, "-6 5, -6 5");
  EXPECT_LT(time, 2s);
}

TEST_P(ReadData, EndsWhenTheOtherSideHangsUpWhileItWaits) {
  FilterProcess filter(GetParam(), [] { return readOnce(5, 5); });
  std::this_thread::sleep_for(100ms);
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, "-6 5");
}

// 4294967295 seconds is a long time, not -1 (which would mean for ever), and not a wait that spins
// or ends at once.
TEST_P(ReadData, WaitsQuietlyWithTheLongestTimeout) {
  FilterProcess filter(GetParam(), [] { return readOnce(5, 4294967295U); });
  std::this_thread::sleep_for(500ms);
  EXPECT_TRUE(filter.isRunning());
  filter.send(hex("01 02"));
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "0 2 01 02");
  EXPECT_LT(ending.processorTime, 250ms);
}

TEST_P(ReadData, EndsOnASignalThatTheHostHandles) {
  FilterProcess filter(GetParam(), [] {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    static_cast<void>(writeOnce(hex("00"), 1));
    return readOnce(5, 8);
  });
  filter.receive(1);
  std::this_thread::sleep_for(200ms);
  ::kill(filter.pid(), SIGUSR1);
  const auto [ending, time] = waitTimed(filter);
  EXPECT_EQ(ending.result, "-1 5");
  EXPECT_LT(time, 5s);
}

TEST_P(ReadData, LeavesTheDescriptorAsItWas) {
  FilterProcess filter(GetParam(), [] {
    const int before = ::fcntl(3, F_GETFL);
    std::string lines;
    for (const std::uint32_t timeout : {0U, 5U, 5U}) {
      lines += readOnce(5, timeout);
      lines += ::fcntl(3, F_GETFL) == before ? " same, " : " changed, ";
      static_cast<void>(writeOnce(hex("00"), 1));
    }
    return lines;
  });
  filter.receive(1);
  filter.sendInPieces({hex("01")});
  filter.receive(1);
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, "-1 5 same, 0 1 01 same, -6 5 same, ");
}

TEST(ReadDataOnAClosedDescriptor, FailsAtOnceInsteadOfSpinning) {
  FilterProcess filter(BackChannel::kClosed, [] { return readOnce(5, 8); });
  const auto [ending, time] = waitTimed(filter);
  EXPECT_EQ(ending.result, "-1 5");
  EXPECT_LT(time, 4s);
  EXPECT_LT(ending.processorTime, 1s);
}

TEST(ReadDataFromAFile, ReadsToItsEnd) {
  FilterProcess filter(BackChannel::kClosed, [] {
    std::FILE* file = std::tmpfile();
    std::fputs("abc", file);
    std::rewind(file);
    ::dup2(::fileno(file), 3);
    return readTimes(3, 2);
  });
  EXPECT_EQ(filter.wait().result, "0 2 61 62, 0 1 63, -6 2");
}

TEST(ReadDataFromADescriptorForWritingOnly, Fails) {
  FilterProcess filter(BackChannel::kClosed, [] {
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, 3);
    return readOnce(2, 1);
  });
  EXPECT_EQ(filter.wait().result, "-1 2");
}

TEST(ReadDataIntoASmallBuffer, StopsAtItsEnd) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::array<std::uint8_t, 2> buffer{};
    std::uint32_t size = 100;
    static_cast<void>(MoxFilterComm().readData(buffer, size, 5));
    return std::to_string(size);
  });
  filter.send(hex("01 02 03"));
  EXPECT_EQ(filter.wait().result, "2");
}

}  // namespace
}  // namespace moxsupply::testing
