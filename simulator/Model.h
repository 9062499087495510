#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "simulator/Bytes.h"
#include "simulator/Requests.h"

// What a simulated printer is and how it answers: plain data, filled by hand, by a test or from a
// model file.
namespace moxsupply::simulator {

// ---- An inkjet printer: a list of numbered items.

struct InkjetItem {
  std::uint16_t id = 0;  // see simulator/InkjetItems.h
  Bytes value{};         // at most 255 bytes; hosts look at the first one
};

struct InkjetModel {
  std::vector<InkjetItem> items{};           // in the order of the reply
  std::optional<std::uint16_t> itemCount{};  // what the reply says; absent: as many as there are
};

// ---- A laser printer: a supplies table, and the compact record of its model family.

struct Number {
  std::uint32_t value = 0;
  std::size_t bytes = 4;  // its width on the wire: 1, 2 or 4
};

// Something that hosts do not know and skip: an element of the tree, or a field of a supply.
struct Element {
  std::uint8_t tag = 0;
  bool longForm = false;
  Bytes body{};
};

// Whatever is absent here is absent from the supply's entry.
struct LaserSupply {
  std::uint8_t number = 1;
  std::optional<Number> fixedId{};
  std::optional<Number> installedId{};
  std::optional<std::string> description{};  // UTF-8
  std::optional<Number> type{};              // 1 to 3 toner, 5 fuser, 6 ink
  std::optional<Number> maxLevel{};          // the level of a full supply
  std::optional<Number> level{};
  std::vector<Element> otherFields{};  // stand among the others by their tag, in rising order
};

// Record type 1.
struct SingleSupplyRecord {
  std::uint8_t location = 0;
  std::uint8_t supply = 1;  // the number of the supply in the table
  std::uint32_t firstPageCount = 0;
  std::uint32_t currentPageCount = 0;
  std::uint32_t currentPageLevel = 0;
  std::uint32_t previousPageLevel = 0;
  std::uint8_t maxLevel = 0;  // the number of levels
  std::uint8_t level = 0;     // the current transition
  std::uint8_t tonerType = 0;
  std::string partNumber{};  // at most 255 bytes
  std::uint32_t tonerCapacity = 0;
  std::uint16_t lastLevelLight = 0;
  std::uint16_t lastLevelDark = 0;
  std::uint16_t lightGradation = 0;
  std::uint16_t darkGradation = 0;
  std::uint16_t currentVantor = 0;
};

// Record type 2.
struct PagesRecord {
  struct Supply {
    std::uint8_t number = 1;
    std::uint8_t location = 0;
    std::uint32_t maxLevel = 0;  // the supply count
    std::uint32_t level = 0;     // the current supply count
    std::uint32_t pagesCapacity = 0;
  };
  std::vector<Supply> supplies{};
};

// Record type 3.
struct DotsRecord {
  struct Supply {
    std::uint8_t number = 1;
    std::uint32_t maxLevel = 0;  // the maximum dot count
    std::uint32_t level = 0;     // the current dot count
  };
  std::vector<Supply> supplies{};
};

// A record of a type that hosts do not know.
struct UnknownRecord {
  std::uint8_t type = 99;
  Bytes body{};
};

using FamilyRecord =
    std::variant<std::monostate, SingleSupplyRecord, PagesRecord, DotsRecord, UnknownRecord>;

struct LaserModel {
  std::vector<LaserSupply> supplies{};
  // The tree around the supplies: a list of elements, one of them the group; in it a list of
  // elements, one of them the table. Hosts take a tree of a single element for none.
  std::vector<Element> beforeGroup{};  // of any tag but 2
  std::vector<Element> afterGroup = {{.tag = 3, .longForm = false, .body = {}}};
  std::vector<Element> beforeTable{};  // of any tag but 8
  std::vector<Element> afterTable{};

  std::string serialNumber{};  // stands in the family record; at most 255 bytes
  FamilyRecord record{};       // none: the supplies query is not answered
  std::optional<std::uint8_t>
      recordLength{};  // what it says; absent: the size of one supply's part
};

// ---- How a printer answers a request.

struct WriteCut {
  std::size_t size = 0;
  std::chrono::milliseconds pause{0};  // before it
};

struct Reply {
  bool answers = true;          // false: nothing comes but the stray replies
  std::vector<Bytes> strays{};  // sent first, one write each
  // The payload bytes of each packet, and the bytes of each write. What the lists do not cover
  // goes into one more packet, one more write; what they name beyond the reply's end is nothing.
  std::vector<std::size_t> packets{};
  std::vector<WriteCut> writes{};
};

struct Model {
  std::vector<std::string> about{};  // lines of text; the first is a summary
  std::variant<InkjetModel, LaserModel> printer{};
  std::array<Reply, kRequestCount> replies{};  // by Request
  Bytes loopBackReply{};                       // printers answer nothing

  Reply& replyTo(Request request) { return replies.at(static_cast<std::size_t>(request)); }
  [[nodiscard]] const Reply& replyTo(Request request) const {
    return replies.at(static_cast<std::size_t>(request));
  }
};

}  // namespace moxsupply::simulator
