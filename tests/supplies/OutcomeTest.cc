#include <gtest/gtest.h>

#include <set>

#include "supplies/Outcome.h"

namespace moxsupply::testing {
namespace {

TEST(OutcomeOfAQuery, IsThatOfItsStatus) {
  EXPECT_EQ(outcomeOf(Status::kSuccess), Outcome::kSuccess);
  EXPECT_EQ(outcomeOf(Status::kReadError), Outcome::kReadError);
  EXPECT_EQ(outcomeOf(Status::kWriteError), Outcome::kWriteError);
  EXPECT_EQ(outcomeOf(Status::kUndecodable), Outcome::kUndecodable);
  EXPECT_EQ(outcomeOf(Status::kNothingReceived), Outcome::kNothingReceived);
  EXPECT_EQ(outcomeOf(Status::kNoCommand), Outcome::kInternal);
  EXPECT_EQ(outcomeOf(static_cast<Status>(7)), Outcome::kInternal);
}

TEST(Outcomes, HaveWordsOfTheirOwn) {
  std::set<std::string_view> words;
  for (const OutcomeRow& row : kOutcomes) {
    EXPECT_EQ(&rowOf(row.outcome), &row);
    EXPECT_TRUE(words.insert(row.word).second) << row.word;
    EXPECT_FALSE(row.what.empty()) << row.word;
  }
}

}  // namespace
}  // namespace moxsupply::testing
