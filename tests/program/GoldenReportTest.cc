// `moxsupply report` on every exchange of tests/data: whole, and broken off anywhere.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <list>
#include <set>
#include <span>

#include "tests/program/BrokenOffExchange.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"

namespace moxsupply::testing {
namespace {

const Bytes kLoopBack = hex("A5 00 06 40 03 04 20 20 20");
const Bytes kInkjetQuery = hex("A5 00 05 50 E0 81 00 FF");
const Bytes kDeviceQuery = hex(R"(
    A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E
    A5 00 08 50 E0 21 01 00 00 01 08)");
const Bytes kSuppliesQuery = hex(R"(
    A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E
    A5 00 05 50 E0 07 02 00)");

// `timeout`: seconds for each read.
std::vector<std::string> reportOn(const Golden& exchange, const char* timeout) {
  return {MOXSUPPLY_PROGRAM, "report",
          "--printer-type",  exchange.kind == Golden::Kind::kLaser ? "Laser" : "Inkjet",
          "--transport",     exchange.transport,
          "--timeout",       timeout};
}

const std::vector<std::string> kEnvironment = {"LC_ALL=C"};

// What the program printed, which must be one line of JSON without a byte to spare, and end as it
// must. Its keys may come in any order; here they are in that of the alphabet.
Json answerOf(const FilterProcess::Ending& ending) {
  const auto printed = nlohmann::ordered_json::parse(ending.result, nullptr, false);
  if (printed.is_discarded()) {
    ADD_FAILURE() << "no JSON: " << ending.result;
    return {{"status", nullptr}, {"report", Json::object()}};
  }
  EXPECT_EQ(ending.result, printed.dump() + '\n');
  Json answer = printed;
  EXPECT_EQ(answer.size(), 2U) << ending.result;
  EXPECT_EQ(ending.exitStatus, answer.at("status") == 0 ? 0 : 1);
  EXPECT_EQ(ending.signal, 0);
  return answer;
}

bool listsRequests(const Golden& exchange) {
  return std::ranges::any_of(
      exchange.steps, [](const Golden::Step& step) { return step.what == Golden::What::kRequest; });
}

// The requests of a file that lists them.
Bytes requestsOf(const Golden& exchange) {
  Bytes requests;
  for (const Golden::Step& step : exchange.steps) {
    if (step.what != Golden::What::kRequest) continue;
    const Bytes request = step.bytes();
    requests.insert(requests.end(), request.begin(), request.end());
  }
  return requests;
}

// What a printer has been asked before it sends this reply, where the file does not say it.
Bytes requestBefore(const Golden& exchange, std::size_t step) {
  const Bytes reply = exchange.steps[step].bytes();
  const bool isSecondAnswer =
      reply.size() >= 7 && std::ranges::equal(std::span(reply).subspan(4, 3), hex("E0 07 02"));
  if (exchange.kind == Golden::Kind::kLaser && isSecondAnswer) return kSuppliesQuery;
  if (step > 0) return {};
  if (exchange.kind == Golden::Kind::kLaser) return kDeviceQuery;
  const bool isOnNetwork = exchange.transport == "socket" || exchange.transport == "dnssd";
  return isOnNetwork ? joined({kLoopBack, kInkjetQuery}) : kInkjetQuery;
}

std::string testName(const ::testing::TestParamInfo<std::string>& name) {
  std::string word = name.param;
  std::ranges::replace_if(
      word, [](unsigned char letter) { return std::isalnum(letter) == 0; }, '_');
  return word;
}

// A broken file counts as an exchange, so that it fails here too.
std::vector<std::string> namesOfExchanges() {
  std::vector<std::string> names = goldenNames();
  std::erase_if(names, [](const std::string& name) {
    try {
      return !readGolden(name).isExchange();
    } catch (const BrokenGolden&) {
      return false;
    }
  });
  return names;
}

class GoldenReport : public ::testing::TestWithParam<std::string> {
 protected:
  Golden mGolden = readGolden(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Data, GoldenReport, ::testing::ValuesIn(namesOfExchanges()), testName);

TEST(GoldenReports, AreAtLeastTwentySeven) { EXPECT_GE(namesOfExchanges().size(), 27U); }

TEST_P(GoldenReport, IsPrintedWhenAllRepliesLieOnTheBackChannel) {
  FilterProcess report(BackChannel::kNonBlockingPipe, reportOn(mGolden, "5"), kEnvironment,
                       repliesOf(mGolden));
  report.endBackChannel();
  const auto ending = report.wait();
  EXPECT_EQ(answerOf(ending).dump(2), mGolden.report->dump(2));
  if (listsRequests(mGolden)) {
    EXPECT_EQ(hexText(ending.written), hexText(requestsOf(mGolden)));
  }
}

TEST_P(GoldenReport, IsPrintedWhenThePrinterAnswersRequestByRequest) {
  FilterProcess report(BackChannel::kNonBlockingPipe, reportOn(mGolden, "5"), kEnvironment);
  for (std::size_t i = 0; i < mGolden.steps.size(); ++i) {
    const Golden::Step& step = mGolden.steps[i];
    const bool isReply = step.what == Golden::What::kReply;
    if (!isReply || !listsRequests(mGolden)) {
      const Bytes request = isReply ? requestBefore(mGolden, i) : step.bytes();
      ASSERT_EQ(hexText(report.receive(request.size())), hexText(request));
    }
    if (isReply) report.sendInPieces(step.packets);
  }
  report.endBackChannel();
  const auto ending = report.wait();
  EXPECT_EQ(answerOf(ending).dump(2), mGolden.report->dump(2));
  if (listsRequests(mGolden)) {
    EXPECT_EQ(hexText(ending.written), "");
  }
}

std::set<std::string> keysOf(const Json& object) {
  std::set<std::string> keys;
  for (const auto& entry : object.items()) keys.insert(entry.key());
  return keys;
}

std::set<std::string> keysOf(const Remains& remains) {
  std::set<std::string> keys;
  if (remains.namesHead) keys.insert("PrintHeadType");
  if (remains.countsSupplies) keys.insert("SupplyCount");
  for (std::size_t i = 1; i <= remains.supplies; ++i) keys.insert("Supply " + std::to_string(i));
  return keys;
}

const std::set<std::string> kKeysOfSupply = {"SupplyName", "SupplyType", "SupplyColor",
                                             "SupplyPercentage", "SupplyStatus"};

// A laser supply is in the report once its description has come. What has not come is "other", or
// a level that says so: without a full level -2147483648, without a current one 0.
void expectPartOfLaserSupply(const Json& part, const Json& whole) {
  ASSERT_EQ(keysOf(part), kKeysOfSupply);
  for (const char* key : {"SupplyName", "SupplyColor", "SupplyStatus"}) {
    EXPECT_EQ(part.at(key), whole.at(key));
  }
  EXPECT_TRUE(part.at("SupplyType") == whole.at("SupplyType") || part.at("SupplyType") == "other");
  const Json& level = part.at("SupplyPercentage");
  EXPECT_TRUE(level == whole.at("SupplyPercentage") || level == -2147483648 || level == 0) << part;
}

// What has not come of a cartridge takes part in its level as 0, and the role of the first one
// depends on whether there is a third; so it is judged by its form alone.
void expectInkjetSupply(const Json& supply) {
  ASSERT_EQ(keysOf(supply), kKeysOfSupply);
  EXPECT_EQ(supply.at("SupplyType"), "ink");
  const int level = supply.at("SupplyPercentage").get<int>();
  EXPECT_TRUE(level >= 0 && level <= 255) << level;
}

void expectRemains(const Json& answer, const Remains& remains, const Golden& exchange) {
  EXPECT_EQ(answer.at("status"), remains.status);
  const Json& report = answer.at("report");
  ASSERT_EQ(keysOf(report), keysOf(remains));
  const Json& whole = exchange.report->at("report");
  const bool isLaser = exchange.kind == Golden::Kind::kLaser;
  if (remains.countsSupplies) {
    EXPECT_EQ(report.at("SupplyCount"), isLaser ? whole.at("SupplyCount") : Json(remains.supplies));
  }
  for (std::size_t i = 1; i <= remains.supplies; ++i) {
    const std::string key = "Supply " + std::to_string(i);
    if (isLaser) {
      expectPartOfLaserSupply(report.at(key), whole.at(key));
    } else {
      expectInkjetSupply(report.at(key));
    }
  }
}

Bytes firstOf(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

// From none of the replies' bytes to all but one. With sanitizers a process takes long; a sample
// (MOXSUPPLY_CUT_EVERY) must do there, since the decoders are tested with every length by
// themselves.
TEST_P(GoldenReport, IsWhatHasComeWhenThePrinterGoesAway) {
  constexpr std::size_t kAtATime = 8;
  const Bytes replies = repliesOf(mGolden);
  for (std::size_t next = 0; next < replies.size() && !HasFailure();) {
    std::list<FilterProcess> reports;
    std::vector<std::size_t> sizes;
    for (; sizes.size() < kAtATime && next < replies.size(); next += MOXSUPPLY_CUT_EVERY) {
      sizes.push_back(next);
      reports.emplace_back(BackChannel::kNonBlockingPipe, reportOn(mGolden, "5"), kEnvironment,
                           firstOf(replies, next));
      reports.back().endBackChannel();
    }
    auto report = reports.begin();
    for (const std::size_t size : sizes) {
      SCOPED_TRACE(std::to_string(size) + " of " + std::to_string(replies.size()) + " bytes");
      expectRemains(answerOf((report++)->wait()), remainsOf(mGolden, size), mGolden);
    }
  }
}

// A sample, since silence takes its time: of each exchange the first half of the bytes.
TEST(GoldenReports, AreWhatHasComeWhenThePrinterFallsSilent) {
  const auto start = std::chrono::steady_clock::now();
  std::vector<Golden> exchanges;
  std::list<FilterProcess> reports;
  for (const std::string& name : namesOfExchanges()) {
    const Golden& exchange = exchanges.emplace_back(readGolden(name));
    const Bytes replies = repliesOf(exchange);
    reports.emplace_back(BackChannel::kNonBlockingPipe, reportOn(exchange, "1"), kEnvironment,
                         firstOf(replies, replies.size() / 2));
  }
  auto report = reports.begin();
  for (const Golden& exchange : exchanges) {
    SCOPED_TRACE(exchange.name);
    const Remains remains = remainsOf(exchange, repliesOf(exchange).size() / 2);
    expectRemains(answerOf((report++)->wait()), remains, exchange);
  }
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1)) << "not silence";
}

}  // namespace
}  // namespace moxsupply::testing
