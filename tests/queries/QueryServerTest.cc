// How long a process is used again, and how many connections one gets.
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "queries/LevelQueries.h"
#include "queries/QueryServer.h"
#include "tests/support/Processes.h"
#include "tests/support/SilentPort.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

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

// Whoever takes a query over, through a mistake of ours, is not to have the printer connected to
// without end.
TEST(AQueryServer, MakesFourConnectionsForAQueryAtMost) {
  const TemporaryFolder folder;
  const auto program = folder.path() / "server";
  const auto said = folder.path() / "said";
  write(program,
        "#!/usr/bin/env python3\n"
        "import os, socket\n"
        "_, sockets, _, _ = socket.recv_fds(socket.socket(fileno=0), 16384, 1)\n"
        "query = socket.socket(fileno=sockets[0])\n"
        "had = 0\n"
        "while True:\n"
        "    query.send(b'C')\n"
        "    _, links, _, _ = socket.recv_fds(query, 1, 1)\n"
        "    if not links: break\n"
        "    had += 1\n"
        "    os.close(links[0])\n"
        "    print(had, file=open('" +
            said.string() + "', 'w'))\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  const SilentPort printer;
  boost::asio::io_context context;
  std::optional<QueryResult> result;
  {
    LevelQueries queries(
        context,
        {.commandFor = [](const Assignment&) { return std::vector<std::string>(); },
         .server = {program}},
        [&](Assignment::Id, QueryResult ended) { result = std::move(ended); });
    queries.begin({1, printer.uri(), PrinterKind::kLaser, std::chrono::seconds(20)});
    while (!result && context.run_one_for(std::chrono::seconds(20)) > 0) {
    }
  }
  ASSERT_TRUE(result);
  EXPECT_FALSE(result->hasSucceeded());
  EXPECT_EQ(contentOf(said), "4\n");
}

}  // namespace
}  // namespace moxsupply::testing
