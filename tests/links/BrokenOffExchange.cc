#include "tests/links/BrokenOffExchange.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>

#include "simulator/Model.h"
#include "tests/property/InkjetExpectation.h"
#include "tests/property/LaserExpectation.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {

namespace {

constexpr std::size_t kAttempts = 4;       // replies that are read until one is the answer
constexpr std::size_t kShortestReply = 6;  // fewer bytes are no reply: -1
constexpr std::size_t kReplyHead = 8;      // fewer cannot be decoded
constexpr std::size_t kLaterHead = 5;      // of a further packet

// A reply's packets, each as far as it has come.
using Packets = std::vector<Bytes>;

// The replies of an exchange as far as their first `size` bytes go.
std::vector<Packets> repliesWithin(const Golden& exchange, std::size_t size) {
  std::vector<Packets> replies;
  for (const Golden::Step& step : exchange.steps) {
    if (step.what != Golden::What::kReply) continue;
    Packets& packets = replies.emplace_back();
    for (const Bytes& packet : step.packets) {
      packets.push_back(firstBytes(packet, size));
      size -= packets.back().size();
    }
  }
  return replies;
}

// What the packets of a reply carry behind their heads.
Bytes payloadOf(const Packets& packets) {
  std::vector<Bytes> carried;
  for (const Bytes& packet : packets) {
    carried.push_back(bytesFrom(packet, carried.empty() ? kReplyHead : kLaterHead));
  }
  return joined(carried);
}

using Echo = std::array<std::uint8_t, 3>;
constexpr Echo kDeviceEcho = {0xE0, 0x21, 0x01};
constexpr Echo kSuppliesEcho = {0xE0, 0x07, 0x02};
constexpr Echo kInkjetEcho = {0xE0, 0x81, 0x00};

struct Answer {
  int status = -6;
  std::size_t attempts = kAttempts;  // replies that were read, the answer itself included
  Packets packets;
};

// The reply that is taken for the answer. Replies are read into one buffer and each is judged by
// the head that stands there then: its own bytes and, where nobody clears the buffer in between,
// behind them those of the replies before it.
Answer answerAmong(std::span<const Packets> replies, const Echo& echo, bool isCleared) {
  Bytes head(4 + echo.size());
  for (std::size_t i = 0; i < std::min(kAttempts, replies.size()); ++i) {
    const Bytes reply = joined(replies[i]);
    if (isCleared) head.assign(head.size(), 0);
    std::copy_n(reply.begin(), std::min(reply.size(), head.size()), head.begin());
    if (head[0] != 0xA5 || !std::ranges::equal(std::span(head).subspan(4), echo)) continue;
    return {reply.size() < kShortestReply ? -1 : 0, i + 1, replies[i]};
  }
  return {};
}

// A record, of which only the first bytes have come. Past the end of the whole record everything is
// 0.
class Record {
 public:
  explicit Record(const Bytes& whole) : mBytes(whole) {}

  [[nodiscard]] std::size_t size() const { return mBytes.size(); }
  [[nodiscard]] std::size_t u8(std::size_t offset) const {
    return offset < mBytes.size() ? mBytes[offset] : 0;
  }
  [[nodiscard]] std::size_t u16(std::size_t offset) const {
    return u8(offset) << 8 | u8(offset + 1);
  }
  [[nodiscard]] std::uint32_t number(std::size_t offset, std::size_t bytes) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      value = value << 8 | static_cast<std::uint32_t>(u8(offset + i));
    }
    return value;
  }
  [[nodiscard]] std::string text(std::size_t offset, std::size_t bytes) const {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) text.push_back(static_cast<char>(u8(offset + i)));
    return text;
  }

 private:
  const Bytes& mBytes;
};

// The supplies table of a whole reply, and what of it lies within its first bytes.
class SuppliesTable {
 public:
  explicit SuppliesTable(const Bytes& record) : mRecord(record) {
    const std::size_t group = elementWithTag(2, 44);
    mTable = elementWithTag(8, group + 6);
  }

  // Whether the count of supplies is there.
  [[nodiscard]] bool isCountedWithin(std::size_t come) const { return come >= mTable + 4; }

  [[nodiscard]] std::vector<simulator::LaserSupply> suppliesWithin(std::size_t come) const {
    std::vector<simulator::LaserSupply> supplies;
    std::size_t entry = mTable + 6;
    for (; entry + 12 <= come; entry += mRecord.u16(entry + 4) + 6) {
      supplies.push_back(supplyWithin(entry, come));
    }
    return supplies;
  }

 private:
  // The long form has its length two bytes further back. Past the end of the record, an element
  // has no length, and the search goes on in vain.
  [[nodiscard]] std::size_t elementWithTag(std::uint8_t tag, std::size_t element) const {
    while (element < mRecord.size() && mRecord.u8(element) != tag) {
      element += mRecord.u8(element + 1) == 0 ? 6 + mRecord.u16(element + 4)
                                              : 4 + mRecord.u16(element + 2);
    }
    return element;
  }

  [[nodiscard]] simulator::LaserSupply supplyWithin(std::size_t entry, std::size_t come) const {
    simulator::LaserSupply supply;
    supply.number = static_cast<std::uint8_t>(mRecord.u8(entry));
    const std::size_t end = entry + 6 + mRecord.u16(entry + 4);
    for (std::size_t field = entry + 12; field < end;) {
      const std::size_t tag = mRecord.u8(field);
      const bool isKnown = tag == 1 || tag == 2 || tag == 3 || tag == 7 || tag == 15 || tag == 16;
      const bool isLong = !isKnown && mRecord.u8(field + 1) == 0;
      const std::size_t size = mRecord.u16(field + (isLong ? 4 : 2));
      const std::size_t value = field + (isLong ? 6 : 4);
      field = value + size;
      if (field > come) break;
      const simulator::Number number = {.value = mRecord.number(value, size)};
      if (tag == 3) supply.description = mRecord.text(value, size);
      if (tag == 7) supply.type = number;
      if (tag == 15) supply.maxLevel = number;
      if (tag == 16) supply.level = number;
    }
    return supply;
  }

  Record mRecord;
  std::size_t mTable = 0;
};

// What the packets of the answer to the supplies query carry. A further packet is looked for at its
// offset modulo 256, wherever that may be.
Bytes familyRecordIn(const Bytes& reply) {
  const Record bytes(reply);
  Bytes payload;
  for (std::size_t packet = 0, head = 7;;) {
    const std::size_t begin = std::min(packet + head, reply.size());
    const std::size_t end = std::min(packet + 3 + bytes.u16(packet + 1), reply.size());
    if (end <= begin) return payload;
    payload.insert(payload.end(), reply.begin() + static_cast<std::ptrdiff_t>(begin),
                   reply.begin() + static_cast<std::ptrdiff_t>(end));
    const bool isWhole = end == packet + 3 + bytes.u16(packet + 1);
    const bool moreFollow = (bytes.u8(packet + 3) & 0x20) != 0;
    packet = end % 256;
    head = kLaterHead;
    if (!isWhole || !moreFollow || packet + kLaterHead > reply.size()) return payload;
  }
}

simulator::FamilyRecord familyRecordWithin(const Bytes& payload) {
  const Record record(payload);
  const std::size_t behindHead = record.u8(0) + 5;
  const auto fits = [&](std::size_t end) { return end <= payload.size(); };
  if (!fits(behindHead)) return {};
  const std::size_t type = record.u8(behindHead - 1);
  const std::size_t count = record.u8(behindHead - 4);
  if (type == 1 && fits(behindHead + 19)) {
    return simulator::SingleSupplyRecord{
        .supply = static_cast<std::uint8_t>(record.u8(behindHead)),
        .maxLevel = static_cast<std::uint8_t>(record.u8(behindHead + 17)),
        .level = static_cast<std::uint8_t>(record.u8(behindHead + 18))};
  }
  simulator::PagesRecord pages;
  simulator::DotsRecord dots;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t page = behindHead + 14 * i;
    if (type == 2 && fits(page + 14)) {
      pages.supplies.push_back({.number = static_cast<std::uint8_t>(record.u8(page)),
                                .maxLevel = record.number(page + 2, 4),
                                .level = record.number(page + 6, 4)});
    }
    const std::size_t dot = behindHead + 9 * i;
    if (type == 3 && fits(dot + 9)) {
      dots.supplies.push_back({.number = static_cast<std::uint8_t>(record.u8(dot)),
                               .maxLevel = record.number(dot + 1, 4),
                               .level = record.number(dot + 5, 4)});
    }
  }
  if (type == 2) return pages;
  if (type == 3) return dots;
  return {};
}

std::size_t suppliesIn(const Json& report) {
  std::size_t supplies = 0;
  while (report.contains("Supply " + std::to_string(supplies + 1))) ++supplies;
  return supplies;
}

// A laser printer's supplies have come when their count and their descriptions have. The second
// answer only fills levels in.
Json answerOfLaser(const Golden& exchange, std::size_t size) {
  const auto replies = repliesWithin(exchange, size);
  const Answer answer = answerAmong(replies, kDeviceEcho, false);
  if (answer.status != 0) return {{"status", answer.status}, {"report", Json::object()}};

  Json report = {{"PrintHeadType", "LaserSupplies"}};
  const Bytes reply = joined(answer.packets);
  const Json wholeReport = Json::parse(*exchange.report).at("report");
  const bool isReadable = reply.size() >= kReplyHead && reply[7] == 0x00;
  if (!isReadable || !wholeReport.contains("SupplyCount")) {
    return {{"status", -4}, {"report", report}};
  }
  const auto whole = repliesWithin(exchange, exchange.all(Golden::What::kReply).size());
  const Bytes record = payloadOf(answerAmong(whole, kDeviceEcho, false).packets);
  const SuppliesTable table(record);
  const std::size_t come = payloadOf(answer.packets).size();
  if (!table.isCountedWithin(come)) return {{"status", -4}, {"report", report}};
  report["SupplyCount"] = wholeReport.at("SupplyCount");

  simulator::LaserModel printer;
  printer.supplies = table.suppliesWithin(come);
  const auto later = std::span(replies).subspan(answer.attempts);
  const Bytes secondReply = joined(answerAmong(later, kSuppliesEcho, true).packets);
  if (secondReply.size() >= kReplyHead) {
    printer.record = familyRecordWithin(familyRecordIn(secondReply));
  }
  const Json expected = asJson(reportOf(printer).report);
  std::size_t supplies = 0;
  for (; supplies < std::min(suppliesIn(expected), suppliesIn(wholeReport)); ++supplies) {
    const std::string key = "Supply " + std::to_string(supplies + 1);
    report[key] = expected.at(key);
  }
  const std::size_t announced = wholeReport.at("SupplyCount").get<std::size_t>() % 256;
  return {{"status", supplies == announced ? 0 : -4}, {"report", report}};
}

// The items that have come whole.
std::vector<simulator::InkjetItem> itemsIn(std::span<const std::uint8_t> data) {
  std::vector<simulator::InkjetItem> items;
  while (data.size() >= 3 && data.size() >= 3U + data[2]) {
    const auto value = data.subspan(3, data[2]);
    items.push_back({.id = static_cast<std::uint16_t>(data[0] << 8 | data[1]),
                     .value = {value.begin(), value.end()}});
    data = data.subspan(3 + value.size());
  }
  return items;
}

// What the packets of an inkjet printer's answer carry: the items of all that are followed by
// another, and those of a last packet with flags 50.
Bytes itemDataOf(Packets packets) {
  std::erase_if(packets, [](const Bytes& packet) {
    return packet.size() < 4 || ((packet[3] & 0x20) == 0 && packet[3] != 0x50);
  });
  return payloadOf(packets);
}

Json answerOfInkjet(const Golden& exchange, std::size_t size) {
  const Answer answer = answerAmong(repliesWithin(exchange, size), kInkjetEcho, false);
  if (answer.status != 0) return {{"status", answer.status}, {"report", Json::object()}};

  const Bytes reply = joined(answer.packets);
  const Bytes data = itemDataOf(answer.packets);
  const bool hasItems =
      reply.size() >= kReplyHead && reply[7] == 0xFF && data.size() >= 2 && data[0] + data[1] != 0;
  if (!hasItems) return {{"status", -4}, {"report", Json::object()}};
  const ExpectedReport expected =
      reportOf(simulator::InkjetModel{.items = itemsIn(std::span(data).subspan(2))});
  return {{"status", static_cast<std::int32_t>(expected.status)},
          {"report", asJson(expected.report)}};
}

bool isLaser(const Golden& exchange) { return exchange.kind == Golden::Kind::kLaser; }

// Bytes of the replies up to the answer to the first request.
std::size_t firstAnswerEnd(const Golden& exchange) {
  const std::size_t all = exchange.all(Golden::What::kReply).size();
  if (!isLaser(exchange)) return all;
  const auto replies = repliesWithin(exchange, all);
  const Answer answer = answerAmong(replies, kDeviceEcho, false);
  std::size_t end = 0;
  for (std::size_t i = 0; i < std::min(answer.attempts, replies.size()); ++i) {
    end += joined(replies[i]).size();
  }
  return end;
}

}  // namespace

std::vector<Talk> talkWithin(const Golden& exchange, std::size_t size) {
  const Bytes replies = exchange.all(Golden::What::kReply);
  const auto part = [&](std::size_t begin, std::size_t end) {
    return bytesFrom(firstBytes(replies, std::min(end, size)), begin);
  };
  if (!isLaser(exchange)) {
    const bool isOnNetwork = exchange.transport == "socket" || exchange.transport == "dnssd";
    return {{kInkjetQuery.size() + (isOnNetwork ? kLoopBack.size() : 0), part(0, replies.size())}};
  }
  const std::size_t first = firstAnswerEnd(exchange);
  return {{kDeviceQuery.size(), part(0, first)},
          {kSuppliesQuery.size(), part(first, replies.size())}};
}

std::string answerTo(const Golden& exchange, std::size_t size) {
  const Json answer =
      isLaser(exchange) ? answerOfLaser(exchange, size) : answerOfInkjet(exchange, size);
  return answer.dump(2);
}

}  // namespace moxsupply::testing
