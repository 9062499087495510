#include "tests/program/BrokenOffExchange.h"

#include <algorithm>
#include <array>
#include <map>
#include <span>

namespace moxsupply::testing {

namespace {

constexpr std::size_t kAttempts = 4;       // replies that are read until one is the answer
constexpr std::size_t kShortestReply = 6;  // fewer bytes are no reply: -1
constexpr std::size_t kReplyHead = 8;      // fewer cannot be decoded
constexpr std::size_t kLaterHead = 5;      // of a further packet

// A reply's packets, each as far as it has come.
using Packets = std::vector<Bytes>;

Bytes joined(const Packets& packets) {
  Bytes whole;
  for (const Bytes& packet : packets) whole.insert(whole.end(), packet.begin(), packet.end());
  return whole;
}

// The replies of an exchange as far as their first `size` bytes go.
std::vector<Packets> repliesWithin(const Golden& exchange, std::size_t size) {
  std::vector<Packets> replies;
  for (const Golden::Step& step : exchange.steps) {
    if (step.what != Golden::What::kReply) continue;
    Packets& packets = replies.emplace_back();
    for (const Bytes& packet : step.packets) {
      const auto come = std::span(packet).first(std::min(size, packet.size()));
      packets.emplace_back(come.begin(), come.end());
      size -= come.size();
    }
  }
  return replies;
}

// What the packets of a reply carry behind their heads.
Bytes payloadOf(const Packets& packets) {
  Bytes payload;
  for (std::size_t i = 0; i < packets.size(); ++i) {
    const std::size_t head = i == 0 ? kReplyHead : kLaterHead;
    if (packets[i].size() <= head) continue;
    const auto carried = std::span(packets[i]).subspan(head);
    payload.insert(payload.end(), carried.begin(), carried.end());
  }
  return payload;
}

struct Answer {
  int status = 0;
  Packets packets;
};

// The reply that is taken for the answer. Replies are read into one buffer that nobody clears, and
// each is judged by the head that stands there then: its own bytes, and behind them those of the
// replies before it.
Answer answerAmong(const std::vector<Packets>& replies, const std::array<std::uint8_t, 3>& echo) {
  Bytes head(4 + echo.size());
  for (std::size_t i = 0; i < std::min(kAttempts, replies.size()); ++i) {
    const Bytes reply = joined(replies[i]);
    std::copy_n(reply.begin(), std::min(reply.size(), head.size()), head.begin());
    if (head[0] != 0xA5 || !std::ranges::equal(std::span(head).subspan(4), echo)) continue;
    return {reply.size() < kShortestReply ? -1 : 0, replies[i]};
  }
  return {-6, {}};
}

// A supplies table, as far as where things end in it.
struct TableEnds {
  std::size_t suppliesCount;                        // offset behind the count of supplies
  std::map<std::size_t, std::size_t> descriptions;  // offsets behind them, by supply number
};

// Looks at the table of a whole reply.
class TableWalk {
 public:
  explicit TableWalk(const Bytes& record) : mRecord(record) {}

  [[nodiscard]] TableEnds ends() const {
    const std::size_t group = elementWithTag(2, 44);
    const std::size_t table = elementWithTag(8, group + 6);
    TableEnds ends = {.suppliesCount = table + 4, .descriptions = {}};
    for (std::size_t entry = table + 6; entry < mRecord.size(); entry += u16(entry + 4) + 6) {
      std::size_t field = entry + 12;
      for (const unsigned idTag : {1U, 2U}) {
        if (u8(field) == idTag) field += 4 + u16(field + 2);
      }
      if (u8(field) == 3) ends.descriptions.emplace(u8(entry), field + 4 + u16(field + 2));
    }
    return ends;
  }

 private:
  // Past the end of the record everything is 0.
  [[nodiscard]] std::size_t u8(std::size_t offset) const {
    return offset < mRecord.size() ? mRecord[offset] : 0;
  }
  [[nodiscard]] std::size_t u16(std::size_t offset) const {
    return u8(offset) << 8 | u8(offset + 1);
  }

  // The long form has its length two bytes further back. Past the end of the record, an element
  // has no length, and the search goes on in vain.
  [[nodiscard]] std::size_t elementWithTag(std::uint8_t tag, std::size_t element) const {
    while (element < mRecord.size() && u8(element) != tag) {
      const bool isLong = u8(element + 1) == 0;
      element += isLong ? 6 + u16(element + 4) : 4 + u16(element + 2);
    }
    return element;
  }

  const Bytes& mRecord;
};

std::size_t suppliesIn(const Json& report) {
  std::size_t supplies = 0;
  while (report.contains("Supply " + std::to_string(supplies + 1))) ++supplies;
  return supplies;
}

// A laser printer's supplies have come when their count and their descriptions have. The second
// answer only fills levels in.
Remains remainsOfLaser(const Golden& exchange, std::size_t size) {
  const Answer answer = answerAmong(repliesWithin(exchange, size), {0xE0, 0x21, 0x01});
  if (answer.status != 0) return {.status = answer.status};

  Remains remains = {.status = -4, .namesHead = true};
  const Bytes reply = joined(answer.packets);
  const Json& wholeReport = exchange.report->at("report");
  const bool isReadable = reply.size() >= kReplyHead && reply[7] == 0x00;
  if (!isReadable || !wholeReport.contains("SupplyCount")) return remains;

  const Answer wholeAnswer =
      answerAmong(repliesWithin(exchange, repliesOf(exchange).size()), {0xE0, 0x21, 0x01});
  const TableEnds ends = TableWalk(payloadOf(wholeAnswer.packets)).ends();
  const std::size_t come = payloadOf(answer.packets).size();
  if (come < ends.suppliesCount) return remains;

  remains.countsSupplies = true;
  const std::size_t mostSupplies = suppliesIn(wholeReport);
  while (remains.supplies < mostSupplies && come >= ends.descriptions.at(remains.supplies + 1)) {
    ++remains.supplies;
  }
  const std::size_t announced = wholeReport.at("SupplyCount").get<std::size_t>() % 256;
  if (remains.supplies == announced) remains.status = 0;
  return remains;
}

constexpr std::size_t kPrintHead = 0x0019;
constexpr std::array<std::size_t, 4> kCartridges = {0x0110, 0x0120, 0x0130, 0x0140};

// The items that have come whole, by their ids. The first two cartridges have a second id each; of
// two items for one thing the later one counts.
std::map<std::size_t, Bytes> itemsIn(std::span<const std::uint8_t> data) {
  const std::map<std::size_t, std::size_t> secondIds = {{0x0100, 0x0110}, {0x0200, 0x0120}};
  std::map<std::size_t, Bytes> items;
  while (data.size() >= 3 && data.size() >= 3U + data[2]) {
    const std::size_t id = std::size_t{data[0]} << 8 | data[1];
    const auto value = data.subspan(3, data[2]);
    const auto secondId = secondIds.find(id);
    items[secondId == secondIds.end() ? id : secondId->second] = {value.begin(), value.end()};
    data = data.subspan(3 + value.size());
  }
  return items;
}

bool isKnownCartridge(const Bytes& value) {
  static const Bytes codes =
      hex("10 20 21 30 31 32 3F 50 51 52 5F 70 71 72 7F 80 90 91 92"
          "A0 A1 A2 B0 B1 B2 C0 C1 C2 D0 D1 D2");
  return !value.empty() && std::ranges::find(codes, value[0]) != codes.end();
}

bool isThreeColourCartridge(const Bytes& value) {
  return !value.empty() && value[0] >= 0xA0 && value[0] <= 0xA2;
}

// What the packets of an inkjet printer's answer carry: the items of all that are followed by
// another, and those of a last packet with flags 50.
Bytes itemDataOf(Packets packets) {
  std::erase_if(packets, [](const Bytes& packet) {
    return packet.size() < 4 || ((packet[3] & 0x20) == 0 && packet[3] != 0x50);
  });
  return payloadOf(packets);
}

// An inkjet printer's supplies have come when its first cartridge has, and are as many as known
// cartridges. A three-colour cartridge leaves room for a black one only.
Remains remainsOfInkjet(const Golden& exchange, std::size_t size) {
  const Answer answer = answerAmong(repliesWithin(exchange, size), {0xE0, 0x81, 0x00});
  if (answer.status != 0) return {.status = answer.status};

  const Bytes reply = joined(answer.packets);
  const Bytes data = itemDataOf(answer.packets);
  const bool hasItems =
      reply.size() >= kReplyHead && reply[7] == 0xFF && data.size() >= 2 && data[0] + data[1] != 0;
  if (!hasItems) return {.status = -4};
  const auto items = itemsIn(std::span(data).subspan(2));
  if (!items.contains(kCartridges[0])) return {.status = -4};

  Remains remains = {.countsSupplies = true};
  const bool isThreeColour = isThreeColourCartridge(items.at(kCartridges[0]));
  for (const std::size_t cartridge : std::span(kCartridges).first(isThreeColour ? 2 : 4)) {
    if (items.contains(cartridge) && isKnownCartridge(items.at(cartridge))) ++remains.supplies;
  }
  const auto head = items.find(kPrintHead);
  remains.namesHead = head == items.end() || (!head->second.empty() && head->second[0] <= 2);
  if (!remains.namesHead && remains.supplies > 0) return {.status = -4, .countsSupplies = true};
  return remains;
}

}  // namespace

Bytes repliesOf(const Golden& exchange) {
  Bytes replies;
  for (const Golden::Step& step : exchange.steps) {
    if (step.what != Golden::What::kReply) continue;
    const Bytes reply = step.bytes();
    replies.insert(replies.end(), reply.begin(), reply.end());
  }
  return replies;
}

Remains remainsOf(const Golden& exchange, std::size_t size) {
  return exchange.kind == Golden::Kind::kLaser ? remainsOfLaser(exchange, size)
                                               : remainsOfInkjet(exchange, size);
}

}  // namespace moxsupply::testing
