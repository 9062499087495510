#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "front/MoxFilter.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "tests/support/Allocations.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/LaserRecords.h"

// How much the module asks of the heap: a measure of its work that is the same on every machine.
// And what it makes of a heap that has nothing to give.

namespace moxsupply::testing {
namespace {

const std::string& longName() {  // too long to be kept inside a string object
  static const std::string name(24, 'x');
  return name;
}

// `count` supplies of 67 bytes, each with every field.
std::vector<Bytes> fullSupplies(std::size_t count) {
  std::vector<Bytes> supplies;
  for (std::size_t i = 1; i <= count; ++i) {
    supplies.push_back(supply(static_cast<std::uint8_t>(i),
                              {field(1, hex("11")), field(2, hex("12")), description(longName()),
                               field(7, hex("01")), maxLevel(100), currentLevel(37)}));
  }
  return supplies;
}

struct Work {
  Allocations allocations;
  std::size_t supplies;  // that came out
};

template <typename Decode>
Work workOf(Decode decode) {
  std::optional<Dictionary> result;
  const Allocations allocations = countAllocations([&] { result = decode(); });
  return {allocations, result->size()};
}

Work workOnTable(std::size_t count) {
  Bytes record = suppliesRecord(fullSupplies(count));
  EXPECT_LE(record.size(), 4096U);
  return workOf([&] {
    return MoxNPAUtilityCommand().extractSuppliesResponse(
        record, static_cast<std::uint32_t>(record.size()));
  });
}

TEST(Allocations, AreCounted) {
  const Allocations none = countAllocations([] {});
  EXPECT_EQ(none.made, 0U);
  const Allocations some = countAllocations([] {
    Bytes bytes(100);
    bytes.resize(200);
  });
  EXPECT_EQ(some.made, 2U);
  EXPECT_EQ(some.released, 2U);
}

// Two for each supply, its dictionary and its description, and one for the table's: nothing is
// allocated that is not returned. 60 supplies fill the 4096 bytes of a payload.
TEST(Allocations, OfTheSuppliesTableAreTwoASupplyAndOne) {
  for (const std::size_t count : {1U, 2U, 4U, 8U, 16U, 32U, 60U}) {
    const Work work = workOnTable(count);
    EXPECT_EQ(work.supplies, 1 + count);
    EXPECT_LE(work.allocations.made, 2 * count + 1);
    EXPECT_EQ(work.allocations.released, 0U);
  }
}

TEST(Allocations, OfARefusedTableAreNone) {
  Bytes record = suppliesRecord(0, fullSupplies(60));
  const Allocations allocations = countAllocations(
      [&] { EXPECT_FALSE(MoxNPAUtilityCommand().extractSuppliesResponse(record, 0)); });
  EXPECT_EQ(allocations.made, 0U);
}

// A table that claims 65,535 supplies is not believed until they are there.
TEST(Allocations, OfATableDoNotGrowWithWhatItClaims) {
  Bytes record = suppliesRecord(65'535, fullSupplies(1));
  const Allocations allocations = countAllocations(
      [&] { EXPECT_TRUE(MoxNPAUtilityCommand().extractSuppliesResponse(record, 0)); });
  EXPECT_LE(allocations.made, 3U);
}

// A dictionary for each supply, and room for them all that grows by doubling.
TEST(Allocations, OfAModelFamilyRecordGrowWithItsSupplies) {
  for (const std::size_t count : {1U, 2U, 4U, 8U, 16U, 64U, 255U}) {
    std::vector<DotCounts> supplies;
    for (std::size_t i = 1; i <= count; ++i) {
      supplies.push_back({static_cast<std::uint8_t>(i), 100, 37});
    }
    const Bytes record = dotCountRecord(supplies);
    const Work work = workOf([&] { return MoxNPAUtilityCommand().parseKelvoColor(record, 1); });
    EXPECT_EQ(work.supplies, 4 + count);
    EXPECT_LE(work.allocations.made, 4 * count + 8) << count;
  }
}

// --- Without memory

// Makes each allocation of `decode` fail, in a call of its own: it must give nothing then, and lose
// no block. Returns how many allocations there were.
template <typename Decode>
std::size_t expectNothingWithoutMemory(Decode decode) {
  for (std::size_t nth = 1;; ++nth) {
    const std::size_t blocksBefore = blocksInUse();
    const FailingAllocation allocation(nth);
    const std::optional<Dictionary> result = decode();
    if (!allocation.hasFailed()) {
      EXPECT_TRUE(result);
      return nth - 1;
    }
    EXPECT_FALSE(result) << "without allocation " << nth;
    EXPECT_EQ(blocksInUse(), blocksBefore) << "without allocation " << nth;
  }
}

TEST(WithoutMemory, TheSuppliesTableIsNotDecoded) {
  Bytes record = suppliesRecord(fullSupplies(2));
  const MoxNPAUtilityCommand npa;
  EXPECT_EQ(expectNothingWithoutMemory([&] { return npa.extractSuppliesResponse(record, 0); }), 5U);
}

TEST(WithoutMemory, TheRecordOfOneSupplyIsNotDecoded) {
  const Bytes record = joined({hex("18"), bytesOf(longName()),          // serial number
                               hex("01 22 00 01"), repeated(0x00, 20),  // up to the part number
                               hex("18"), bytesOf(longName()), repeated(0x00, 14)});
  const MoxNPAUtilityCommand npa;
  EXPECT_EQ(expectNothingWithoutMemory([&] { return npa.parseKelvoS(record, 1); }), 3U);
}

TEST(WithoutMemory, ATableOfPageCountsIsNotDecoded) {
  const Bytes record = joined({hex("18"), bytesOf(longName()), hex("02 22 00 02"), hex("01"),
                               repeated(0x00, 13),               // supply 1
                               hex("02"), repeated(0x00, 13)});  // supply 2
  const MoxNPAUtilityCommand npa;
  EXPECT_EQ(expectNothingWithoutMemory([&] { return npa.parseKelvoSC(record, 1); }), 4U);
}

TEST(WithoutMemory, ATableOfDotCountsIsNotDecoded) {
  const Bytes record = dotCountRecord({{1, 100, 37}, {2, 100, 38}});
  const MoxNPAUtilityCommand npa;
  EXPECT_EQ(expectNothingWithoutMemory([&] { return npa.parseKelvoColor(record, 1); }), 3U);
}

// --- Counted in the filter process

std::string askForAllocations(const std::function<void()>& action) {
  const Allocations allocations = countAllocations(action);
  return std::to_string(allocations.made);
}

TEST(Allocations, OfTheReplyReaderAreNone) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::array<std::uint8_t, 4096> reply{};
    std::uint32_t length = 0;
    Status status = Status::kReadError;
    std::string made =
        askForAllocations([&] { status = MoxNPAUtilityCommand().getNPAReply(reply, length, 8); });
    return made + (status == Status::kSuccess ? " for " : " in vain for ") + std::to_string(length);
  });
  filter.sendInPieces(
      {packet(kMoreFollow, repeated(0x00, 1000)), packet(kLast, repeated(0x00, 2000))});
  EXPECT_EQ(filter.wait().result, "0 for 3008");
}

// A laser query of 8 supplies takes 4 allocations a supply and 16 at most, whether the levels come
// from the table or from the model-family record.
std::size_t allocationsOfAQuery(const Bytes& deviceReply, const Bytes& queryReply) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    const auto query = MoxFilter::initWithPrinterType("Laser", "usb", 8);
    Dictionary report;
    Status status = Status::kNoCommand;
    const std::string made = askForAllocations([&] { status = query->inkStatusQuery(&report); });
    const bool isWhole = status == Status::kSuccess && report.number("SupplyCount") == 8 &&
                         report.get<Dictionary>({"Supply", 8})->number("SupplyPercentage") == 37;
    return isWhole ? made : "999999";
  });
  filter.receive(30);
  filter.sendInPieces({deviceReply});
  filter.receive(27);
  filter.sendInPieces({queryReply});
  return std::stoul(filter.wait().result);
}

TEST(Allocations, OfAQueryOf8SuppliesWithLevels) {
  const Bytes table = deviceReply(suppliesRecord(fullSupplies(8)));
  EXPECT_LE(allocationsOfAQuery(table, queryReply(dotCountRecord({}))), 4U * 8 + 16);
}

TEST(Allocations, OfAQueryOf8SuppliesWhoseLevelsAreFilledIn) {
  std::vector<Bytes> supplies;
  std::vector<DotCounts> counts;
  for (std::uint8_t i = 1; i <= 8; ++i) {
    supplies.push_back(supply(i, {description(longName()), field(7, hex("01"))}));
    counts.push_back({i, 1000, 371});
  }
  EXPECT_LE(allocationsOfAQuery(deviceReply(suppliesRecord(supplies)),
                                queryReply(dotCountRecord(counts))),
            4U * 8 + 16);
}

// What a laser query leaves whose `nth` allocation fails. The supplies table is refused, so that
// the supply of the model-family record needs room of its own.
std::string queryWithoutAllocation(std::size_t nth) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [nth] {
    Dictionary supplies;
    supplies.set("Before", std::int32_t{1});
    Status status = Status::kSuccess;
    {
      const FailingAllocation allocation(nth);
      status = MoxNPAUtilityCommand().pssdQueryAll(supplies, 8);
    }
    return std::to_string(signedNumber(status)) + ' ' + shown(supplies);
  });
  filter.receive(30);
  filter.sendInPieces({deviceReply({})});
  filter.receive(27);
  filter.sendInPieces(
      {queryReply(joined({hex("00 01 22 00 01"), hex("03"), repeated(0x00, 16),  // supply 3
                          hex("64 25"), repeated(0x00, 16)}))});                 // 37 of 100
  return filter.wait().result;
}

TEST(WithoutMemory, AQueryThatCannotFillInASupplyIsUndecodable) {
  EXPECT_EQ(queryWithoutAllocation(1), "0 {}");  // the record is not decoded, and passed over
  EXPECT_EQ(queryWithoutAllocation(2), "-4 " + json(R"({"Before": 1})"));
  EXPECT_EQ(queryWithoutAllocation(100),
            "0 " + json(R"({"Supply 3": {"Current Level": 37, "Max Level": 100}})"));
}

}  // namespace
}  // namespace moxsupply::testing
