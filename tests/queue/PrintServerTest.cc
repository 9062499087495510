#include <cups/cups.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <string>

#include "queue/PrintServer.h"
#include "system/Listener.h"

namespace moxsupply::testing {
namespace {

// A print server that takes a connection and says nothing.
class ASilentPrintServer : public ::testing::Test {
 protected:
  void SetUp() override {
    auto listener = listenOn("127.0.0.1:0");
    ASSERT_TRUE(listener);
    mListener = *std::move(listener);
    cupsSetServer(addressOf(mListener.get()).c_str());
  }
  void TearDown() override { cupsSetServer(nullptr); }

  // Whether anything was asked on the first connection.
  [[nodiscard]] bool isAsked() const {
    const FileDescriptor connection(::accept(mListener.get(), nullptr, nullptr));
    pollfd asked = {.fd = connection.get(), .events = POLLIN, .revents = 0};
    return ::poll(&asked, 1, 0) != 0;
  }

  FileDescriptor mListener;
};

// For it that would be the job that is printing, whoever's it is.
TEST_F(ASilentPrintServer, IsNotToldToCancelAJobWithoutANumber) {
  for (const int id : {0, -1}) {
    auto server = PrintServer::connect();
    ASSERT_TRUE(server);
    EXPECT_FALSE(server->cancelJob("office", id, "somebody"));
    EXPECT_FALSE(server->purgeJob("office", id));
    EXPECT_FALSE(isAsked());
  }
}

}  // namespace
}  // namespace moxsupply::testing
