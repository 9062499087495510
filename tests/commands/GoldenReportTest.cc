// `moxsupply report` on every exchange of tests/data: whole.

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>

#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/Hex.h"
#include "tests/support/ReportOn.h"
#include "tests/support/Requests.h"
#include "tests/support/TestName.h"

namespace moxsupply::testing {
namespace {

// What the program printed, which must be one line of JSON in ASCII without a byte to spare, and
// end as it must. Its keys may come in any order; here they are in that of the alphabet.
nlohmann::json answerOf(const FilterProcess::Ending& ending) {
  const auto printed = nlohmann::ordered_json::parse(ending.result, nullptr, false);
  if (printed.is_discarded()) {
    ADD_FAILURE() << "no JSON: " << ending.result;
    return {{"status", nullptr}, {"report", nlohmann::json::object()}};
  }
  EXPECT_EQ(ending.result, printed.dump(-1, ' ', /*ensure_ascii=*/true) + '\n');
  nlohmann::json answer = printed;
  EXPECT_EQ(answer.size(), 2U) << ending.result;
  EXPECT_EQ(ending.exitStatus, answer.at("status") == 0 ? 0 : 1);
  EXPECT_EQ(ending.signal, 0);
  return answer;
}

bool listsRequests(const Golden& exchange) {
  return std::ranges::any_of(
      exchange.steps, [](const Golden::Step& step) { return step.what == Golden::What::kRequest; });
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

class GoldenReport : public ::testing::TestWithParam<std::string> {
 protected:
  Golden mGolden = readGolden(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Data, GoldenReport, ::testing::ValuesIn(exchangeNames()), testName);

TEST(GoldenReports, AreAtLeastTwentySeven) { EXPECT_GE(exchangeNames().size(), 27U); }

TEST_P(GoldenReport, IsPrintedWhenAllRepliesLieOnTheBackChannel) {
  FilterProcess report(BackChannel::kNonBlockingPipe, reportOn(mGolden, "5"), {"LC_ALL=C"},
                       mGolden.all(Golden::What::kReply));
  report.endBackChannel();
  const auto ending = report.wait();
  EXPECT_EQ(answerOf(ending).dump(2), *mGolden.report);
  if (listsRequests(mGolden)) {
    EXPECT_EQ(hexText(ending.written), hexText(mGolden.all(Golden::What::kRequest)));
  }
}

TEST_P(GoldenReport, IsPrintedWhenThePrinterAnswersRequestByRequest) {
  FilterProcess report(BackChannel::kNonBlockingPipe, reportOn(mGolden, "5"), {"LC_ALL=C"});
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
  EXPECT_EQ(answerOf(ending).dump(2), *mGolden.report);
  if (listsRequests(mGolden)) {
    EXPECT_EQ(hexText(ending.written), "");
  }
}

}  // namespace
}  // namespace moxsupply::testing
