// Processes that behave as `moxsupply levels` should not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>

#include "monitoring/LevelQueries.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using std::chrono::seconds;

class LevelQueriesTest : public ::testing::Test {
 protected:
  // A program of the shell.
  std::string program(const std::string& body) {
    const auto path = folder.path() / "program";
    std::ofstream(path) << "#!/bin/sh\n" << body << '\n';
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }

  static LevelQueries::Commands commandOf(const std::string& program) {
    return {[program](const Prober::Assignment&) { return std::vector<std::string>{program}; }};
  }

  // What comes of a query by such a program, whose deadline is a second.
  QueryResult resultOf(const std::string& program) {
    std::optional<QueryResult> result;
    boost::asio::io_context context;
    LevelQueries queries(context, commandOf(program), [&](Prober::Id id, QueryResult ended) {
      EXPECT_EQ(id, 7U);
      result = std::move(ended);
    });
    const auto begin = std::chrono::steady_clock::now();
    queries.begin({7, "socket://192.0.2.7", PrinterKind::kLaser, seconds(1)});
    EXPECT_FALSE(result) << "the end was told too soon";
    context.run_for(seconds(10));
    time = std::chrono::steady_clock::now() - begin;
    EXPECT_TRUE(result) << "no end was told";
    return result.value_or(QueryResult{});
  }

  [[nodiscard]] std::string content(const char* name) const {
    return contentOf(folder.path() / name);
  }

  TemporaryFolder folder;
  std::chrono::duration<double> time{};
};

TEST_F(LevelQueriesTest, AskAsTheyAreTold) {
  const auto said = folder.path() / "said";
  const QueryResult result = resultOf(program("echo \"$* $DEVICE_URI\" >" + said.string() +
                                              R"(; echo '{"status": 0, "report": {}}')"));
  EXPECT_EQ(result.outcome, Outcome::kSuccess);
  EXPECT_EQ(content("said"), " socket://192.0.2.7\n");
}

TEST_F(LevelQueriesTest, LeaveNothingOpenToTheirPrograms) {
  ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);  // what whoever runs this test has left open
  const auto said = folder.path() / "said";
  resultOf(program("ls /proc/self/fd >" + said.string()));
  EXPECT_EQ(content("said"), "0\n1\n2\n3\n");  // 3 is the folder that is listed
}

TEST_F(LevelQueriesTest, SpeakTheLanguageOfSeries) {
  ::setenv("LC_ALL", "de_DE.UTF-8", 1);
  ::setenv("LANGUAGE", "de", 1);
  const auto said = folder.path() / "said";
  resultOf(program("echo \"$LC_ALL $LANGUAGE\" >" + said.string()));
  EXPECT_EQ(content("said"), "C.UTF-8 \n");
  ::unsetenv("LC_ALL");
  ::unsetenv("LANGUAGE");
}

TEST_F(LevelQueriesTest, SayThatAProgramIsNotThere) {
  const QueryResult result = resultOf("/nowhere/moxsupply");
  EXPECT_EQ(result.outcome, Outcome::kInternal);
  EXPECT_EQ(result.what, "cannot be started: No such file or directory");
}

TEST_F(LevelQueriesTest, KillAProgramThatDoesNotEnd) {
  const QueryResult result = resultOf(program("echo '{\"status\": 0'; exec sleep 60"));
  EXPECT_EQ(result.outcome, Outcome::kDeadline);
  EXPECT_NEAR(time.count(), 2, 0.5);
}

TEST_F(LevelQueriesTest, KillAProgramThatWritesWithoutEnd) {
  const QueryResult result = resultOf(program("exec cat /dev/zero"));
  EXPECT_EQ(result.outcome, Outcome::kUndecodable);
  EXPECT_LT(time.count(), 1.9);
  EXPECT_EQ(resultOf(program("exec cat /dev/zero >&2")).outcome, Outcome::kUndecodable);
}

TEST_F(LevelQueriesTest, KillWhatAProgramLeavesBehind) {
  const auto said = folder.path() / "said";
  const QueryResult result = resultOf(program("sleep 60 & echo $! >" + said.string() +
                                              R"(; echo '{"status": -6, "report": {}}'; exit 1)"));
  EXPECT_EQ(result.outcome, Outcome::kNothingReceived);
  EXPECT_LT(time.count(), 1);  // it does not wait for what holds the output
  const int left = std::stoi(content("said"));
  for (int i = 0; i < 100 && ::kill(left, 0) == 0; ++i) {
    const std::string text = contentOf("/proc/" + std::to_string(left) + "/stat");
    if (text.find(") Z") != std::string::npos) return;  // nobody has taken it away yet
    ::usleep(10'000);
  }
  EXPECT_NE(::kill(left, 0), 0);
}

TEST_F(LevelQueriesTest, EndWithTheirOwner) {
  const auto said = folder.path() / "said";
  {
    boost::asio::io_context context;
    LevelQueries queries(
        context, commandOf(program("echo $$ >" + said.string() + "; exec sleep 60")),
        [](Prober::Id, const QueryResult&) { ADD_FAILURE() << "an end was told"; });
    queries.begin({1, "a", {}, seconds(60)});
    queries.begin({2, "b", {}, seconds(60)});
    queries.stop(2);
    context.run_for(std::chrono::milliseconds(300));
  }
  EXPECT_NE(::kill(std::stoi(content("said")), 0), 0);
}

}  // namespace
}  // namespace moxsupply::testing
