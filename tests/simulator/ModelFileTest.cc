#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "simulator/ModelFile.h"
#include "tests/simulator/TemporaryFile.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

using simulator::DotsRecord;
using simulator::InkjetModel;
using simulator::LaserModel;
using simulator::Model;
using simulator::PagesRecord;
using simulator::Request;
using simulator::SingleSupplyRecord;
using simulator::UnknownRecord;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

Model parseModel(const std::string& json, const std::string& name) {
  return simulator::parseModel(json, name).value();
}

// An inkjet or laser model file with further members.
std::string inkjetFile(const std::string& members) {
  return R"({"about": "A", "printer": "inkjet", )" + members + "}";
}
std::string laserFile(const std::string& members) {
  return R"({"about": "A", "printer": "laser", )" + members + "}";
}

// The printer's items, as they stand on the wire.
std::vector<Bytes> itemsOf(const std::string& members) {
  const Model model = parseModel(inkjetFile(members), "file.json");
  std::vector<Bytes> items;
  for (const auto& item : std::get<InkjetModel>(model.printer).items) {
    items.push_back(
        joined({{static_cast<std::uint8_t>(item.id >> 8), static_cast<std::uint8_t>(item.id & 0xFF),
                 static_cast<std::uint8_t>(item.value.size())},
                item.value}));
  }
  return items;
}

LaserModel laserOf(const std::string& members) {
  return std::get<LaserModel>(parseModel(laserFile(members), "file.json").printer);
}

// ---- What a model file says.

TEST(ModelFile, SaysWhatItIsAboutInOneLineOrSeveral) {
  EXPECT_THAT(parseModel(R"({"about": "A", "printer": "inkjet"})", "file.json").about,
              ElementsAre("A"));
  EXPECT_THAT(parseModel(R"({"about": ["A", "B"], "printer": "inkjet"})", "file.json").about,
              ElementsAre("A", "B"));
}

TEST(ModelFile, KnowsHeadsByNameNumberAndBytes) {
  EXPECT_THAT(itemsOf(R"("head": "Quarry")"), ElementsAre(hex("00 19 01 00")));
  EXPECT_THAT(itemsOf(R"("head": "Meadow")"), ElementsAre(hex("00 19 01 01")));
  EXPECT_THAT(itemsOf(R"("head": "Lantern")"), ElementsAre(hex("00 19 01 02")));
  EXPECT_THAT(itemsOf(R"("head": 5)"), ElementsAre(hex("00 19 01 05")));
  EXPECT_THAT(itemsOf(R"("head": "02 FF")"), ElementsAre(hex("00 19 02 02 FF")));
  EXPECT_THAT(itemsOf(R"("head": "")"), ElementsAre(hex("00 19 00")));
}

TEST(ModelFile, KnowsCartridgesBySlot) {
  EXPECT_THAT(
      itemsOf(R"("cartridges": [{"slot": 1, "code": "B0"}, {"slot": 2, "code": 80},
                                        {"slot": 3, "code": "C0"}, {"slot": 4, "code": "D0"}])"),
      ElementsAre(hex("01 10 01 B0"), hex("01 20 01 50"), hex("01 30 01 C0"), hex("01 40 01 D0")));
}

TEST(ModelFile, KnowsCartridgesInABadState) {
  EXPECT_THAT(itemsOf(R"("cartridges": [{"slot": 1, "code": "invalid"},
                                        {"slot": 2, "code": "missing"},
                                        {"slot": 3, "code": "incorrect"}])"),
              ElementsAre(hex("01 10 01 10"), hex("01 20 01 20"), hex("01 30 01 21")));
}

TEST(ModelFile, SendsAnItemUnderTheIdThatItNames) {
  EXPECT_THAT(itemsOf(R"("cartridges": [{"slot": 1, "code": "30", "id": "0100"},
                                        {"slot": 1, "code": "31", "id": "0110"},
                                        {"slot": 2, "code": "50", "id": "0200"}],
                         "capacities": {"black": {"value": 1, "id": "0203"},
                                        "colour": {"value": "02 03", "id": "0103"}})"),
              ElementsAre(hex("01 00 01 30"), hex("01 10 01 31"), hex("02 00 01 50"),
                          hex("02 03 01 01"), hex("01 03 02 02 03")));
}

TEST(ModelFile, KnowsEveryCountCapacityAndLevel) {
  EXPECT_THAT(
      itemsOf(R"(
      "dot-counts": {"black": 0, "cyan": 1, "magenta": 2, "yellow": 3, "photo-black": 4,
                     "photo-cyan": 5, "photo-magenta": 6, "alternative-cyan": 7,
                     "alternative-magenta": 8, "alternative-yellow": 9})"),
      ElementsAre(hex("04 00 01 00"), hex("04 01 01 01"), hex("04 02 01 02"), hex("04 03 01 03"),
                  hex("04 04 01 04"), hex("04 05 01 05"), hex("04 06 01 06"), hex("04 07 01 07"),
                  hex("04 08 01 08"), hex("04 09 01 09")));
  EXPECT_THAT(itemsOf(R"(
      "capacities": {"black": 1, "colour": 2, "alternative-colour": 3, "photo": 4, "magenta": 5,
                     "yellow": 6})"),
              ElementsAre(hex("04 14 01 01"), hex("04 15 01 02"), hex("04 16 01 03"),
                          hex("04 17 01 04"), hex("04 18 01 05"), hex("04 19 01 06")));
  EXPECT_THAT(
      itemsOf(R"(
      "ink-remaining": {"black": 1, "cyan": 2, "magenta": 3, "yellow": 4, "photo-cyan": 5,
                        "photo-magenta": 6, "photo-yellow": 7})"),
      ElementsAre(hex("04 27 01 01"), hex("04 28 01 02"), hex("04 29 01 03"), hex("04 2A 01 04"),
                  hex("04 2B 01 05"), hex("04 2C 01 06"), hex("04 2D 01 07")));
}

TEST(ModelFile, SendsTheItemsInTheirOrder) {
  EXPECT_THAT(itemsOf(R"("items-after": [{"id": "FFFF", "value": ""}],
                         "ink-remaining": {"black": 9},
                         "cartridges": [{"slot": 2, "code": "50"}],
                         "head": "Lantern",
                         "items-before": [{"id": "0500", "value": "01 02"},
                                          {"id": "0501", "value": 3}])"),
              ElementsAre(hex("05 00 02 01 02"), hex("05 01 01 03"), hex("00 19 01 02"),
                          hex("01 20 01 50"), hex("04 27 01 09"), hex("FF FF 00")));
}

TEST(ModelFile, MaySayAnotherCountOfItems) {
  const Model model = parseModel(inkjetFile(R"("item-count": 258)"), "file.json");
  EXPECT_EQ(std::get<InkjetModel>(model.printer).itemCount, 258);
}

TEST(ModelFile, KnowsTheSuppliesOfALaserPrinter) {
  const LaserModel printer = laserOf(R"("supplies": [
      {"number": 4, "type": "toner", "description": "Toner", "fixed-id": 1,
       "installed-id": {"value": 2, "bytes": 2}, "max-level": 4294967295,
       "level": {"value": 255, "bytes": 1},
       "other-fields": [{"tag": 5, "form": "long", "body": "01"}, {"tag": 8}]},
      {"number": 9}])");
  ASSERT_THAT(printer.supplies, SizeIs(2));
  const auto& toner = printer.supplies[0];
  EXPECT_EQ(toner.number, 4);
  EXPECT_EQ(toner.description, "Toner");
  EXPECT_EQ(toner.type->value, 1U);
  EXPECT_EQ(toner.type->bytes, 1U);
  EXPECT_EQ(toner.fixedId->value, 1U);
  EXPECT_EQ(toner.fixedId->bytes, 4U);
  EXPECT_EQ(toner.installedId->value, 2U);
  EXPECT_EQ(toner.installedId->bytes, 2U);
  EXPECT_EQ(toner.maxLevel->value, 0xFFFFFFFF);
  EXPECT_EQ(toner.level->value, 255U);
  EXPECT_EQ(toner.level->bytes, 1U);
  ASSERT_THAT(toner.otherFields, SizeIs(2));
  EXPECT_TRUE(toner.otherFields[0].longForm);
  EXPECT_EQ(toner.otherFields[0].body, hex("01"));
  EXPECT_EQ(toner.otherFields[1].tag, 8);
  EXPECT_FALSE(toner.otherFields[1].longForm);
  const auto& bare = printer.supplies[1];
  EXPECT_EQ(bare.number, 9);
  EXPECT_FALSE(bare.fixedId || bare.installedId || bare.type || bare.maxLevel || bare.level);
  EXPECT_FALSE(bare.description);
}

TEST(ModelFile, KnowsTypesOfSuppliesByWordAndNumber) {
  const auto typeOf = [](const std::string& type) {
    return laserOf(R"("supplies": [{"number": 1, "type": )" + type + "}]").supplies[0].type->value;
  };
  EXPECT_EQ(typeOf(R"("toner")"), 1U);
  EXPECT_EQ(typeOf(R"("fuser")"), 5U);
  EXPECT_EQ(typeOf(R"("ink")"), 6U);
  EXPECT_EQ(typeOf("255"), 255U);
  EXPECT_EQ(typeOf(R"({"value": 65536, "bytes": 4})"), 65536U);
}

TEST(ModelFile, PutsElementsAroundGroupAndTable) {
  const LaserModel printer = laserOf(R"("supplies": [],
      "before-group": [{"tag": 1}, {"tag": 8}], "after-group": [],
      "before-table": [{"tag": 2}], "after-table": [{"tag": 3, "form": "short", "body": "0102"}])");
  EXPECT_THAT(printer.beforeGroup, SizeIs(2));
  EXPECT_THAT(printer.afterGroup, IsEmpty());
  EXPECT_THAT(printer.beforeTable, SizeIs(1));
  ASSERT_THAT(printer.afterTable, SizeIs(1));
  EXPECT_EQ(printer.afterTable[0].body, hex("01 02"));
  EXPECT_THAT(laserOf(R"("supplies": [])").afterGroup, SizeIs(1));
}

TEST(ModelFile, KnowsARecordOfEachType) {
  const LaserModel one = laserOf(R"("supplies": [], "serial-number": "AB1", "record": {
      "type": 1, "length": 7, "location": 2, "supply": 3, "first-page-count": 4,
      "current-page-count": 5, "current-page-level": 6, "previous-page-level": 7, "max-level": 8,
      "level": 9, "toner-type": 10, "part-number": "P", "toner-capacity": 11,
      "last-level-light": 12, "last-level-dark": 13, "light-gradation": 14, "dark-gradation": 15,
      "current-vantor": 16})");
  EXPECT_EQ(one.serialNumber, "AB1");
  EXPECT_EQ(one.recordLength, 7);
  const auto& single = std::get<SingleSupplyRecord>(one.record);
  EXPECT_THAT(
      (std::vector<std::uint32_t>{
          single.location, single.supply, single.firstPageCount, single.currentPageCount,
          single.currentPageLevel, single.previousPageLevel, single.maxLevel, single.level,
          single.tonerType, single.tonerCapacity, single.lastLevelLight, single.lastLevelDark,
          single.lightGradation, single.darkGradation, single.currentVantor}),
      ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));
  EXPECT_EQ(single.partNumber, "P");

  const LaserModel two = laserOf(R"("supplies": [], "record": {"type": 2, "supplies": [
      {"number": 1, "location": 2, "max-level": 3, "level": 4, "pages-capacity": 5}]})");
  const auto& pages = std::get<PagesRecord>(two.record).supplies.at(0);
  EXPECT_THAT((std::vector<std::uint32_t>{pages.number, pages.location, pages.maxLevel, pages.level,
                                          pages.pagesCapacity}),
              ElementsAre(1, 2, 3, 4, 5));

  const LaserModel three = laserOf(R"("supplies": [], "record": {"type": 3, "supplies": [
      {"number": 1, "max-level": 2, "level": 3}]})");
  const auto& dots = std::get<DotsRecord>(three.record).supplies.at(0);
  EXPECT_THAT((std::vector<std::uint32_t>{dots.number, dots.maxLevel, dots.level}),
              ElementsAre(1, 2, 3));

  const LaserModel other = laserOf(R"("supplies": [], "record": {"type": 0, "body": "01"})");
  EXPECT_EQ(std::get<UnknownRecord>(other.record).type, 0);
  EXPECT_EQ(std::get<UnknownRecord>(other.record).body, hex("01"));

  EXPECT_TRUE(std::holds_alternative<std::monostate>(laserOf(R"("supplies": [])").record));
}

TEST(ModelFile, KnowsHowARequestIsAnswered) {
  const Model model = parseModel(inkjetFile(R"("replies": {
      "loop-back": "A5 00 02 50 00",
      "inkjet-query": {"answers": false, "strays": ["prefix-packet", "01 02"],
                       "packets": [5, 0], "writes": [{"size": 9, "pause": 20}, {"pause": 7}]}})"),
                                 "file.json");
  EXPECT_EQ(model.loopBackReply, hex("A5 00 02 50 00"));
  const auto& reply = model.replyTo(Request::kInkjetQuery);
  EXPECT_FALSE(reply.answers);
  EXPECT_THAT(
      reply.strays,
      ElementsAre(hex("A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E"), hex("01 02")));
  EXPECT_THAT(reply.packets, ElementsAre(5, 0));
  ASSERT_THAT(reply.writes, SizeIs(2));
  EXPECT_EQ(reply.writes[0].size, 9U);
  EXPECT_EQ(reply.writes[0].pause, 20ms);
  EXPECT_EQ(reply.writes[1].pause, 7ms);
}

TEST(ModelFile, KnowsTheLaserRequestsApart) {
  const Model model = parseModel(laserFile(R"("supplies": [], "replies": {
      "device-query": {"packets": [1]}, "supplies-query": {"packets": [2]}})"),
                                 "file.json");
  EXPECT_THAT(model.replyTo(Request::kDeviceQuery).packets, ElementsAre(1));
  EXPECT_THAT(model.replyTo(Request::kSuppliesQuery).packets, ElementsAre(2));
}

// ---- Its mistakes.

struct Mistake {
  std::string name;
  std::string file;
  std::string line;  // what is said of it
};

class ModelFileMistake : public ::testing::TestWithParam<Mistake> {};

TEST_P(ModelFileMistake, IsToldInOneLine) {
  const auto model = simulator::parseModel(GetParam().file, "file.json");
  ASSERT_FALSE(model) << "no mistake was found";
  EXPECT_EQ(model.error().what, GetParam().line);
}

std::string nameOf(const ::testing::TestParamInfo<Mistake>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(
    OfJson, ModelFileMistake,
    ::testing::Values(
        Mistake{"Empty", "",
                "file.json:1:1: syntax error while parsing value - unexpected end of input; "
                "expected '[', '{', or a literal"},
        Mistake{"CutOff", "{\n  \"about\": \"A\",\n  \"printer\":",
                "file.json:3:13: syntax error while parsing value - unexpected end of input; "
                "expected '[', '{', or a literal"},
        Mistake{"CommaMissing", "{\n  \"about\": \"A\"\n  \"printer\": \"laser\"\n}",
                "file.json:3:11: syntax error while parsing object - unexpected string literal; "
                "expected '}'"},
        Mistake{"CommaTooMany", R"({"about": "A",})",
                "file.json:1:15: syntax error while parsing object key - unexpected '}'; "
                "expected string literal"},
        Mistake{"NotUtf8", "{\"about\": \"\xFF\"}",
                "file.json:1:12: syntax error while parsing value - invalid string: ill-formed "
                "UTF-8 byte; last read: '\"?'"},
        Mistake{"KeyTwice", inkjetFile(R"("cartridges": [{}, {"slot": 1, "code": 1, "slot": 2}])"),
                "file.json: /cartridges/1/slot: this key stands twice"},
        Mistake{"KeyTwiceAtTheTop", inkjetFile(R"("head": [[1], {}], "head": 2)"),
                "file.json: /head: this key stands twice"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    OfAnyPrinter, ModelFileMistake,
    ::testing::Values(
        Mistake{"NoObject", "[]", "file.json: expected an object, not a list"},
        Mistake{"NoPrinter", R"({"about": "A"})", "file.json: expected the key \"printer\""},
        Mistake{"NoAbout", R"({"printer": "inkjet"})", "file.json: expected the key \"about\""},
        Mistake{"AboutEmpty", R"({"printer": "inkjet", "about": []})",
                "file.json: /about: expected a text, or a list of lines of text, not a list"},
        Mistake{"AboutWithANumber", R"({"printer": "inkjet", "about": ["A", 1]})",
                "file.json: /about/1: expected a text, not 1"},
        Mistake{"PrinterUnknown", R"({"about": "A", "printer": "plotter"})",
                "file.json: /printer: expected \"inkjet\" or \"laser\", not \"plotter\""},
        Mistake{"PrinterNoText", R"({"about": "A", "printer": 1})",
                "file.json: /printer: expected a text, not 1"},
        Mistake{"KeyUnsafeToShow", R"({"about": "A", "printer": "inkjet", "a/b~\u001b[1mé": 1})",
                "file.json: /a~1b~0?[1m??: unknown key; expected one of: about, printer, head, "
                "cartridges, dot-counts, capacities, ink-remaining, items-before, items-after, "
                "item-count, replies"},
        Mistake{"KeyLong", inkjetFile('"' + std::string(4'000'000, 'k') + "\": 1"),
                "file.json: /" + std::string(76, 'k') +
                    "...: unknown key; expected one of: about, printer, head, cartridges, "
                    "dot-counts, capacities, ink-remaining, items-before, items-after, "
                    "item-count, replies"},
        Mistake{"ValueLong", inkjetFile(R"("head": ")" + std::string(100, 'z') + "\""),
                "file.json: /head: expected bytes as pairs of hex digits, such as \"A5 00\", not "
                "\"" +
                    std::string(59, 'z') + "..."},
        Mistake{"ReplyUnknown", inkjetFile(R"("replies": {"device-query": {}})"),
                "file.json: /replies/device-query: unknown key; expected one of: loop-back, "
                "inkjet-query"},
        Mistake{"ReplyOfTheOtherPrinter",
                laserFile(R"("supplies": [], "replies": {"inkjet-query": {}})"),
                "file.json: /replies/inkjet-query: unknown key; expected one of: loop-back, "
                "device-query, supplies-query"},
        Mistake{"ReplyKeyUnknown", inkjetFile(R"("replies": {"inkjet-query": {"stray": []}})"),
                "file.json: /replies/inkjet-query/stray: unknown key; expected one of: answers, "
                "strays, packets, writes"},
        Mistake{"AnswersNoTruth", inkjetFile(R"("replies": {"inkjet-query": {"answers": "no"}})"),
                "file.json: /replies/inkjet-query/answers: expected true or false, not \"no\""},
        Mistake{"StrayNoBytes", inkjetFile(R"("replies": {"inkjet-query": {"strays": ["A5 0"]}})"),
                "file.json: /replies/inkjet-query/strays/0: expected bytes as pairs of hex digits, "
                "such as \"A5 00\", not \"A5 0\""},
        Mistake{"LoopBackNoBytes", inkjetFile(R"("replies": {"loop-back": true})"),
                "file.json: /replies/loop-back: expected bytes as pairs of hex digits, such as "
                "\"A5 00\", not true"},
        Mistake{"PacketsNoList", inkjetFile(R"("replies": {"inkjet-query": {"packets": 5}})"),
                "file.json: /replies/inkjet-query/packets: expected a list, not 5"},
        Mistake{"PacketNegative",
                inkjetFile(R"("replies": {"inkjet-query": {"packets": [1, -1]}})"),
                "file.json: /replies/inkjet-query/packets/1: expected a whole number from 0 to "
                "65535, not -1"},
        Mistake{"WriteOfNothing",
                inkjetFile(R"("replies": {"inkjet-query": {"writes": [{"size": 0}]}})"),
                "file.json: /replies/inkjet-query/writes/0/size: expected a whole number from 1 to "
                "65535, not 0"},
        Mistake{"PauseTooLong",
                inkjetFile(R"("replies": {"inkjet-query": {"writes": [{"pause": 3600001}]}})"),
                "file.json: /replies/inkjet-query/writes/0/pause: expected a whole number from 0 "
                "to 3600000, not 3600001"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    OfAnInkjetPrinter, ModelFileMistake,
    ::testing::Values(
        Mistake{"LaserKey", inkjetFile(R"("supplies": [])"),
                "file.json: /supplies: unknown key; expected one of: about, printer, head, "
                "cartridges, dot-counts, capacities, ink-remaining, items-before, items-after, "
                "item-count, replies"},
        Mistake{"HeadUnknown", inkjetFile(R"("head": "Laterne")"),
                "file.json: /head: expected bytes as pairs of hex digits, such as \"A5 00\", not "
                "\"Laterne\""},
        Mistake{"HeadTooLarge", inkjetFile(R"("head": 256)"),
                "file.json: /head: expected a whole number from 0 to 255, not 256"},
        Mistake{"SlotMissing", inkjetFile(R"("cartridges": [{"code": "B0"}])"),
                "file.json: /cartridges/0: expected the key \"slot\""},
        Mistake{"SlotUnknown", inkjetFile(R"("cartridges": [{"slot": 5, "code": "B0"}])"),
                "file.json: /cartridges/0/slot: expected a whole number from 1 to 4, not 5"},
        Mistake{"CodeMissing", inkjetFile(R"("cartridges": [{"slot": 1}])"),
                "file.json: /cartridges/0: expected the key \"code\""},
        Mistake{"CartridgeKeyUnknown",
                inkjetFile(R"("cartridges": [{"slot": 1, "code": 1, "level": 3}])"),
                "file.json: /cartridges/0/level: unknown key; expected one of: slot, code, id"},
        Mistake{"IdOfAnotherSlot",
                inkjetFile(R"("cartridges": [{"slot": 2, "code": 1, "id": "0110"}])"),
                "file.json: /cartridges/0/id: expected \"0120\" or \"0200\", not \"0110\""},
        Mistake{"IdWhereThereIsOne",
                inkjetFile(R"("cartridges": [{"slot": 3, "code": 1, "id": "0000"}])"),
                "file.json: /cartridges/0/id: expected \"0130\", not \"0000\""},
        Mistake{"ColourUnknown", inkjetFile(R"("capacities": {"cyan": 1})"),
                "file.json: /capacities/cyan: unknown key; expected one of: black, colour, "
                "alternative-colour, photo, magenta, yellow"},
        Mistake{"LevelWithAFraction", inkjetFile(R"("ink-remaining": {"cyan": 61.5})"),
                "file.json: /ink-remaining/cyan: expected a whole number from 0 to 255, not 61.5"},
        Mistake{"GroupNoObject", inkjetFile(R"("dot-counts": [1, 2])"),
                "file.json: /dot-counts: expected an object, not a list"},
        Mistake{"ItemIdShort", inkjetFile(R"("items-before": [{"id": "19", "value": 1}])"),
                "file.json: /items-before/0/id: expected an id of two bytes, such as \"0110\", not "
                "\"19\""},
        Mistake{"ItemValueMissing", inkjetFile(R"("items-after": [{"id": "0019"}])"),
                "file.json: /items-after/0: expected the key \"value\""},
        Mistake{
            "ValueTooLong", inkjetFile(R"("head": ")" + std::string(512, '0') + "\""),
            "file.json: /head: expected at most 255 bytes, not \"" + std::string(59, '0') + "..."}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    OfALaserPrinter, ModelFileMistake,
    ::testing::Values(
        Mistake{"SuppliesMissing", R"({"about": "A", "printer": "laser"})",
                "file.json: expected the key \"supplies\""},
        Mistake{"InkjetKey", laserFile(R"("supplies": [], "head": 1)"),
                "file.json: /head: unknown key; expected one of: about, printer, supplies, "
                "before-group, after-group, before-table, after-table, serial-number, record, "
                "replies"},
        Mistake{"NumberMissing", laserFile(R"("supplies": [{"number": 1}, {"type": "toner"}])"),
                "file.json: /supplies/1: expected the key \"number\""},
        Mistake{"LevelNoNumber", laserFile(R"("supplies": [{"number": 1}, {"number": 2},
                                          {"number": 3, "level": "full"}])"),
                "file.json: /supplies/2/level: expected a whole number from 0 to 4294967295, not "
                "\"full\""},
        Mistake{"SupplyKeyUnknown", laserFile(R"("supplies": [{"number": 1, "levle": 3}])"),
                "file.json: /supplies/0/levle: unknown key; expected one of: number, fixed-id, "
                "installed-id, description, type, max-level, level, other-fields"},
        Mistake{"TypeUnknown", laserFile(R"("supplies": [{"number": 1, "type": "drum"}])"),
                "file.json: /supplies/0/type: expected \"toner\", \"fuser\", \"ink\" or a number, "
                "not \"drum\""},
        Mistake{"TypeTooLargeForItsByte", laserFile(R"("supplies": [{"number": 1, "type": 256}])"),
                "file.json: /supplies/0/type: expected a whole number from 0 to 255, not 256"},
        Mistake{"ValueTooLargeForItsBytes",
                laserFile(R"("supplies": [{"number": 1, "level": {"value": 65536, "bytes": 2}}])"),
                "file.json: /supplies/0/level/value: expected a whole number from 0 to 65535, not "
                "65536"},
        Mistake{"WidthUnknown",
                laserFile(R"("supplies": [{"number": 1, "level": {"value": 1, "bytes": 3}}])"),
                "file.json: /supplies/0/level/bytes: expected 1, 2 or 4, not 3"},
        Mistake{"FieldWithAMeaning",
                laserFile(R"("supplies": [{"number": 1, "other-fields": [{"tag": 15}]}])"),
                "file.json: /supplies/0/other-fields/0/tag: expected a tag without a meaning here "
                "(these have one: 1, 2, 3, 7, 15, 16), not 15"},
        Mistake{"ElementLikeTheGroup", laserFile(R"("supplies": [], "before-group": [{"tag": 2}])"),
                "file.json: /before-group/0/tag: expected a tag without a meaning here (these have "
                "one: 2), not 2"},
        Mistake{"ElementLikeTheTable", laserFile(R"("supplies": [], "after-table": [{"tag": 8}])"),
                "file.json: /after-table/0/tag: expected a tag without a meaning here (these have "
                "one: 8), not 8"},
        Mistake{"FormUnknown",
                laserFile(R"("supplies": [], "after-group": [{"tag": 4, "form": "tall"}])"),
                "file.json: /after-group/0/form: expected \"short\" or \"long\", not \"tall\""},
        Mistake{"SerialNumberTooLong",
                laserFile(R"("supplies": [], "serial-number": ")" + std::string(256, '9') + "\""),
                "file.json: /serial-number: expected a text of at most 255 bytes, not \"" +
                    std::string(59, '9') + "..."},
        Mistake{"RecordWithoutType", laserFile(R"("supplies": [], "record": {})"),
                "file.json: /record: expected the key \"type\""},
        Mistake{"RecordKeyOfAnotherType",
                laserFile(R"("supplies": [], "record": {"type": 1, "supplies": []})"),
                "file.json: /record/supplies: unknown key; expected one of: type, length, "
                "location, supply, first-page-count, current-page-count, current-page-level, "
                "previous-page-level, max-level, level, toner-type, part-number, toner-capacity, "
                "last-level-light, last-level-dark, light-gradation, dark-gradation, "
                "current-vantor"},
        Mistake{"RecordLevelTooLarge",
                laserFile(R"("supplies": [], "record": {"type": 1, "level": 256})"),
                "file.json: /record/level: expected a whole number from 0 to 255, not 256"},
        Mistake{"RecordSupplyKeyUnknown",
                laserFile(R"("supplies": [], "record": {"type": 3, "supplies": [
                             {"number": 1, "pages-capacity": 1}]})"),
                "file.json: /record/supplies/0/pages-capacity: unknown key; expected one of: "
                "number, max-level, level"},
        Mistake{"TableTooLong",
                laserFile(R"("supplies": [{"number": 1, "description": ")" +
                          std::string(65'535, 'D') + "\"}]"),
                "file.json: a reply cannot be made of this: 65545 does not fit a field of 2 "
                "bytes"}),
    nameOf);

// ---- Files.

// The mistake in it.
std::string read(const std::filesystem::path& file) {
  const auto model = simulator::readModelFile(file);
  return model ? "" : model.error().what;
}

TEST(ModelFileOnDisk, IsRead) {
  const TemporaryFile file(inkjetFile(R"("head": 1)"));
  EXPECT_EQ(read(file.path()), "");
}

TEST(ModelFileOnDisk, IsNamedInItsMistakes) {
  const TemporaryFile file("[\n1 2]");
  EXPECT_EQ(read(file.path()), file.path() +
                                   ":2:3: syntax error while parsing array - unexpected number "
                                   "literal; expected ']'");
}

TEST(ModelFileOnDisk, MustBeThere) {
  EXPECT_EQ(read("/no/such/file"), "/no/such/file: No such file or directory");
  EXPECT_EQ(read("/"), "/: Is a directory");
}

TEST(ModelFileOnDisk, MustNotBeLong) {
  const TemporaryFile file(inkjetFile(R"("head": 1)") + std::string(4 << 20, ' '));
  EXPECT_EQ(read(file.path()),
            file.path() + ": longer than 4194304 bytes, the most that a model file may have");
}

}  // namespace
}  // namespace moxsupply::testing
