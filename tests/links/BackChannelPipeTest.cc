#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <thread>

#include "links/BackChannelPipe.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
constexpr int kBackChannel = 3;

// What one read of up to `count` bytes brings; "none" while nothing is there.
std::string readSome(std::size_t count) {
  std::array<std::uint8_t, 64> buffer{};
  const ssize_t got = ::read(kBackChannel, buffer.data(), count);
  return got < 0 ? "none" : hexText(std::span(buffer).first(static_cast<std::size_t>(got)));
}

std::string readWithin(std::size_t count, std::chrono::milliseconds patience = 10s) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (;;) {
    std::string got = readSome(count);
    if (got != "none" || std::chrono::steady_clock::now() > deadline) return got;
    std::this_thread::sleep_for(1ms);
  }
}

TEST(BackChannelPipe, HandsOverEachPieceOnceTheOneBeforeIsRead) {
  BackChannelPipe pipe;
  ASSERT_TRUE(pipe);
  std::atomic<int> delivered = 0;
  std::thread filling([&] {
    EXPECT_TRUE(pipe.deliver(hex("01 02 03")));
    ++delivered;
    EXPECT_TRUE(pipe.deliver(hex("04")));
    pipe.hangUp();
  });
  EXPECT_EQ(readWithin(2), "01 02");
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(delivered, 0);
  EXPECT_EQ(readSome(64), "03") << "a read met two pieces";
  EXPECT_EQ(readWithin(64), "04");
  EXPECT_EQ(readWithin(64), "");
  filling.join();
}

TEST(BackChannelPipe, StopsWhateverItWaitsFor) {
  BackChannelPipe pipe;
  std::thread unread([&] { EXPECT_FALSE(pipe.deliver(Bytes(200'000))); });
  std::this_thread::sleep_for(10ms);
  pipe.stop();
  unread.join();
  EXPECT_FALSE(pipe.pause(10s));
  EXPECT_FALSE(pipe.awaitInput(-1));
}

TEST(BackChannelPipe, GivesTheBackChannelBack) {
  const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::dup2(null, kBackChannel);
  {
    const BackChannelPipe pipe;
    EXPECT_EQ(readSome(1), "none");
  }
  EXPECT_EQ(readSome(1), "");
  ::close(kBackChannel);
  {
    const BackChannelPipe pipe;
    EXPECT_EQ(pipe.former(), -1);
    EXPECT_EQ(readSome(1), "none");
  }
  EXPECT_EQ(::fcntl(kBackChannel, F_GETFD), -1);
  if (null != kBackChannel) ::close(null);
}

}  // namespace
}  // namespace moxsupply::testing
