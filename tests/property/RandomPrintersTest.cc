#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <string_view>
#include <vector>

#include "simulator/Answer.h"
#include "simulator/InkjetReply.h"
#include "simulator/LaserReply.h"
#include "simulator/ModelFile.h"
#include "tests/property/DrawnPrinters.h"
#include "tests/property/InkjetExpectation.h"
#include "tests/property/LaserExpectation.h"
#include "tests/property/ModelJson.h"
#include "tests/property/RandomPrinter.h"
#include "tests/property/RandomReply.h"

namespace moxsupply::testing {
namespace {

using simulator::Element;
using simulator::InkjetModel;
using simulator::LaserModel;
using simulator::LaserSupply;
using simulator::Model;
using simulator::Number;
using simulator::Request;

std::vector<Bytes> answersOf(const Model& model) {
  std::vector<Bytes> answers;
  for (const Request request : {Request::kLoopBack, Request::kInkjetQuery, Request::kDeviceQuery,
                                Request::kSuppliesQuery}) {
    for (const auto& write : simulator::answerTo(model, request)) answers.push_back(write.bytes);
  }
  return answers;
}

// So that a printer which another test shows as a model file is that printer.
std::string answersLikeItsModelFile(const DrawnPrinter& printer) {
  const Model read = simulator::parseModel(modelJson(printer.model), "model").value();
  return answersOf(read) == answersOf(printer.model) ? "" : "its model file answers otherwise";
}

TEST(RandomPrinters, AnswerLikeTheirModelFiles) {
  const PrinterRange printers = PrinterRange::fromEnvironment().few();
  checkEachPrinter(printers, randomLaser, answersLikeItsModelFile);
  checkEachPrinter(printers, randomInkjet, answersLikeItsModelFile);
}

// ---- What stands or falls with the draws: a kind of printer that is never drawn is never tested.

template <typename Printer>
struct Kind {
  std::string_view name;
  std::function<bool(const Printer& printer, const Model& model)> includes;
};

// At least one printer in a hundred is of each kind.
template <typename Printer>
void expectEveryKind(Draw draw, const std::vector<Kind<Printer>>& kinds) {
  constexpr std::uint64_t kLooks = 2000;
  const PrinterRange printers;
  std::vector<std::uint64_t> counts(kinds.size());
  for (std::uint64_t index = 0; index < kLooks; ++index) {
    const Model model = printers.draw(draw, index).model;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      if (kinds[i].includes(std::get<Printer>(model.printer), model)) ++counts[i];
    }
  }
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    EXPECT_GE(counts[i], kLooks / 100) << kinds[i].name;
  }
}

bool hasPackets(const std::vector<Bytes>& packets, std::size_t least, std::size_t mostSize) {
  return packets.size() >= least &&
         std::any_of(packets.begin(), packets.end() - 1,
                     [&](const Bytes& packet) { return packet.size() >= mostSize; });
}

template <typename Condition>
bool anySupply(const LaserModel& printer, Condition condition) {
  return std::ranges::any_of(printer.supplies, condition);
}

bool anyField(const LaserModel& printer, std::uint8_t least, std::uint8_t most, bool longForm) {
  return anySupply(printer, [&](const LaserSupply& supply) {
    return std::ranges::any_of(supply.otherFields, [&](const Element& field) {
      return field.tag >= least && field.tag <= most && field.longForm == longForm;
    });
  });
}

bool anyLong(const std::vector<Element>& elements) {
  return std::ranges::any_of(elements, &Element::longForm);
}

bool anyDescription(const LaserModel& printer, const std::function<bool(std::string_view)>& is) {
  return anySupply(printer, [&](const LaserSupply& supply) {
    return supply.description && is(*supply.description);
  });
}

bool anyNumber(const LaserModel& printer, std::size_t bytes) {
  const auto isWide = [&](const std::optional<Number>& number) {
    return number && number->bytes == bytes;
  };
  return anySupply(printer,
                   [&](const LaserSupply& supply) {
                     return isWide(supply.fixedId) && isWide(supply.installedId);
                   }) &&
         anySupply(printer, [&](const LaserSupply& supply) {
           return isWide(supply.maxLevel) && isWide(supply.level);
         });
}

std::size_t differentNumbers(const LaserModel& printer) {
  std::set<std::uint8_t> numbers;
  for (const LaserSupply& supply : printer.supplies) numbers.insert(supply.number);
  return numbers.size();
}

template <std::size_t alternative>
bool hasRecord(const LaserModel& printer, const Model& /*model*/) {
  return printer.record.index() == alternative;
}

// The level of a full supply is in the table, and the record replaces it.
bool hasLevelReplaced(const LaserModel& printer) {
  const Dictionary table = tableOf(printer);
  const Dictionary supplies = suppliesOf(printer);
  return anySupply(printer, [&](const LaserSupply& supply) {
    const Key key = {"Supply", supply.number};
    return supply.maxLevel && !supply.level && *table.find(key) != *supplies.find(key);
  });
}

TEST(RandomPrinters, AreLaserPrintersOfEveryKind) {
  const auto device = [](const LaserModel& printer, const Model& model) {
    return simulator::deviceReply(printer, model.replyTo(Request::kDeviceQuery).packets);
  };
  const auto record = [](const LaserModel& printer, const Model& model) {
    return simulator::suppliesReply(printer, model.replyTo(Request::kSuppliesQuery).packets);
  };
  // clang-format off
  expectEveryKind<LaserModel>(randomLaser, {
      {"no record",            hasRecord<0>},
      {"record of one supply", hasRecord<1>},
      {"record of pages",      hasRecord<2>},
      {"record of dots",       hasRecord<3>},
      {"unknown record",       hasRecord<4>},
      {"numbers of 1 byte",    [](auto& p, auto&) { return anyNumber(p, 1); }},
      {"numbers of 2 bytes",   [](auto& p, auto&) { return anyNumber(p, 2); }},
      {"numbers of 4 bytes",   [](auto& p, auto&) { return anyNumber(p, 4); }},
      {"one supply",           [](auto& p, auto&) { return p.supplies.size() == 1; }},
      {"20 supplies or more",  [](auto& p, auto&) { return p.supplies.size() >= 20; }},
      {"numbers out of order", [](auto& p, auto&) { return !std::ranges::is_sorted(p.supplies, {}, &LaserSupply::number); }},
      {"numbers repeated",     [](auto& p, auto&) { return differentNumbers(p) < p.supplies.size(); }},
      {"field before the ids", [](auto& p, auto&) { return anyField(p, 0, 0, false); }},
      {"short field before the type",   [](auto& p, auto&) { return anyField(p, 4, 6, false); }},
      {"long field before the type",    [](auto& p, auto&) { return anyField(p, 4, 6, true); }},
      {"short field before the levels", [](auto& p, auto&) { return anyField(p, 8, 14, false); }},
      {"long field before the levels",  [](auto& p, auto&) { return anyField(p, 8, 14, true); }},
      {"field behind the levels",       [](auto& p, auto&) { return anyField(p, 17, 255, false); }},
      {"long element before the group", [](auto& p, auto&) { return anyLong(p.beforeGroup); }},
      {"long element before the table", [](auto& p, auto&) { return anyLong(p.beforeTable); }},
      {"table at the end",          [](auto& p, auto&) { return p.afterTable.empty() && p.afterGroup.empty(); }},
      {"empty description",         [](auto& p, auto&) { return anyDescription(p, [](auto text) { return text.empty(); }); }},
      {"long description",          [](auto& p, auto&) { return anyDescription(p, [](auto text) { return text.size() > 255; }); }},
      {"accents",                   [](auto& p, auto&) { return anyDescription(p, [](auto text) { return text.find("\u00E9") != text.npos; }); }},
      {"level from the record",     [](auto& p, auto&) { return hasLevelReplaced(p); }},
      {"supply without a name",     [](auto& p, auto&) { return reportOf(p).status != Status::kSuccess; }},
      {"table in several packets",  [&](auto& p, auto& m) { return hasPackets(device(p, m), 3, 0); }},
      {"table in large packets",    [&](auto& p, auto& m) { return hasPackets(device(p, m), 2, 518); }},
      {"table of 4000 bytes",       [](auto& p, auto&) { return simulator::suppliesTable(p).size() == kMostPayload; }},
      {"record in several packets", [&](auto& p, auto& m) { return hasPackets(record(p, m), 3, 0); }},
      {"table in pieces",           [](auto&, auto& m) { return !m.replyTo(Request::kDeviceQuery).writes.empty(); }},
      {"most strays",               [](auto&, auto& m) { return m.replyTo(Request::kDeviceQuery).strays.size() == 3; }},
  });
  // clang-format on
}

// The report's word for the first supply.
std::string wordOfFirst(const InkjetModel& printer, const Key& key) {
  const Dictionary report = reportOf(printer).report;
  const auto* supply = report.get<Dictionary>({"Supply", 1});
  const auto* word = supply == nullptr ? nullptr : supply->get<std::string>(key);
  return word == nullptr ? "" : *word;
}

bool isHead(const InkjetModel& printer, std::string_view name, std::int32_t supplies) {
  const Dictionary report = reportOf(printer).report;
  const auto* head = report.get<std::string>("PrintHeadType");
  return head != nullptr && *head == name && report.number("SupplyCount") == supplies;
}

bool anySecondColor(const InkjetModel& printer, std::string_view color) {
  const Dictionary report = reportOf(printer).report;
  const auto* supply = report.get<Dictionary>({"Supply", 2});
  const auto* word = supply == nullptr ? nullptr : supply->get<std::string>("SupplyColor");
  return word != nullptr && *word == color;
}

TEST(RandomPrinters, AreInkjetPrintersOfEveryKind) {
  const auto packets = [](const InkjetModel& printer, const Model& model) {
    return simulator::inkjetReply(printer, model.replyTo(Request::kInkjetQuery).packets);
  };
  // clang-format off
  expectEveryKind<InkjetModel>(randomInkjet, {
      {"Quarry with 2 cartridges",  [](auto& p, auto&) { return isHead(p, "Quarry", 2); }},
      {"Quarry with 4 cartridges",  [](auto& p, auto&) { return isHead(p, "Quarry", 4); }},
      {"Meadow with 3 cartridges",  [](auto& p, auto&) { return isHead(p, "Meadow", 3); }},
      {"Lantern with 2 cartridges", [](auto& p, auto&) { return isHead(p, "Lantern", 2); }},
      {"Lantern with 4 cartridges", [](auto& p, auto&) { return isHead(p, "Lantern", 4); }},
      {"head unknown or no first cartridge", [](auto& p, auto&) { return reportOf(p).status != Status::kSuccess; }},
      {"cyan first",         [](auto& p, auto&) { return wordOfFirst(p, "SupplyColor") == "Cyan"; }},
      {"three colours first", [](auto& p, auto&) { return wordOfFirst(p, "SupplyName") == "Color Cartridge"; }},
      {"photo second",       [](auto& p, auto&) { return anySecondColor(p, "Photo"); }},
      {"first empty",        [](auto& p, auto&) { return wordOfFirst(p, "SupplyStatus") == "Empty"; }},
      {"first missing",      [](auto& p, auto&) { return wordOfFirst(p, "SupplyStatus") == "Missing"; }},
      {"item without value", [](auto& p, auto&) { return std::ranges::any_of(p.items, [](auto& item) { return item.value.empty(); }); }},
      {"3000 bytes of items", [](auto& p, auto&) { return simulator::inkjetPayload(p).size() > 3000; }},
      {"untrue count",       [](auto& p, auto&) { return p.itemCount.has_value(); }},
      {"several packets",    [&](auto& p, auto& m) { return hasPackets(packets(p, m), 3, 0); }},
      {"in pieces",          [](auto&, auto& m) { return !m.replyTo(Request::kInkjetQuery).writes.empty(); }},
      {"loop-back answered", [](auto&, auto& m) { return !m.loopBackReply.empty(); }},
  });
  // clang-format on
}

}  // namespace
}  // namespace moxsupply::testing
