#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "queries/QueryResult.h"

namespace moxsupply::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr std::chrono::seconds kDeadline(9);

LevelsEnding ending(int exitStatus, std::string output, std::string errors = {},
                    std::chrono::milliseconds time = std::chrono::milliseconds(50)) {
  return {.exitStatus = exitStatus,
          .output = std::move(output),
          .errors = std::move(errors),
          .time = time};
}

QueryResult resultOf(const LevelsEnding& ending) { return queryResultOf(ending, kDeadline); }

TEST(AQueryThatSucceeded, HasSupplies) {
  const QueryResult result = resultOf(
      ending(0, R"({"status": 0, "report": {"PrintHeadType": "LaserSupplies", "SupplyCount": 1, )"
                R"("Supply 1": {"SupplyName": "Toner", "SupplyPercentage": 40}}})"));
  EXPECT_TRUE(result.hasSucceeded());
  EXPECT_EQ(result.outcome, Outcome::kSuccess);
  EXPECT_EQ(result.supplies->list.at(0).level, 40);
  EXPECT_EQ(result.what, "");
  EXPECT_EQ(result.moment, std::nullopt);
}

TEST(AQueryThatSucceeded, HasWhatIdentifiesThemInASecondLine) {
  const std::string report =
      R"({"status": 0, "report": {"PrintHeadType": "LaserSupplies", "SupplyCount": 1, )"
      R"("Supply 1": {"SupplyName": "Toner", "SupplyPercentage": 40}}})"
      "\n";
  const std::string reading =
      R"({"time":"2027-01-15T07:00:00Z","printer":"socket://192.0.2.7","supplies":[{"number":1,)"
      R"("name":"Toner","type":"toner","color":"Black","level":40,"status":"ok","part":"24B6015",)"
      R"("serial":"CAB0815","pages":{"printed":7,"capacity":20000}}]})"
      "\n";
  const QueryResult result = resultOf(ending(0, report + reading));
  ASSERT_TRUE(result.hasSucceeded());
  const Supply& supply = result.supplies->list.at(0);
  EXPECT_EQ(supply.part, "24B6015");
  EXPECT_EQ(supply.serial, "CAB0815");
  EXPECT_EQ(supply.pages.printed, 7U);
  EXPECT_EQ(supply.pages.capacity, 20000U);
  EXPECT_EQ(result.moment,
            std::chrono::sys_days(std::chrono::January / 15 / 2027) + std::chrono::hours(7));
  for (const std::string& other : {std::string("no reading\n"), std::string("{}\n")}) {
    EXPECT_EQ(resultOf(ending(0, report + other)).supplies->list.at(0).part, "");
  }
}

// ---- Of a print queue

const std::chrono::sys_seconds kToday(std::chrono::seconds(1'800'000'000));

QueryResult queueResultOf(const LevelsEnding& ending) {
  return moxsupply::queueResultOf(ending, kDeadline, kToday);
}

std::string readingAt(const std::string& time) {
  return R"({"time":")" + time +
         R"(","printer":"ipp://server/printers/office","supplies":[
    {"number":1,"name":"Black Toner","type":"toner","color":"Black","level":62,"status":"ok"},)"
         R"({"number":2,"name":"Cyan","type":"ink","color":"","level":null,"why":"missing","status":"missing"}]})";
}

std::string inOneLine(std::string text) {
  std::erase(text, '\n');
  return text + '\n';
}

TEST(AReadingOfAQueue, HasSuppliesAndTheirAge) {
  const QueryResult result = queueResultOf(
      ending(0, inOneLine(readingAt("2027-01-15T07:00:00Z")) + "socket://192.0.2.7\n"));
  ASSERT_EQ(result.outcome, Outcome::kSuccess) << result.what << result.advice;
  EXPECT_EQ(result.supplies->kind, std::nullopt);
  EXPECT_EQ(result.supplies->list.at(0).name, "Black Toner");
  EXPECT_EQ(result.supplies->list.at(0).level, 62);
  EXPECT_EQ(result.supplies->list.at(1).level.error(), NoLevel::kMissing);
  EXPECT_EQ(result.age, std::chrono::hours(1));
  EXPECT_EQ(result.device, "socket://192.0.2.7");
}

TEST(AReadingOfAQueue, IsNotOfTheFuture) {
  const QueryResult result =
      queueResultOf(ending(0, inOneLine(readingAt("2027-01-15T08:00:07Z")) + "usb:\n"));
  EXPECT_EQ(result.outcome, Outcome::kSuccess);
  EXPECT_EQ(result.age, std::chrono::seconds(0));
}

TEST(AQueueWithoutSupplies, SaysWhoTellsWhy) {
  const QueryResult result = queueResultOf(ending(0, "\nsocket://192.0.2.7\n"));
  EXPECT_EQ(result.outcome, Outcome::kNothingReceived);
  EXPECT_THAT(result.advice, HasSubstr("moxsupply doctor"));
}

TEST(AQueueThatIsNotRead, SaysWhy) {
  const QueryResult result =
      queueResultOf(ending(1, "", "moxsupply queue-levels: no queue \"office\": not found\n"));
  EXPECT_EQ(result.outcome, Outcome::kUnreachable);
  EXPECT_EQ(result.what, "no queue \"office\": not found");
  EXPECT_EQ(queueResultOf(ending(0, "{\"time\": 7}\nx\n")).outcome, Outcome::kUndecodable);
  LevelsEnding late = ending(1, inOneLine(readingAt("2027-01-15T07:00:00Z")));
  late.wasStopped = true;
  EXPECT_EQ(queueResultOf(late).outcome, Outcome::kDeadline);
}

TEST(AQueryThatReachedItsPrinter, HasTheStatusOfItsReport) {
  const std::vector<std::pair<int, Outcome>> kExpected = {
      {-1, Outcome::kReadError}, {-2, Outcome::kWriteError},      {-4, Outcome::kUndecodable},
      {-5, Outcome::kInternal},  {-6, Outcome::kNothingReceived}, {-7, Outcome::kInternal}};
  for (const auto& [number, outcome] : kExpected) {
    const QueryResult result = resultOf(
        ending(1, R"({"status": )" + std::to_string(number) + R"(, "report": {}})", "anything"));
    EXPECT_EQ(result.outcome, outcome) << number;
    EXPECT_FALSE(result.supplies);
    EXPECT_THAT(result.what, Not(IsEmpty()));
  }
}

TEST(AQueryThatReachedItsPrinter, TellsWhatIsWrongAndThenWhatToTry) {
  const QueryResult result = resultOf(ending(1, R"({"status": -6, "report": {}})"));
  EXPECT_EQ(result.what, "did not answer");
  EXPECT_EQ(result.advice, "Is it awake, and does it speak NPA?");
}

TEST(AQueryWithoutAReport, TellsWhatLevelsSays) {
  const QueryResult result =
      resultOf(ending(1, "",
                      "moxsupply levels: cannot connect to 192.0.2.7 port 9100: refused\n"
                      "Is it there?\x1B[2J\nIs it on?\n"));
  EXPECT_EQ(result.outcome, Outcome::kUnreachable);
  EXPECT_EQ(result.what, "cannot connect to 192.0.2.7 port 9100: refused");
  EXPECT_EQ(result.advice, "Is it there? [2J Is it on?");
}

TEST(AQueryWithoutAReport, HadNoTimeLeft) {
  const auto late =
      ending(1, "", "moxsupply levels: no answer by the deadline\n", std::chrono::seconds(9));
  EXPECT_EQ(resultOf(late).outcome, Outcome::kDeadline);
  EXPECT_EQ(resultOf(late).what, "was not done within 9 seconds");
  EXPECT_EQ(resultOf({.wasStopped = true, .output = R"({"status": 0, "rep)"}).outcome,
            Outcome::kDeadline);
}

TEST(AQueryWithoutAReport, CouldNotEvenBegin) {
  const QueryResult result = resultOf(ending(2, "", "moxsupply levels: there is no backend\n"));
  EXPECT_EQ(result.outcome, Outcome::kInternal);
  EXPECT_EQ(result.what, "there is no backend");
  EXPECT_EQ(resultOf({}).outcome, Outcome::kInternal);  // a signal ended it
  EXPECT_EQ(resultOf({}).what, "could not be asked");
}

TEST(AQueryThatSaysAnythingElse, IsNoSuccess) {
  for (const char* output : {"{", "[]", "7", R"({"status": "0"})", R"({"status": 0})",
                             R"({"status": 0, "report": []})", "\xff"}) {
    EXPECT_EQ(resultOf(ending(0, output)).outcome, Outcome::kInternal) << output;
  }
  EXPECT_EQ(resultOf({.exitStatus = 0, .isCut = true}).outcome, Outcome::kUndecodable);
}

TEST(WhatAQuerySays, IsNotLonger) {
  const QueryResult result = resultOf(ending(1, "", std::string(100'000, 'x')));
  EXPECT_EQ(result.what.size(), 300U);
  EXPECT_THAT(result.what, HasSubstr("xxx"));
}

}  // namespace
}  // namespace moxsupply::testing
