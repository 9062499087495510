#include "bench/Samples.h"

#include <string>
#include <vector>

#include "tests/support/InkjetReply.h"
#include "tests/support/LaserRecords.h"

namespace moxsupply::bench {

using testing::Bytes;
using testing::hex;
using testing::inkjetItem;
using testing::joined;
using testing::repeated;

namespace {

enum class Levels : bool { kNone, kInTable };

Bytes table(std::size_t count, Levels levels) {
  static const std::string name(24, 'x');
  std::vector<Bytes> supplies;
  for (std::size_t i = 1; i <= count; ++i) {
    std::vector<Bytes> fields = {testing::field(1, hex("11")), testing::field(2, hex("12")),
                                 testing::description(name), testing::field(7, hex("01"))};
    if (levels == Levels::kInTable) {
      fields.push_back(testing::maxLevel(100));
      fields.push_back(testing::currentLevel(37));
    }
    supplies.push_back(testing::supply(static_cast<std::uint8_t>(i), fields));
  }
  return testing::suppliesRecord(supplies);
}

}  // namespace

Bytes suppliesTable(std::size_t supplies) { return table(supplies, Levels::kInTable); }

Bytes suppliesTableWithoutLevels(std::size_t supplies) { return table(supplies, Levels::kNone); }

Bytes pageLevels() {
  return joined({hex("18"), Bytes(24, 'S'),               // serial number
                 hex("01 22 00 01"), repeated(0x00, 20),  // one supply, up to the part number
                 hex("18"), Bytes(24, 'P'), repeated(0x00, 14)});
}

Bytes pageCounts(std::size_t supplies) {
  Bytes record =
      joined({hex("18"), Bytes(24, 'S'), {static_cast<std::uint8_t>(supplies)}, hex("22 00 02")});
  for (std::size_t i = 1; i <= supplies; ++i) {
    const Bytes entry = joined({{static_cast<std::uint8_t>(i)}, repeated(7, 13)});
    record.insert(record.end(), entry.begin(), entry.end());
  }
  return record;
}

Bytes dotCounts(std::size_t supplies) {
  std::vector<testing::DotCounts> counts;
  for (std::size_t i = 1; i <= supplies; ++i) {
    counts.push_back({static_cast<std::uint8_t>(i), 1000, 371});
  }
  return testing::dotCountRecord(counts);
}

Bytes inkjetItems() {
  return testing::inkjetReply({
      inkjetItem(0x0019, hex("02")),
      inkjetItem(0x0110, hex("B0")),
      inkjetItem(0x0120, hex("50")),
      inkjetItem(0x0130, hex("C1")),
      inkjetItem(0x0140, hex("D2")),
      inkjetItem(0x0427, hex("50")),
      inkjetItem(0x0428, hex("28")),
      inkjetItem(0x0429, hex("0A")),
      inkjetItem(0x042A, hex("0B")),
  });
}

}  // namespace moxsupply::bench
