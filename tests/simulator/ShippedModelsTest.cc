#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <numeric>

#include "simulator/Answer.h"
#include "simulator/LaserReply.h"
#include "simulator/ModelFile.h"
#include "simulator/ShippedModels.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Models.h"
#include "tests/support/TestName.h"

namespace moxsupply::testing {
namespace {

using simulator::LaserModel;
using simulator::Model;
using simulator::Request;

const std::filesystem::path kModels = MOXSUPPLY_MODELS;

std::vector<std::string> allModels() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kModels)) {
    names.push_back(entry.path().stem());
  }
  std::ranges::sort(names);
  return names;
}

Bytes wholeAnswer(const Model& model, Request request) {
  Bytes whole;
  for (const auto& write : simulator::answerTo(model, request)) {
    whole.insert(whole.end(), write.bytes.begin(), write.bytes.end());
  }
  return whole;
}

// Where each packet of a reply begins, by walking its lengths; then its end.
std::vector<std::size_t> packetOffsets(const Bytes& reply) {
  std::vector<std::size_t> offsets = {0};
  while (offsets.back() + 3 <= reply.size()) {
    const std::size_t at = offsets.back();
    offsets.push_back(at + 3 + static_cast<std::size_t>(reply[at + 1] << 8 | reply[at + 2]));
  }
  return offsets;
}

class ShippedModel : public ::testing::TestWithParam<std::string> {};

TEST_P(ShippedModel, LoadsAndHasASummaryOfOneLine) {
  const Model model = shippedModel(GetParam());
  EXPECT_FALSE(model.about.at(0).empty());
  EXPECT_LE(model.about.at(0).size(), 90U);
}

TEST_P(ShippedModel, IsNamedForItsKindOfPrinter) {
  const bool isLaser = std::holds_alternative<LaserModel>(shippedModel(GetParam()).printer);
  EXPECT_TRUE(GetParam().starts_with(isLaser ? "laser-" : "inkjet-"));
}

// A host that begins to read at such a byte takes it for the start of a packet.
TEST_P(ShippedModel, SendsNoStartByteInsideAPacket) {
  const Model model = shippedModel(GetParam());
  for (const Request request :
       {Request::kInkjetQuery, Request::kDeviceQuery, Request::kSuppliesQuery}) {
    Bytes reply = wholeAnswer(model, request);
    const auto offsets = packetOffsets(reply);
    EXPECT_EQ(offsets.back(), reply.size());
    for (std::size_t at = 0; at < reply.size(); ++at) {
      EXPECT_EQ(reply[at] == 0xA5, std::ranges::find(offsets, at) != offsets.end()) << at;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Each, ShippedModel, ::testing::ValuesIn(allModels()), testName);

TEST(ShippedModels, AreAtLeastSevenInkjetAndNineLaserPrinters) {
  const auto names = allModels();
  EXPECT_GE(std::ranges::count_if(names, [](auto& n) { return n.starts_with("inkjet-"); }), 7);
  EXPECT_GE(std::ranges::count_if(names, [](auto& n) { return n.starts_with("laser-"); }), 9);
}

TEST(ShippedModels, AreAllListedByTheProgram) {
  FilterProcess program(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "simulate", "--list"});
  const auto ending = program.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.result, "");
  std::string expected;
  for (const std::string& name : allModels()) {
    expected += fmt::format("{:<35} {}\n", name, shippedModel(name).about.at(0));
  }
  EXPECT_EQ(std::string(ending.written.begin(), ending.written.end()), expected);
}

TEST(ShippedModels, AreFoundByNameAndFilesByPath) {
  EXPECT_EQ(simulator::findModel("my/model"), "my/model");
  EXPECT_EQ(simulator::findModel("model.json"), "model.json");
  EXPECT_EQ(simulator::findModel("./model"), "./model");
}

TEST(ShippedModels, InPiecesEndsEachPieceWhereAReaderStops) {
  const Model model = shippedModel("inkjet-lantern-in-pieces");
  const auto offsets = packetOffsets(wholeAnswer(model, Request::kInkjetQuery));
  ASSERT_EQ(offsets.size(), 4U);
  const auto writes = simulator::answerTo(model, Request::kInkjetQuery);
  ASSERT_EQ(writes.size(), 6U);
  std::vector<std::size_t> ends(writes.size());
  std::transform_inclusive_scan(writes.begin(), writes.end(), ends.begin(), std::plus{},
                                [](const auto& write) { return write.bytes.size(); });
  EXPECT_THAT(ends, ::testing::ElementsAre(5, offsets[1], offsets[1] + 5, offsets[2],
                                           offsets[2] + 8, offsets[3]));
}

TEST(ShippedModels, SeveralPacketsBeginsThePacketsOfItsSecondReplyBelow256) {
  const Model model = shippedModel("laser-colour-several-packets");
  EXPECT_THAT(packetOffsets(wholeAnswer(model, Request::kSuppliesQuery)),
              ::testing::ElementsAre(0, 127, 232, 298));
  EXPECT_EQ(packetOffsets(wholeAnswer(model, Request::kDeviceQuery)).size(), 4U);
}

}  // namespace
}  // namespace moxsupply::testing
