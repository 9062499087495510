#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <new>
#include <utility>

#include "monitoring/Prober.h"
#include "tests/support/Allocations.h"

namespace moxsupply::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto kOnPurpose = Prober::Urgency::kOnPurpose;
constexpr auto kSomebodyWaits = Prober::Urgency::kSomebodyWaits;
constexpr auto kInTheBackground = Prober::Urgency::kInTheBackground;

QueryResult success(PrinterKind kind = PrinterKind::kLaser, int level = 50) {
  Supply supply;
  supply.level = level;
  return {Outcome::kSuccess, Supplies{kind, "", {supply}}, {}, {}};
}

QueryResult silence() { return {Outcome::kUnreachable, std::nullopt, "is not there", {}}; }

// A prober at a time of the test's choice, and the queries that it would have run.
class ProberTest : public ::testing::Test {
 protected:
  explicit ProberTest(Prober::Limits limits = {.minInterval = seconds(30),
                                               .maxBackoff = minutes(15),
                                               .queriesAtOnce = 4})
      : used(limits) {}

  struct Running {
    Assignment query;
    Prober::Clock::time_point begun;
  };

  static PrinterList listOf(const std::vector<std::string>& targets) {
    PrinterList list;
    for (const std::string& target : targets) list.push_back({target, target, {}, target, ""});
    return list;
  }

  static std::vector<std::string> printers(const std::string& prefix, std::size_t count) {
    std::vector<std::string> targets(count);
    std::size_t next = 0;
    for (std::string& target : targets) target = prefix + std::to_string(next++);
    return targets;
  }

  void use(const std::vector<std::string>& targets) { prober.setList(listOf(targets)); }

  bool want(const std::string& target, Prober::Urgency urgency = kSomebodyWaits) {
    const bool waits = prober.want(target, urgency, now);
    prober.proceed(now);
    return waits;
  }

  void wantAll(const std::vector<std::string>& targets) {
    for (const std::string& target : targets) prober.want(target, kSomebodyWaits, now);
    prober.proceed(now);
  }

  // The query of this printer ends.
  void end(const std::string& target, QueryResult result) {
    const auto found =
        std::ranges::find(running, target, [](const auto& one) { return one.query.uri; });
    ASSERT_NE(found, running.end()) << target << " is not being asked";
    const auto id = found->query.id;
    running.erase(found);
    prober.ended(id, std::move(result), now);
    prober.proceed(now);
  }

  void pass(milliseconds time) {
    now += time;
    prober.proceed(now);
  }

  // One query from its beginning to its end.
  void ask(const std::string& target, QueryResult result) {
    ASSERT_TRUE(want(target));
    end(target, std::move(result));
  }

  [[nodiscard]] std::vector<std::string> asked() const {
    std::vector<std::string> targets;
    for (const auto& one : running) targets.push_back(one.query.uri);
    return targets;
  }

  [[nodiscard]] bool isAsked(const std::string& target) const {
    return std::ranges::count(asked(), target) > 0;
  }

  Prober::Limits used;
  Prober::Clock::time_point now{minutes(100)};
  std::vector<Running> running;
  std::vector<std::string> released;
  Prober prober{used,
                {.begin =
                     [this](const Assignment& query) {
                       running.push_back({query, now});
                     },
                 .stop =
                     [this](Prober::Id id) {
                       std::erase_if(running, [id](const auto& one) { return one.query.id == id; });
                     },
                 .answered = [](const Prober::Printer&, const QueryResult&) {},
                 .released = [this](const std::string& target) { released.push_back(target); }}};
};

// Whether it is somebody's first or has a lower place already.
TEST_F(ProberTest, AsksWhomItHadNoMemoryFor) {
  for (const bool isFirst : {true, false}) {
    bool hasFailed = true;
    for (std::size_t nth = 1; hasFailed; ++nth) {
      int begun = 0;
      Prober one({}, {.begin = [&begun](const Assignment& /*query*/) { ++begun; },
                      .stop = {},
                      .answered = {},
                      .released = {}});
      one.setList(listOf({"office"}));
      if (!isFirst) one.want("office", kInTheBackground, now);
      {
        const FailingAllocation allocation(nth);
        try {
          one.want("office", kSomebodyWaits, now);
        } catch (const std::bad_alloc&) {
        }
        hasFailed = allocation.hasFailed();
      }
      EXPECT_TRUE(one.want("office", kSomebodyWaits, now));
      one.proceed(now);
      EXPECT_EQ(begun, 1) << nth;
    }
  }
}

TEST_F(ProberTest, AsksNobodyOfItself) {
  use({"a", "b"});
  pass(minutes(60));
  EXPECT_THAT(running, IsEmpty());
}

TEST_F(ProberTest, AsksAgainWhenItWouldHaveWithoutARestart) {
  use({"a", "b"});
  prober.restore("a", *success(PrinterKind::kInkjet).supplies, now - seconds(10), now);
  prober.restore("b", *success().supplies, now - seconds(40), now);
  prober.restore("c", *success().supplies, now, now);
  EXPECT_EQ(prober.find("a")->reading->time, now - seconds(10));
  EXPECT_EQ(prober.find("a")->last->outcome, Outcome::kSuccess);
  EXPECT_FALSE(want("a"));
  EXPECT_TRUE(want("b"));
  EXPECT_TRUE(prober.find("b")->isRestored);
  pass(seconds(20));
  EXPECT_TRUE(want("a"));
  EXPECT_EQ(running.back().query.kind, PrinterKind::kInkjet);
  EXPECT_EQ(running.back().query.deadline, used.deadline);  // it is known to be there
  end("a", success());
  EXPECT_FALSE(prober.find("a")->isRestored);
}

TEST_F(ProberTest, TellsWhoWaitsWhatIsRestored) {
  use({"a", "b"});
  prober.want("a", kSomebodyWaits, now);
  prober.want("b", kOnPurpose, now);
  prober.restore("a", *success().supplies, now - seconds(10), now);
  prober.restore("b", *success().supplies, now - seconds(10), now);
  EXPECT_THAT(released, ElementsAre("a"));
  EXPECT_FALSE(prober.find("a")->isPending);
  pass({});
  EXPECT_THAT(asked(), ElementsAre("b"));
}

TEST_F(ProberTest, AsksWhomSomebodyWaitedForAlsoWhenAnOldReadingIsRestored) {
  use({"a"});
  prober.want("a", kSomebodyWaits, now);
  prober.restore("a", *success().supplies, now - seconds(40), now);
  EXPECT_THAT(released, ElementsAre("a"));
  pass({});
  EXPECT_THAT(asked(), ElementsAre("a"));
}

TEST_F(ProberTest, RestoresNothingOfWhomItHasAsked) {
  use({"a", "b"});
  ask("a", success(PrinterKind::kLaser, 7));
  ASSERT_TRUE(want("b"));
  for (const char* target : {"a", "b"}) prober.restore(target, Supplies(), now, now);
  EXPECT_EQ(prober.find("a")->reading->supplies.list.at(0).level, 7);
  EXPECT_EQ(prober.find("b")->reading, std::nullopt);
}

TEST_F(ProberTest, AsksNobodyWhoIsNotInTheList) {
  use({"a"});
  EXPECT_FALSE(want("b"));
  EXPECT_EQ(prober.find("b"), nullptr);
  EXPECT_THAT(running, IsEmpty());
}

TEST_F(ProberTest, AsksOnceForAllWhoWant) {
  use({"a"});
  EXPECT_TRUE(want("a"));
  EXPECT_TRUE(want("a"));
  EXPECT_TRUE(want("a"));
  EXPECT_THAT(asked(), ElementsAre("a"));
  EXPECT_EQ(prober.counts().shared, 2U);
  end("a", success());
  EXPECT_THAT(released, ElementsAre("a"));
  EXPECT_FALSE(prober.find("a")->isPending);
}

TEST_F(ProberTest, AnswersFromTheReadingWithinTheInterval) {
  use({"a"});
  want("a");
  pass(seconds(1));
  end("a", success());
  pass(milliseconds(28'999));
  EXPECT_FALSE(want("a"));
  EXPECT_THAT(running, IsEmpty());
  EXPECT_EQ(now - prober.find("a")->reading->time, milliseconds(28'999));
  pass(milliseconds(1));  // 30 seconds after the beginning of the query
  EXPECT_TRUE(want("a"));
  EXPECT_THAT(asked(), ElementsAre("a"));
}

TEST_F(ProberTest, AsksASilentPrinterEverMoreSeldom) {
  use({"a"});
  const std::vector<seconds> pauses = {seconds(30),  seconds(60),  seconds(120), seconds(240),
                                       seconds(480), seconds(900), seconds(900)};
  for (const seconds pause : pauses) {
    ASSERT_TRUE(want("a"));
    pass(seconds(9));
    end("a", silence());
    EXPECT_FALSE(want("a"));
    pass(pause - milliseconds(1));
    EXPECT_FALSE(want("a")) << pause.count();
    pass(milliseconds(1));
  }
  ask("a", success());
  pass(seconds(30));
  ask("a", silence());
  pass(seconds(30));
  EXPECT_TRUE(want("a"));  // from the beginning
}

// The intervals as they are without options, and a scrape every two minutes.
class APoliteProber : public ProberTest {
 protected:
  APoliteProber() : ProberTest(Prober::Limits()) { use({"a"}); }

  // Hours from the beginning at which the printer was asked, while it answers or not.
  std::vector<double> hoursAsked(std::chrono::hours span, const std::function<bool()>& answers) {
    const auto begin = now;
    std::vector<double> asked;
    for (; now < begin + span; pass(minutes(2))) {
      if (!want("a")) continue;
      asked.push_back(std::chrono::duration<double, std::ratio<3600>>(now - begin).count());
      end("a", answers() ? success() : silence());
    }
    return asked;
  }
};

TEST_F(APoliteProber, AsksAPrinterFourTimesADay) {
  EXPECT_THAT(hoursAsked(std::chrono::hours(24), [] { return true; }), ElementsAre(0, 6, 12, 18));
}

TEST_F(APoliteProber, TriesOneThatIsOffAtTheTimeOfDayAtWhichItAnswered) {
  bool isFirst = true;
  EXPECT_THAT(hoursAsked(std::chrono::hours(100), [&] { return std::exchange(isFirst, false); }),
              ElementsAre(0, 6, 12, 24, 48, 72, 96));
}

TEST_F(ProberTest, AsksOnPurposeWhateverTheInterval) {
  use({"a"});
  ask("a", success());
  EXPECT_FALSE(want("a"));
  EXPECT_TRUE(want("a", kOnPurpose));
  EXPECT_TRUE(want("a", kOnPurpose));
  EXPECT_THAT(asked(), ElementsAre("a"));  // never twice at once
  end("a", silence());
  EXPECT_FALSE(want("a"));
  EXPECT_TRUE(want("a", kOnPurpose));
  end("a", success());
  EXPECT_FALSE(want("b", kOnPurpose));
}

TEST_F(ProberTest, AsksFirstOnPurpose) {
  use({"a", "b", "c", "d"});
  wantAll({"a", "b", "c"});
  want("d", kOnPurpose);
  end("a", success());
  EXPECT_THAT(asked(), ElementsAre("b", "d"));
}

TEST_F(ProberTest, KeepsTheLastReadingOfAPrinterThatFellSilent) {
  use({"a"});
  ask("a", success(PrinterKind::kLaser, 40));
  pass(seconds(30));
  ask("a", silence());
  const Prober::Printer& printer = *prober.find("a");
  EXPECT_EQ(printer.last->outcome, Outcome::kUnreachable);
  EXPECT_EQ(printer.reading->supplies.list.at(0).level, 40);
  EXPECT_EQ(now - printer.reading->time, seconds(30));
}

TEST_F(ProberTest, RunsNoMoreThanHalfOfTheQueriesInEachLane) {
  const auto all = printers("p", 9);
  use(all);
  wantAll(all);
  EXPECT_EQ(running.size(), 2U);
  EXPECT_EQ(prober.counts().running, 2U);
  EXPECT_EQ(prober.counts().waiting, 7U);
  while (!running.empty()) {
    EXPECT_LE(running.size(), 2U);
    end(asked().front(), success());
  }
  EXPECT_EQ(prober.counts().waiting, 0U);
}

TEST_F(ProberTest, AsksAPrinterOnceThoughItIsMovedBetweenTheLanes) {
  const auto all = printers("silent", 40);
  use(all);
  wantAll(all);
  for (int i = 0; i < 600; ++i) {
    pass(milliseconds(100));
    EXPECT_LE(running.size(), 4U);
    auto targets = asked();
    std::ranges::sort(targets);
    EXPECT_EQ(std::ranges::adjacent_find(targets), targets.end());
    if (i % 17 == 0 && !targets.empty()) end(targets.front(), silence());
  }
}

TEST_F(ProberTest, LetsFiftySilentPrintersDelayNobody) {
  const auto silent = printers("silent", 50);
  const auto healthy = printers("healthy", 50);
  auto all = silent;
  all.insert(all.end(), healthy.begin(), healthy.end());
  use(all);
  // What they are is known from the round before, but for the first.
  for (int round = 0; round < 3; ++round) {
    wantAll(all);
    std::map<std::string, milliseconds> times;
    for (milliseconds time(0); time < seconds(600); time += milliseconds(10)) {
      const auto before = running;
      for (const auto& [query, begun] : before) {
        const bool isSilent = query.uri.starts_with("silent");
        if (now - begun < (isSilent ? milliseconds(9000) : milliseconds(50))) continue;
        end(query.uri, isSilent ? silence() : success());
        times[query.uri] = time;
      }
      pass(milliseconds(10));
    }
    ASSERT_EQ(times.size(), all.size());
    milliseconds longest(0);
    for (const std::string& target : healthy) longest = std::max(longest, times[target]);
    // Two at once, 50 ms each: 1.25 s. At first the silent ones, which come before them, are tried
    // for a second each in the same lane.
    EXPECT_LE(longest, round == 0 ? milliseconds(27'000) : milliseconds(1500)) << round;
    now += minutes(20);
  }
}

TEST_F(ProberTest, LetsPrintersThatFallSilentAllAtOnceGoAfterASecond) {
  const auto silent = printers("silent", 6);
  auto all = silent;
  all.emplace_back("healthy");
  use(all);
  for (const auto& target : all) ask(target, success());
  pass(seconds(60));
  wantAll(all);
  EXPECT_THAT(asked(), ElementsAre("silent0", "silent1"));
  pass(seconds(1));  // these go on in the slow lane
  EXPECT_THAT(asked(), ElementsAre("silent0", "silent1", "silent2", "silent3"));
  pass(seconds(1));  // there is no room for these in the slow lane
  EXPECT_THAT(asked(), ElementsAre("silent0", "silent1", "silent4", "silent5"));
  pass(seconds(1));
  EXPECT_THAT(asked(), ElementsAre("silent0", "silent1", "healthy"));
  end("healthy", success());
  end("silent0", silence());
  EXPECT_THAT(asked(), ElementsAre("silent1", "silent2"));
}

TEST_F(ProberTest, PrefersThoseWhomSomebodyWaitsFor) {
  use({"a", "b", "c", "d", "e"});
  for (const char* target : {"a", "b", "c", "d"}) want(target, kInTheBackground);
  EXPECT_THAT(asked(), ElementsAre("a", "b"));
  want("d", kSomebodyWaits);
  want("e", kSomebodyWaits);
  end("a", success());
  end("b", success());
  EXPECT_THAT(asked(), ElementsAre("d", "e"));
}

TEST_F(ProberTest, PrefersPrintersThatItKnows) {
  use({"a", "b", "new", "known"});
  ask("known", success());
  pass(minutes(1));
  wantAll({"a", "b", "new", "known"});
  EXPECT_THAT(asked(), ElementsAre("known", "a"));
}

TEST_F(ProberTest, RemembersTheTypeThatItFound) {
  use({"a"});
  want("a");
  EXPECT_EQ(running.at(0).query.kind, std::nullopt);
  pass(seconds(5));
  end("a", success(PrinterKind::kInkjet));
  pass(minutes(1));
  want("a");
  EXPECT_EQ(running.at(0).query.kind, PrinterKind::kInkjet);
  EXPECT_EQ(prober.nextMove(), now + seconds(1));  // in the fast lane: only finding out took long
  end("a", silence());                             // it is switched off
  pass(minutes(1));
  want("a");
  EXPECT_EQ(running.at(0).query.kind, PrinterKind::kInkjet);
  end("a", success(PrinterKind::kInkjet));
  for (const Outcome outcome :
       {Outcome::kNothingReceived, Outcome::kUndecodable, Outcome::kDeadline}) {
    pass(minutes(1));
    ask("a", success(PrinterKind::kInkjet));
    pass(minutes(1));
    ask("a", {outcome, std::nullopt, "is of another kind", {}});
    EXPECT_EQ(prober.find("a")->kind, std::nullopt);  // another may stand there now
  }
}

TEST_F(ProberTest, HasPatienceWithThoseThatHaveAnswered) {
  use({"a"});
  ask("a", success());
  for (int i = 0; i < 3; ++i) {
    pass(minutes(20));
    ASSERT_TRUE(want("a"));
    EXPECT_EQ(running.at(0).query.deadline, seconds(30));
    end("a", silence());
  }
}

TEST_F(ProberTest, HasPatienceWithOthersOnceADay) {
  use({"dead"});
  std::vector<std::pair<double, long>> asked;  // at which hour, with which deadline
  for (const auto begin = now; now < begin + std::chrono::hours(49); pass(minutes(20))) {
    ASSERT_TRUE(want("dead"));
    const auto deadline = running.at(0).query.deadline.count();
    if (deadline != 9) asked.emplace_back((now - begin) / std::chrono::hours(1), deadline);
    end("dead", silence());
  }
  EXPECT_THAT(asked, ElementsAre(std::pair(0, 30), std::pair(24, 30), std::pair(48, 30)));
}

TEST_F(ProberTest, HasPatienceOnPurpose) {
  use({"dead"});
  ask("dead", silence());
  pass(minutes(20));
  ASSERT_TRUE(want("dead"));
  EXPECT_EQ(running.at(0).query.deadline, seconds(9));
  end("dead", silence());
  ASSERT_TRUE(want("dead", kOnPurpose));
  EXPECT_EQ(running.at(0).query.deadline, seconds(30));
}

// It is begun anew in the slow lane, and has not had its patience yet.
TEST_F(ProberTest, HasPatienceAlsoWithThoseThatAreMovedBetweenTheLanes) {
  const auto silent = printers("silent", 5);
  use(silent);
  wantAll(silent);
  pass(seconds(1));
  pass(seconds(1));  // no room in the slow lane: silent3 waits there
  ASSERT_FALSE(isAsked("silent3"));
  end("silent0", silence());
  end("silent1", silence());
  ASSERT_TRUE(isAsked("silent3"));
  for (const Running& one : running) EXPECT_EQ(one.query.deadline, seconds(30)) << one.query.uri;
}

TEST_F(ProberTest, HasNoMorePatienceThanItIsTold) {
  Prober hasty({.deadline = seconds(5)},
               {.begin =
                    [this](const Assignment& query) {
                      running.push_back({query, now});
                    },
                .stop = [](Prober::Id) {},
                .answered = [](const Prober::Printer&, const QueryResult&) {},
                .released = [](const std::string&) {}});
  hasty.setList(listOf({"a"}));
  for (int i = 0; i < 2; ++i) {
    hasty.want("a", kSomebodyWaits, now);
    hasty.proceed(now);
    EXPECT_EQ(running.back().query.deadline, seconds(5));
    hasty.ended(running.back().query.id, silence(), now);
    now += std::chrono::hours(12);
  }
}

TEST_F(ProberTest, TakesTheTypeOfTheList) {
  prober.setList({{"a", "a", PrinterKind::kLaser, "a", ""}});
  want("a");
  EXPECT_EQ(running.at(0).query.kind, PrinterKind::kLaser);
}

TEST_F(APoliteProber, ReadsAQueueOftenerThanAPrinter) {
  prober.setList({{"a", "a", {}, "a", "", true}});
  EXPECT_THAT(hoursAsked(std::chrono::hours(1), [] { return true; }),
              ElementsAre(0, 16 / 60., 32 / 60., 48 / 60.));  // 15 minutes, and the next scrape
  EXPECT_TRUE(want("a", kOnPurpose));
  EXPECT_TRUE(running.at(0).query.isQueue);
}

TEST_F(ProberTest, ReadsAQueueAsOftenAsItIsTold) {
  prober.setList({{"a", "a", {}, "a", "", true}});
  ask("a", success());
  pass(seconds(30));
  EXPECT_TRUE(want("a"));
}

TEST_F(ProberTest, TellsSinceWhenTheSuppliesOfAQueueAreSo) {
  prober.setList({{"a", "a", {}, "a", "", true}});
  QueryResult result = success();
  result.age = minutes(50);
  ask("a", result);
  EXPECT_EQ(now - prober.find("a")->reading->time, minutes(50));
}

TEST_F(ProberTest, KeepsWhatItKnowsWhenTheListChanges) {
  use({"a", "b"});
  ask("a", success());
  want("b");
  prober.setList({{"c", "c", {}, "c", ""}, {"a", "a", {}, "New name", "New place"}});
  EXPECT_TRUE(prober.find("a")->reading);
  EXPECT_EQ(prober.find("a")->listed.name, "New name");
  EXPECT_FALSE(want("a"));
  EXPECT_EQ(prober.printers().at(0)->listed.target, "c");
  EXPECT_EQ(prober.find("b"), nullptr);
  EXPECT_THAT(asked(), IsEmpty());  // b's was stopped
  EXPECT_THAT(released, ElementsAre("a", "b"));
  EXPECT_EQ(prober.counts().running, 0U);
}

TEST_F(ProberTest, ForgetsWhatWaitsAndIsNoLongerInTheList) {
  const auto all = printers("p", 9);
  use(all);
  wantAll(all);
  use({});
  EXPECT_EQ(prober.counts().running, 0U);
  EXPECT_EQ(prober.counts().waiting, 0U);
  EXPECT_EQ(released.size(), 9U);
  EXPECT_EQ(prober.nextMove(), Prober::Clock::time_point::max());
}

TEST_F(ProberTest, BeginsAnewWithAPrinterOfAnotherType) {
  use({"a"});
  ask("a", success());
  prober.setList({{"a", "a", PrinterKind::kInkjet, "a", ""}});
  EXPECT_FALSE(prober.find("a")->reading);
  EXPECT_TRUE(want("a"));
}

TEST_F(ProberTest, IgnoresTheEndOfAQueryThatItHasGivenUp) {
  use({"a"});
  want("a");
  const auto id = running.at(0).query.id;
  use({});
  use({"a"});
  prober.ended(id, success(), now);
  EXPECT_FALSE(prober.find("a")->last);
}

TEST_F(ProberTest, IgnoresTheEndOfAQueryThatItHasStopped) {
  const auto silent = printers("silent", 5);
  use(silent);
  wantAll(silent);
  pass(seconds(1));
  const auto id = running.at(3).query.id;
  ASSERT_EQ(running.at(3).query.uri, "silent3");
  pass(seconds(1));  // no room in the slow lane: silent3 waits there
  ASSERT_FALSE(isAsked("silent3"));
  prober.ended(id, success(), now);
  EXPECT_FALSE(prober.find("silent3")->last);
  EXPECT_TRUE(prober.find("silent3")->isPending);
}

}  // namespace
}  // namespace moxsupply::testing
