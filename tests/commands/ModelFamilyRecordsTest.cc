// The levels that a laser printer's supplies table lacks, and its second answer has: the record of
// its model family, in each of its three layouts, over TCP.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/FilterProcess.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;
using Percentages = std::vector<std::int64_t>;

constexpr std::int64_t kNoLevel = -2147483648;

// A shipped model, to be changed.
Json modelNamed(const std::string& name) {
  std::ifstream file(std::filesystem::path(MOXSUPPLY_MODELS) / (name + ".json"));
  return Json::parse(file);
}

// "SupplyPercentage" of each supply, in the order of their numbers.
Percentages percentagesOf(const Json& model) {
  const TemporaryFolder folder;
  const std::string path = folder.path() / "model.json";
  std::ofstream(path) << model;
  const SimulatedPrinter printer(path);
  FilterProcess levels(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "levels", printer.uri(), "--type",
                                              "laser", "--format", "json"});
  const auto ending = levels.wait();
  EXPECT_EQ(ending.exitStatus, 0) << ending.result;
  const Json answer = Json::parse(ending.written);
  EXPECT_EQ(answer.at("status"), 0);

  Percentages percentages;
  const Json& report = answer.at("report");
  for (int i = 1; i <= report.at("SupplyCount"); ++i) {
    percentages.push_back(report.at("Supply " + std::to_string(i)).at("SupplyPercentage"));
  }
  return percentages;
}

// A record that no host knows stands for none; without one the printer would not answer at all.
Json withoutRecord(Json model) {
  model["record"] = {{"type", 99}, {"body", ""}};
  return model;
}

// Type 1: a single supply, which is at one of so many levels.
TEST(RecordOfOneSupply, FillsTheLevelOfItsSupply) {
  Json model = modelNamed("laser-mono-levels-in-record");
  // The toner: 90 of 200 levels, 90 / 200 = 45 %. The fuser: 81 of 100 in the table.
  EXPECT_EQ(percentagesOf(model), (Percentages{45, 81}));

  EXPECT_EQ(percentagesOf(withoutRecord(model)), (Percentages{kNoLevel, 81}));

  // 190 / 200 = 95 %.
  model["record"]["level"] = 190;
  EXPECT_EQ(percentagesOf(model), (Percentages{95, 81}));

  // The record is about the fuser, which has levels of its own: nothing is filled.
  model["record"]["supply"] = 2;
  EXPECT_EQ(percentagesOf(model), (Percentages{kNoLevel, 81}));
}

// Type 2: pages.
TEST(RecordOfPages, FillsTheLevelsOfItsSupplies) {
  Json model = modelNamed("laser-colour-pages-in-record");
  // 1500 / 6000 = 25 %, 3000 / 6000 = 50 %, 4500 / 6000 = 75 %, 900 / 9000 = 10 %.
  EXPECT_EQ(percentagesOf(model), (Percentages{25, 50, 75, 10}));

  EXPECT_EQ(percentagesOf(withoutRecord(model)),
            (Percentages{kNoLevel, kNoLevel, kNoLevel, kNoLevel}));

  // The capacity is no level. 5999 / 6000 = 99.98 %, which is cut to 99.
  model["record"]["supplies"][0]["level"] = 5999;
  model["record"]["supplies"][1]["pages-capacity"] = 3000;
  EXPECT_EQ(percentagesOf(model), (Percentages{99, 50, 75, 10}));

  // An entry counts for the supply of its number, wherever it stands.
  std::swap(model["record"]["supplies"][0], model["record"]["supplies"][3]);
  EXPECT_EQ(percentagesOf(model), (Percentages{99, 50, 75, 10}));
}

// Type 3: dots.
TEST(RecordOfDots, FillsTheLevelsOfItsSupplies) {
  Json model = modelNamed("laser-colour-dots-in-record");
  // In millions: 1440 / 1600 = 90 %, 480 / 1600 = 30 %, 16 / 1600 = 1 %, 1000 / 2000 = 50 %. The
  // full level of 100 in the table gives way, since the table has no level to go with it.
  EXPECT_EQ(percentagesOf(model), (Percentages{90, 30, 1, 50}));

  // A full level alone: 0 / 100 = 0 %.
  EXPECT_EQ(percentagesOf(withoutRecord(model)), (Percentages{0, 0, 0, 0}));

  // Counts take all of 32 bits: 3000 / 4000 million = 75 %.
  model["record"]["supplies"][0] = {
      {"number", 1}, {"max-level", 4000000000U}, {"level", 3000000000U}};
  // 2500 / 2000 million = 125 %: the report tells what the printer says.
  model["record"]["supplies"][3]["level"] = 2500000000U;
  EXPECT_EQ(percentagesOf(model), (Percentages{75, 30, 1, 125}));
}

}  // namespace
}  // namespace moxsupply::testing
