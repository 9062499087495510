// A report of which the print server says no more in the middle.

#include <cups/cups.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "queue/PrintServer.h"
#include "queue/Refresh.h"
#include "tests/queue/FakePrintServer.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::StartsWith;

void noJobs(ipp_t* /*answer*/) {}

void submitted(ipp_t* answer) { ippAddInteger(answer, IPP_TAG_JOB, IPP_TAG_INTEGER, "job-id", 7); }

void hasReported(ipp_t* answer) {
  ippAddInteger(answer, IPP_TAG_JOB, IPP_TAG_ENUM, "job-state", IPP_JSTATE_COMPLETED);
  ippAddInteger(answer, IPP_TAG_JOB, IPP_TAG_INTEGER, "job-media-progress", 100);
}

// Nobody knows any more what becomes of it.
TEST(RefusedReport, EndsWhenItsJobIsNotShown) {
  const FakePrintServer fake({{IPP_OP_GET_JOBS, noJobs}, {IPP_OP_PRINT_JOB, submitted}});
  auto server = PrintServer::connect();
  ASSERT_TRUE(server);
  const auto refreshed = refresh(*server, "office", 1s);
  ASSERT_FALSE(refreshed);
  EXPECT_THAT(refreshed.error().what, StartsWith("cannot look at job 7: "));
  EXPECT_THAT(fake.asked(),
              ElementsAre(IPP_OP_GET_JOBS, IPP_OP_PRINT_JOB, IPP_OP_GET_JOB_ATTRIBUTES));
}

// What the printer said is known to the queue alone.
TEST(RefusedReport, IsNoSuccessWhenItsQueueIsNotShown) {
  const FakePrintServer fake({{IPP_OP_GET_JOBS, noJobs},
                              {IPP_OP_PRINT_JOB, submitted},
                              {IPP_OP_GET_JOB_ATTRIBUTES, hasReported}});
  auto server = PrintServer::connect();
  ASSERT_TRUE(server);
  const auto refreshed = refresh(*server, "office", 1s);
  ASSERT_FALSE(refreshed);
  EXPECT_THAT(refreshed.error().what, StartsWith("no queue \"office\": "));
}

}  // namespace
}  // namespace moxsupply::testing
