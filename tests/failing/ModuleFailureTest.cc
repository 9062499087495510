// A host that is not ours, in which each allocation of its query fails once: the smallest one that
// there is, with the module's public way in, on descriptors 1 and 3.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>

#include "tests/failing/EveryFailure.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/LaserRecords.h"

namespace moxsupply::testing {
namespace {

class EveryFailureOfTheModule : public EveryFailure {
 protected:
  // A query, answered as these steps say.
  [[nodiscard]] FailedRun ask(std::uint64_t number, const char* printerType,
                              const std::string& transport,
                              const std::vector<Golden::Step>& steps) const {
    Texts command = {"env", "LC_ALL=C"};
    const std::string name = fmt::format("result-{}", number);
    const Texts host = withFailure(number, {MOXSUPPLY_EXAMPLE_HOST, printerType, transport}, name);
    command.insert(command.end(), host.begin(), host.end());
    FilterProcess filter(BackChannel::kNonBlockingPipe, command);
    for (const Golden::Step& step : steps) {
      if (step.what == Golden::What::kReply) {
        filter.sendInPieces(step.packets);
      } else if (filter.receive(step.bytes().size()).empty()) {
        break;
      }
    }
    filter.endBackChannel();
    const auto ending = filter.wait();
    FailedRun run{.exitStatus = ending.exitStatus, .errors = ending.result};
    addResult(run, name);
    return run;
  }

  // Each waits two seconds for what a printer might have to add.
  static constexpr int kAtOnce = 16;

  // Whatever fails, the host hears of it, or the levels are those of the printer.
  static void expectTruth(const FailedRun& run, const std::set<std::string>& answers) {
    EXPECT_TRUE(run.exitStatus == 0 || run.exitStatus == 1 || run.exitStatus == 2);
    if (run.exitStatus == 0) {
      EXPECT_TRUE(answers.contains(run.errors));
    } else {
      EXPECT_TRUE(run.errors.starts_with("host: ")) << run.errors;
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Of, EveryFailureOfTheModule, ::testing::Values("allocation"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(EveryFailureOfTheModule, LeavesTheLevelsOfAnInkjetTrue) {
  const Golden golden = readGolden("inkjet-several-packets");
  forEach(
      [&](std::uint64_t number) { return ask(number, "Inkjet", golden.transport, golden.steps); },
      [](const FailedRun& run, const FailedRun& undisturbed) {
        expectTruth(run, {undisturbed.errors});
      },
      kAtOnce);
}

// The second answer only fills in what the first lacks: whatever goes wrong in its exchange is
// passed over, a failed allocation of its decoder among the rest, and then the supplies table
// stands alone, with status 0. A level that is nowhere counts as 0 in the report: 0 percent where
// the table has the full level, and the number that stands for none where it has neither. A host
// that must not show that watches its memory itself, as ours do (links/AskAsFilter).
TEST_P(EveryFailureOfTheModule, LeavesTheLevelsOfALaserTrueOrWithoutTheSecondAnswer) {
  const auto step = [](Golden::What what, const Bytes& bytes) {
    return Golden::Step{.what = what, .packets = {bytes}, .decoded = {}};
  };
  const Bytes table = suppliesRecord(
      {supply(1, {description("Cyan Toner"), field(7, hex("01")), maxLevel(100), currentLevel(37)}),
       supply(2, {description("Black Toner"), field(7, hex("01")), maxLevel(200)}),
       supply(3, {description("Fuser"), field(7, hex("05"))})});
  const Bytes record = dotCountRecord({{1, 100, 38}, {2, 100, 64}, {3, 100, 81}});
  const std::vector<Golden::Step> steps = {
      step(Golden::What::kRequest, kDeviceQuery), step(Golden::What::kReply, deviceReply(table)),
      step(Golden::What::kRequest, kSuppliesQuery), step(Golden::What::kReply, queryReply(record))};
  const std::string whole = "Cyan Toner: 37\nBlack Toner: 64\nFuser: 81\n";
  const std::string withoutTheSecond = "Cyan Toner: 37\nBlack Toner: 0\nFuser: -2147483648\n";
  forEach([&](std::uint64_t number) { return ask(number, "Laser", "usb", steps); },
          [&](const FailedRun& run, const FailedRun& undisturbed) {
            EXPECT_EQ(undisturbed.errors, whole);
            expectTruth(run, {whole, withoutTheSecond});
          },
          kAtOnce);
}

}  // namespace
}  // namespace moxsupply::testing
