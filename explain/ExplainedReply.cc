#include "explain/ExplainedReply.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "npa/BigEndianReader.h"
#include "npa/MoxNPAUtilityCommand.h"

namespace moxsupply {

namespace {

constexpr std::size_t kEchoAt = 4;
constexpr std::size_t kLaterHead = 5;
constexpr std::size_t kPayloadBuffer = 4096;
constexpr std::uint32_t kMoreFollow = 0x20;
constexpr std::size_t kMostPacketsShown = 1024;

// How the packets of an answer are joined.
struct KindRow {
  ReplyKind kind;
  std::array<std::uint8_t, 3> echo;
  std::string_view name;
  std::size_t head;  // of the first packet
  std::size_t wrap;  // further packets are looked for at their positions modulo this
};
constexpr std::array<KindRow, 3> kKinds = {{
    {ReplyKind::kInkjetItems, {0xE0, 0x81, 0x00}, "inkjet query", 8, 65'536},
    {ReplyKind::kSuppliesTable, {0xE0, 0x21, 0x01}, "device query", 8, 65'536},
    {ReplyKind::kModelRecord, {0xE0, 0x07, 0x02}, "supplies query", 7, 256},
}};

const KindRow* rowOf(std::span<const std::uint8_t> reply) {
  if (reply.size() < kEchoAt + 3 || reply[0] != 0xA5) return nullptr;
  const auto* row = std::ranges::find_if(kKinds, [&](const KindRow& known) {
    return std::ranges::equal(known.echo, reply.subspan(kEchoAt, 3));
  });
  return row == kKinds.end() ? nullptr : row;
}

// Goes through the packets of a reply.
class PacketWalk {
 public:
  PacketWalk(Explanation& text, std::span<const std::uint8_t> reply, const KindRow& kind)
      : mText(text), mReply(reply), mKind(kind) {}

  std::vector<std::uint8_t> payload() {
    std::size_t position = 0;
    while (mPackets < kMostPacketsShown && mPayload.size() <= mReply.size() &&
           explainPacket(position)) {
      position += *mReply.u16(position % mKind.wrap + 1) + std::size_t{3};
      if (position >= mKind.wrap) {
        mText.note(
            fmt::format("packets are looked for at their offset modulo {}: the next one, at "
                        "{}, is read at {}",
                        mKind.wrap, position, position % mKind.wrap));
      }
    }
    return std::move(mPayload);
  }

 private:
  // Returns whether another packet is looked for.
  bool explainPacket(std::size_t unwrapped) {
    const std::size_t at = unwrapped % mKind.wrap;
    const bool isFirst = mPackets++ == 0;
    const std::size_t head = isFirst ? mKind.head : kLaterHead;
    if (mReply.bytesAsFarAsTheyGo(at, head).size() < head) {
      mText.note(
          fmt::format("a packet should begin at {} but the reply ends at {}: what came "
                      "before it counts",
                      at, mReply.size()));
      return false;
    }
    const std::size_t length = *mReply.u16(at + 1);
    const std::uint32_t flags = *mReply.u8(at + 3);
    const bool moreFollow = (flags & kMoreFollow) != 0;
    mText.field(at, mReply.bytesAsFarAsTheyGo(at, 4),
                fmt::format("packet {}: {} bytes follow, flags {:02X}: {}", mPackets, length, flags,
                            moreFollow ? "more packets follow" : "the last one"));
    if (isFirst) {
      mText.field(at + kEchoAt, mReply.bytesAsFarAsTheyGo(at + kEchoAt, head - kEchoAt),
                  fmt::format("the answer to the {}", mKind.name));
    } else {
      mText.field(at + kEchoAt, mReply.bytesAsFarAsTheyGo(at + kEchoAt, 1), "not looked at");
    }
    if (length + 3 < head) {
      mText.note("the packet is too short for its own head: the joining of packets ends");
      return false;
    }
    return join(at, head, length + 3 - head, flags) && moreFollow;
  }

  bool join(std::size_t at, std::size_t head, std::size_t size, std::uint32_t flags) {
    if (mKind.kind == ReplyKind::kInkjetItems && (flags & kMoreFollow) == 0 && flags != 0x50) {
      mText.note(fmt::format("a last packet with flags {:02X} and not 50 brings no items", flags));
      return false;
    }
    if (mKind.kind == ReplyKind::kInkjetItems && mReply.u8(at) != 0xA5U) {
      mText.note("no start byte A5 stands there: the joining of packets ends");
      return false;
    }
    auto data = mReply.bytesAsFarAsTheyGo(at + head, size);
    mText.field(at + head, data, fmt::format("payload, {} bytes", data.size()));
    if (data.size() < size) {
      mText.note(fmt::format("the packet announces {} bytes of payload: it is cut", size));
    }
    const bool isWhole = data.size() == size;
    data = data.first(std::min(data.size(), kPayloadBuffer - mPayload.size()));
    mPayload.insert(mPayload.end(), data.begin(), data.end());
    if (mPayload.size() == kPayloadBuffer) mText.note("4096 bytes of payload, no more are taken");
    return isWhole && mPayload.size() < kPayloadBuffer;
  }

  Explanation& mText;
  BigEndianReader mReply;
  const KindRow& mKind;
  std::size_t mPackets = 0;
  std::vector<std::uint8_t> mPayload;
};

}  // namespace

ReplyKind kindOfReply(std::span<const std::uint8_t> reply) {
  const KindRow* row = rowOf(reply);
  return row == nullptr ? ReplyKind::kOther : row->kind;
}

std::optional<Dictionary> explainReply(Explanation& text, std::span<const std::uint8_t> reply) {
  const KindRow* row = rowOf(reply);
  if (row == nullptr) {
    text.field(0, reply, "no answer to what was asked: passed over");
    return std::nullopt;
  }
  if (reply.size() < 8) {
    text.field(0, reply, "fewer than 8 bytes of the answer: it cannot be decoded");
    return std::nullopt;
  }
  const auto payload = PacketWalk(text, reply, *row).payload();
  const MoxNPAUtilityCommand decoder;
  const auto length = static_cast<std::uint32_t>(reply.size());
  std::optional<Dictionary> decoded;
  switch (row->kind) {
    case ReplyKind::kInkjetItems:
      if (reply[7] != 0xFF) text.note("byte 7 is not FF: the reply is refused");
      text.line("Items, offsets in the joined payload:");
      explainItems(text, payload);
      decoded = decoder.parseCPDQueryResponse(reply, length);
      break;
    case ReplyKind::kSuppliesTable:
      if (reply[7] != 0x00) text.note("byte 7 is not 00: the reply is refused");
      text.line("Supplies table, offsets in the joined payload:");
      explainSuppliesTable(text, payload);
      decoded = decoder.parsePSSDDeviceResponse(reply, length);
      break;
    default:
      text.line("Model-family record, offsets in the joined payload:");
      explainModelRecord(text, payload);
      decoded = decoder.parsePSSDQueryResponse(reply, length);
  }
  text.line("Decoded:");
  text.decoded(decoded.value_or(Dictionary()));
  return decoded;
}

}  // namespace moxsupply
