// Work on many things in processes of their own: all is done, in bounded time, and comes in order.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "system/ManyApart.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

std::vector<std::string> resultsOf(ManyApart many) {
  std::vector<std::string> results;
  many.take = [&](std::size_t place, const std::optional<std::string>& result) {
    EXPECT_EQ(place, results.size()) << "out of order";
    results.push_back(result.value_or("nothing"));
    return true;
  };
  doApart(many);
  return results;
}

TEST(ManyApart, HandOverInOrderWhatEndsInAnother) {
  const auto results = resultsOf({.count = 5,
                                  .atOnce = 5,
                                  .patience = 20s,
                                  .work = [](std::size_t place, const Apart::Finish& finish) {
                                    std::this_thread::sleep_for((5 - place) * 50ms);
                                    finish(std::to_string(place));
                                  }});
  EXPECT_EQ(results, (std::vector<std::string>{"0", "1", "2", "3", "4"}));
}

TEST(ManyApart, DoSeveralAtOnceAndNoMore) {
  const auto start = Apart::Clock::now();
  const auto results = resultsOf({.count = 6,
                                  .atOnce = 2,
                                  .patience = 20s,
                                  .work = [](std::size_t /*place*/, const Apart::Finish& finish) {
                                    std::this_thread::sleep_for(300ms);
                                    finish("done");
                                  }});
  EXPECT_EQ(results.size(), 6U);
  EXPECT_GE(Apart::Clock::now() - start, 900ms);
  EXPECT_LT(Apart::Clock::now() - start, 1700ms) << "one after the other takes 1800";
}

TEST(ManyApart, GiveUpWhatDiesAndWhatHangs) {
  const auto results = resultsOf({.count = 3,
                                  .atOnce = 1,
                                  .patience = 300ms,
                                  .work = [](std::size_t place, const Apart::Finish& finish) {
                                    if (place == 0) ::_exit(3);
                                    if (place == 1) std::this_thread::sleep_for(1h);
                                    finish("well");
                                  }});
  EXPECT_EQ(results, (std::vector<std::string>{"nothing", "nothing", "well"}));
}

TEST(ManyApart, StopWhenNobodyTakesAnyMore) {
  std::size_t taken = 0;
  doApart({.count = 100,
           .atOnce = 4,
           .patience = 20s,
           .work = [](std::size_t /*place*/, const Apart::Finish& finish) { finish("x"); },
           .take =
               [&](std::size_t /*place*/, const auto& /*result*/) {
                 ++taken;
                 return taken < 3;
               }});
  EXPECT_EQ(taken, 3U);
}

}  // namespace
}  // namespace moxsupply::testing
