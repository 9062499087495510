// Processes that behave as `moxsupply levels` should not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "queries/LevelQueries.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using std::chrono::seconds;
using ::testing::ElementsAre;

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
    return {[program](const Assignment&) { return std::vector<std::string>{program}; }};
  }

  // What comes of a query by such a program, whose deadline is a second.
  QueryResult resultOf(const std::string& program) {
    std::optional<QueryResult> result;
    boost::asio::io_context context;
    LevelQueries queries(context, commandOf(program), [&](Assignment::Id id, QueryResult ended) {
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
        [](Assignment::Id, const QueryResult&) { ADD_FAILURE() << "an end was told"; });
    queries.begin({1, "a", {}, seconds(60)});
    queries.begin({2, "b", {}, seconds(60)});
    queries.stop(2);
    context.run_for(std::chrono::milliseconds(300));
  }
  EXPECT_NE(::kill(std::stoi(content("said")), 0), 0);
}

// ---- Print queues, of which one process reads those of a server.

class QueuesOfAServer : public LevelQueriesTest {
 protected:
  // A program that notes what it is asked and answers for each queue: "gone" is not there, of "bad"
  // it dies, "hung" has it wait for ever, and of any other nothing is known. `first`: what it does
  // before.
  std::string reader(const std::string& first = ":") {
    return program(first + "; echo \"$DEVICE_URI\" >>" + (folder.path() / "said").string() + R"(
      for uri in $DEVICE_URI; do
        case $uri in
          */gone) printf '1\000moxsupply queue-levels: not there\n\000' ;;
          */bad) kill -9 $$ ;;
          */hung) exec sleep 60 ;;
          *) printf '0\nsocket://192.0.2.7\n\000\000' ;;
        esac
      done)");
  }

  static Assignment queue(Assignment::Id id, const std::string& uri) {
    return {id, "ipp://" + uri, {}, seconds(1), true};
  }

  LevelQueries::OnEnd onEnd() {
    return [this](Assignment::Id id, const QueryResult& result) {
      EXPECT_TRUE(results.emplace(id, result).second) << id << " was told twice";
    };
  }

  // Of three queues that are read together, of which the second has this name.
  std::vector<Outcome> outcomesBeside(const std::string& name) {
    LevelQueries queries(context, commandOf(reader()), onEnd());
    queries.begin(queue(1, "server/printers/a"));
    queries.begin(queue(2, "server/printers/" + name));
    queries.begin(queue(3, "server/printers/c"));
    context.run_for(seconds(10));
    std::vector<Outcome> outcomes;
    std::ranges::transform(results, std::back_inserter(outcomes),
                           [](const auto& result) { return result.second.outcome; });
    return outcomes;
  }

  std::map<Assignment::Id, QueryResult> results;
  boost::asio::io_context context;
};

TEST_F(QueuesOfAServer, AreReadTogether) {
  LevelQueries queries(context, commandOf(reader()), onEnd());
  queries.begin(queue(1, "Server/printers/a"));
  queries.begin(queue(2, "server/printers/gone"));
  queries.begin(queue(3, "server:631/printers/c"));
  context.run_for(seconds(10));
  EXPECT_EQ(content("said"),
            "ipp://Server/printers/a ipp://server/printers/gone ipp://server:631/printers/c\n");
  queries.begin(queue(4, "server/printers/a"));
  queries.begin(queue(5, "other/printers/a"));
  context.restart();
  context.run_for(seconds(10));
  ASSERT_EQ(results.size(), 5U);
  for (const Assignment::Id id : {1U, 3U, 4U, 5U}) {
    EXPECT_EQ(results[id].outcome, Outcome::kNothingReceived) << results[id].what;
  }
  EXPECT_EQ(results[2].outcome, Outcome::kUnreachable);
  EXPECT_EQ(results[2].what, "not there");
  const std::string said = content("said");
  EXPECT_EQ(std::ranges::count(said, '\n'), 3) << said;
}

TEST_F(QueuesOfAServer, WaitWhileOthersAreRead) {
  LevelQueries queries(context, commandOf(reader("sleep 0.5")), onEnd());
  queries.begin(queue(1, "server/printers/a"));
  context.run_for(std::chrono::milliseconds(100));
  queries.begin(queue(2, "server/printers/b"));
  context.run_for(std::chrono::milliseconds(50));
  queries.begin(queue(3, "server/printers/c"));
  context.run_for(seconds(10));
  EXPECT_EQ(results.size(), 3U);
  EXPECT_EQ(content("said"),
            "ipp://server/printers/a\nipp://server/printers/b ipp://server/printers/c\n");
}

TEST_F(QueuesOfAServer, AreNotLostWithOne) {
  EXPECT_THAT(outcomesBeside("bad"), ElementsAre(Outcome::kNothingReceived, Outcome::kInternal,
                                                 Outcome::kNothingReceived));
}

TEST_F(QueuesOfAServer, HaveOneDeadline) {
  EXPECT_THAT(outcomesBeside("hung"),
              ElementsAre(Outcome::kNothingReceived, Outcome::kDeadline, Outcome::kDeadline));
}

TEST_F(QueuesOfAServer, AreStoppedOneByOne) {
  LevelQueries queries(context, commandOf(reader("sleep 0.5")), onEnd());
  for (const Assignment::Id id : {1U, 2U}) queries.begin(queue(id, "server/printers/a"));
  context.run_for(std::chrono::milliseconds(100));
  for (const Assignment::Id id : {3U, 4U}) queries.begin(queue(id, "server/printers/b"));
  queries.stop(1);
  queries.stop(3);
  context.run_for(seconds(10));
  EXPECT_EQ(results.size(), 2U);
  EXPECT_TRUE(results.contains(2) && results.contains(4));

  // Where nobody is left, those that wait are next.
  queries.begin(queue(5, "server/printers/hung"));
  context.restart();
  context.run_for(std::chrono::milliseconds(100));
  queries.begin(queue(6, "server/printers/c"));
  context.run_for(std::chrono::milliseconds(50));
  queries.stop(5);
  context.run_for(std::chrono::milliseconds(1500));
  EXPECT_EQ(results.size(), 3U);
  EXPECT_TRUE(results.contains(6));
}

TEST_F(QueuesOfAServer, AreNotReadWithoutEnd) {
  LevelQueries queries(context, commandOf(reader()), onEnd());
  for (Assignment::Id id = 1; id <= LevelQueries::kMostQueuesAtOnce + 1; ++id) {
    queries.begin(queue(id, "server/printers/a"));
  }
  context.run_for(seconds(10));
  EXPECT_EQ(results.size(), LevelQueries::kMostQueuesAtOnce + 1);
  const std::string said = content("said");
  EXPECT_EQ(std::ranges::count(said, '\n'), 2);
}

}  // namespace
}  // namespace moxsupply::testing
