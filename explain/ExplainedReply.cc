#include "explain/ExplainedReply.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "npa/Answers.h"
#include "npa/BigEndianReader.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "npa/Packet.h"

namespace moxsupply {

namespace {

constexpr std::size_t kMostPacketsShown = 1024;

struct KindRow {
  ReplyKind kind;
  AnswerKind answer;
  std::string_view request;
};
constexpr std::array<KindRow, 3> kKinds = {{
    {ReplyKind::kInkjetItems, kInkjetAnswer, "inkjet query"},
    {ReplyKind::kSuppliesTable, kDeviceAnswer, "device query"},
    {ReplyKind::kModelRecord, kSuppliesAnswer, "supplies query"},
}};

const KindRow* rowOf(std::span<const std::uint8_t> reply) {
  const auto* row = std::ranges::find_if(
      kKinds, [&](const KindRow& known) { return answers(reply, known.answer); });
  return row == kKinds.end() ? nullptr : row;
}

// Goes through the packets of a reply.
class PacketWalk {
 public:
  PacketWalk(Explanation& text, std::span<const std::uint8_t> reply, const KindRow& row)
      : mText(text), mReply(reply), mRequest(row.request), mKind(row.answer) {}

  std::vector<std::uint8_t> payload() {
    std::size_t position = 0;
    while (mPackets < kMostPacketsShown && mPayload.size() < mReply.size() &&
           explainPacket(position % mKind.positionWrap)) {
      position += PacketHead::read(mReply, position % mKind.positionWrap)->size();
      if (position >= mKind.positionWrap) {
        mText.note(
            fmt::format("packets are looked for at their offset modulo {}: the next one, at "
                        "{}, is read at {}",
                        mKind.positionWrap, position, position % mKind.positionWrap));
      }
    }
    return std::move(mPayload);
  }

 private:
  // Returns whether another packet is looked for.
  bool explainPacket(std::size_t at) {
    const bool isFirst = mPackets++ == 0;
    const std::size_t headSize = isFirst ? mKind.headSize : kLaterHeadSize;
    if (!mReply.bytes(at, headSize)) {
      mText.note(
          fmt::format("a packet should begin at {} but the reply ends at {}: what came "
                      "before it counts",
                      at, mReply.size()));
      return false;
    }
    const PacketHead head = *PacketHead::read(mReply, at);
    show(at, kEchoAt,
         fmt::format("packet {}: {} bytes follow, flags {:02X}: {}", mPackets, head.length,
                     head.flags, head.moreFollow() ? "more packets follow" : "the last one"));
    show(at + kEchoAt, headSize - kEchoAt,
         isFirst ? fmt::format("the answer to the {}", mRequest) : "not looked at");
    if (head.size() < headSize) {
      mText.note("the packet is too short for its own head: the joining of packets ends");
      return false;
    }
    return join(at + headSize, head.size() - headSize, head) && head.moreFollow();
  }

  bool join(std::size_t at, std::size_t size, const PacketHead& head) {
    if (mKind.lastFlags && !head.moreFollow() && head.flags != mKind.lastFlags) {
      mText.note(fmt::format("a last packet with flags {:02X} and not {:02X} brings no items",
                             head.flags, *mKind.lastFlags));
      return false;
    }
    if (mKind.laterStart && head.start != mKind.laterStart) {
      mText.note(fmt::format("no start byte {:02X} stands there: the joining of packets ends",
                             *mKind.laterStart));
      return false;
    }
    auto data = mReply.bytesAsFarAsTheyGo(at, size);
    mText.field(at, data, fmt::format("payload, {} bytes", data.size()));
    if (data.size() < size) {
      mText.note(fmt::format("the packet announces {} bytes of payload: it is cut", size));
    }
    const bool isWhole = data.size() == size;
    data = data.first(std::min(data.size(), kPayloadBufferSize - mPayload.size()));
    mPayload.insert(mPayload.end(), data.begin(), data.end());
    const bool isFull = mPayload.size() == kPayloadBufferSize;
    if (isFull) mText.note(fmt::format("{} bytes of payload, no more are taken", mPayload.size()));
    return isWhole && !isFull;
  }

  void show(std::size_t at, std::size_t count, std::string_view meaning) {
    mText.field(at, mReply.bytesAsFarAsTheyGo(at, count), meaning);
  }

  Explanation& mText;
  BigEndianReader mReply;
  std::string_view mRequest;
  const AnswerKind& mKind;
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
  if (reply.size() < kShortestAnswer) {
    text.field(
        0, reply,
        fmt::format("fewer than {} bytes of the answer: it cannot be decoded", kShortestAnswer));
    return std::nullopt;
  }
  const auto payload = PacketWalk(text, reply, *row).payload();
  if (const auto byte7 = row->answer.byte7; byte7 && reply[7] != byte7) {
    text.note(fmt::format("byte 7 is not {:02X}: the reply is refused", *byte7));
  }
  const MoxNPAUtilityCommand decoder;
  const auto length = static_cast<std::uint32_t>(reply.size());
  std::optional<Dictionary> decoded;
  switch (row->kind) {
    case ReplyKind::kInkjetItems:
      text.line("Items, offsets in the joined payload:");
      explainItems(text, payload);
      decoded = decoder.parseCPDQueryResponse(reply, length);
      break;
    case ReplyKind::kSuppliesTable:
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
