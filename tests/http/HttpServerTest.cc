#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "http/HttpServer.h"
#include "system/Listener.h"
#include "tests/monitoring/HttpRequest.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

// More clients come at once than have a place, and each answer takes its time. Who was let go while
// it waited for its turn must not have its turn all the same: others would be let go meanwhile.
TEST(ClientsThatWereLetGo, TakeNoTurn) {
  constexpr std::size_t kPlaces = 8;
  constexpr std::size_t kClients = 60;
  auto listener = listenOn("127.0.0.1:0");
  ASSERT_TRUE(listener);
  const std::string address = addressOf(listener->get());
  const int port = std::stoi(address.substr(address.find(':') + 1));
  boost::asio::io_context context;
  std::size_t asked = 0;
  const HttpServer server(
      context, *std::move(listener), kPlaces,
      [&](const HttpRequest& /*request*/, HttpServer::Clock::time_point /*arrived*/,
          bool /*isLast*/) {
        ++asked;
        std::this_thread::sleep_for(20ms);
        return HttpServer::Reply{lineOfText(200, "There it is."), {}};
      },
      [](const HttpRequest& /*request*/) { return false; });
  const auto clients = connections(port, kClients, getting("/", "Connection: close\r\n"));
  context.run_for(3s);
  EXPECT_LE(asked, kClients / 2);
  std::size_t answered = 0;
  for (const FileDescriptor& client : clients) {
    if (receiveAnswer(client).status == 200) ++answered;
  }
  EXPECT_EQ(answered, asked);
  EXPECT_GE(answered, kPlaces);
}

}  // namespace
}  // namespace moxsupply::testing
