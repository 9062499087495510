#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "http/HttpServer.h"
#include "system/Listener.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/support/Allocations.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

// A server whose answers each take their time.
class ASlowServer : public ::testing::Test {
 protected:
  static constexpr std::size_t kPlaces = 8;

  void SetUp() override { restart(); }

  void restart() {
    mServer.reset();
    mContext.restart();
    auto listener = listenOn("127.0.0.1:0");
    ASSERT_TRUE(listener);
    const std::string address = addressOf(listener->get());
    mPort = std::stoi(address.substr(address.find(':') + 1));
    mServer.emplace(
        mContext, *std::move(listener), kPlaces,
        [this](const HttpRequest& /*request*/, HttpServer::Clock::time_point /*arrived*/,
               bool /*isLast*/) {
          ++mAsked;
          std::this_thread::sleep_for(20ms);
          return HttpServer::Reply{lineOfText(200, "There it is."), {}};
        },
        [](const HttpRequest& /*request*/) { return false; });
  }

  [[nodiscard]] std::vector<FileDescriptor> clients(std::size_t count) const {
    return connections(mPort, count, getting("/", "Connection: close\r\n"));
  }

  // Until so many were asked for, and have their answers.
  void runUntilAsked(std::size_t times) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (mAsked < times && std::chrono::steady_clock::now() < end) mContext.run_one_until(end);
    mContext.run_for(50ms);
  }

  boost::asio::io_context mContext;
  int mPort = 0;
  std::size_t mAsked = 0;
  std::optional<HttpServer> mServer;
};

// More clients come at once than have a place. Who was let go while it waited for its turn must not
// have its turn all the same: others would be let go meanwhile.
TEST_F(ASlowServer, GivesNoTurnToClientsThatWereLetGo) {
  const auto crowd = clients(60);
  mContext.run_for(1s);
  EXPECT_LE(mAsked, crowd.size() / 2);
  std::size_t answered = 0;
  for (const FileDescriptor& client : crowd) {
    if (receiveAnswer(client).status == 200) ++answered;
  }
  EXPECT_EQ(answered, mAsked);
  EXPECT_GE(answered, kPlaces);
}

TEST_F(ASlowServer, GivesNoTurnToClientsThatHungUp) {
  clients(kPlaces - 2).clear();
  const auto here = clients(2);
  ::shutdown(here.front().get(), SHUT_WR);
  mContext.run_for(1s);
  EXPECT_EQ(mAsked, 2U);
  for (const FileDescriptor& client : here) EXPECT_EQ(receiveAnswer(client).status, 200);
}

TEST_F(ASlowServer, LetsClientsThatHungUpGoFirst) {
  const auto here = clients(kPlaces - 1);
  clients(60).clear();
  mContext.run_for(1s);
  EXPECT_EQ(mAsked, kPlaces - 1);
  for (const FileDescriptor& client : here) EXPECT_EQ(receiveAnswer(client).status, 200);
}

TEST_F(ASlowServer, HasThePlacesAgainOfClientsThatWereAnswered) {
  const auto first = clients(kPlaces - 1);
  runUntilAsked(kPlaces - 1);
  for (const FileDescriptor& client : first) EXPECT_EQ(receiveAnswer(client).status, 200);
  const auto idle = connections(mPort, kPlaces - 1, getting("/"));
  runUntilAsked(2 * (kPlaces - 1));
  ASSERT_EQ(mAsked, 2 * (kPlaces - 1));
  for (const FileDescriptor& client : idle) {
    EXPECT_EQ(writeAll(client.get(), getting("/", "Connection: close\r\n")), 0);
  }
  runUntilAsked(3 * (kPlaces - 1));
  EXPECT_EQ(mAsked, 3 * (kPlaces - 1));
}

// No more descriptors than there are now, for as long as it lives.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &mBefore);
    const int next = FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)).get();
    const rlimit few = {.rlim_cur = static_cast<rlim_t>(next), .rlim_max = mBefore.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
  }
  ~NoMoreDescriptors() { ::setrlimit(RLIMIT_NOFILE, &mBefore); }
  NoMoreDescriptors(const NoMoreDescriptors&) = delete;
  NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;
  NoMoreDescriptors(NoMoreDescriptors&&) = delete;
  NoMoreDescriptors& operator=(NoMoreDescriptors&&) = delete;

 private:
  rlimit mBefore{};
};

TEST_F(ASlowServer, WaitsForDescriptorsWithoutTryingAllTheTime) {
  const auto here = clients(1);
  std::size_t steps = 0;
  {
    const NoMoreDescriptors none;
    steps = mContext.run_for(500ms);
  }
  EXPECT_LE(steps, 50U);
  EXPECT_EQ(mAsked, 0U);
  runUntilAsked(1);
  EXPECT_EQ(receiveAnswer(here.front()).status, 200);
}

TEST_F(ASlowServer, LetsAnIdleClientGoForOneThatNeedsItsDescriptor) {
  const auto idle = connections(mPort, 1, getting("/"));
  runUntilAsked(1);
  ASSERT_EQ(mAsked, 1U);
  const auto next = clients(1);
  const NoMoreDescriptors none;
  runUntilAsked(2);
  EXPECT_EQ(mAsked, 2U);
  EXPECT_EQ(receiveAnswer(next.front()).status, 200);
}

// The first client may go without an answer, or the server end with the exception. Whoever comes
// next to one that goes on is answered.
TEST_F(ASlowServer, IsNotDeafAfterMemoryWasMissingOnce) {
  int wentOn = 0;
  bool hasFailed = true;
  for (std::size_t nth = 1; hasFailed; ++nth) {
    const auto first = clients(2);
    try {
      const FailingAllocation allocation(nth);
      mContext.run_for(100ms);
      hasFailed = allocation.hasFailed();
    } catch (const std::bad_alloc&) {
      restart();
      continue;
    }
    ++wentOn;
    const auto next = clients(1);
    runUntilAsked(mAsked + 1);
    EXPECT_EQ(receiveAnswer(next.front()).status, 200) << nth;
  }
  EXPECT_GT(wentOn, 5);
}

}  // namespace
}  // namespace moxsupply::testing
