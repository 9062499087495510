#include <gtest/gtest.h>

#include "queue/PrintServer.h"
#include "tests/queue/FakePrintServer.h"

namespace moxsupply::testing {
namespace {

// For it that would be the job that is printing, whoever's it is.
TEST(PrintServer, IsNotToldToCancelAJobWithoutANumber) {
  const FakePrintServer fake;
  for (const int id : {0, -1}) {
    auto server = PrintServer::connect();
    ASSERT_TRUE(server);
    EXPECT_FALSE(server->cancelJob("office", id, "somebody"));
    EXPECT_FALSE(server->purgeJob("office", id));
  }
  EXPECT_TRUE(fake.asked().empty());
}

}  // namespace
}  // namespace moxsupply::testing
