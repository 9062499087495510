// How long a process is used again.
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <optional>
#include <string>
#include <vector>

#include "queries/LevelQueries.h"
#include "queries/QueryServer.h"
#include "tests/support/Processes.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

TEST(AQueryServer, EndsAProcessThatHasHadItsQueries) {
  const SimulatedPrinter printer("laser-mono-toner");
  boost::asio::io_context context;
  std::optional<QueryResult> result;
  LevelQueries queries(context,
                       {.commandFor = [](const Assignment&) { return std::vector<std::string>(); },
                        .server = {MOXSUPPLY_MONITORING, "query-server"}},
                       [&](Assignment::Id, QueryResult ended) { result = std::move(ended); });
  const auto processes = [] { return childrenOf(childrenOf(::getpid()).at(0)); };
  const auto ask = [&] {
    result.reset();
    queries.begin({1, printer.uri(), PrinterKind::kLaser, std::chrono::seconds(20)});
    while (!result && context.run_one_for(std::chrono::seconds(20)) > 0) {
    }
    context.restart();
    return result ? result->what : "no end was told";
  };
  ASSERT_EQ(ask(), "");
  const auto first = processes();
  ASSERT_EQ(first.size(), 1U);
  for (int i = 2; i < QueryServer::kMostQueries; ++i) ASSERT_EQ(ask(), "");
  EXPECT_EQ(processes(), first);
  ASSERT_EQ(ask(), "");  // its last
  ASSERT_EQ(ask(), "");
  EXPECT_NE(processes().back(), first.front());
}

}  // namespace
}  // namespace moxsupply::testing
