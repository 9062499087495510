#include <gtest/gtest.h>
#include <sys/socket.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "http/HttpServer.h"
#include "system/Listener.h"
#include "tests/monitoring/HttpRequest.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

// A server whose answers each take their time.
class ASlowServer : public ::testing::Test {
 protected:
  static constexpr std::size_t kPlaces = 8;

  void SetUp() override {
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

}  // namespace
}  // namespace moxsupply::testing
