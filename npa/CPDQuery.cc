#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "npa/BigEndianReader.h"
#include "npa/CPDTriplet.h"
#include "npa/Exchange.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "npa/Packet.h"
#include "npa/Requests.h"

using moxsupply::BigEndianReader;
using moxsupply::BufferBetweenAttempts;
using moxsupply::Bytes;
using moxsupply::Dictionary;
using moxsupply::Key;
using moxsupply::kInkjetQuery;
using moxsupply::PacketHead;
using moxsupply::Status;

namespace {

constexpr std::size_t kShortestReply = 8;
constexpr std::size_t kLongestReply = 65'535;

// Flags of a last packet whose items count; a last packet with other flags brings none.
constexpr std::uint8_t kFlagsOfLastPacket = 0x50;

constexpr moxsupply::Echo kEcho = {0xE0, 0x81, 0x00};

// Also the byte after the echo, which awaiting the answer does not look at.
bool hasHeadOfQuery(const BigEndianReader& reply) noexcept {
  const auto query = moxsupply::bytesOf<kInkjetQuery>();
  const auto body = reply.bytesAsFarAsTheyGo(4, 4);
  return reply.u8(0) == query.front() && std::ranges::equal(body, query.subspan<4, 4>());
}

// The item data of all packets, joined. What is cut off or contradicts itself ends it.
Bytes itemData(const BigEndianReader& reply, std::size_t replySize) {
  Bytes gathered;
  gathered.reserve(replySize);
  for (std::size_t position = 0; reply.u8(position) == moxsupply::kPacketStart;) {
    // Start byte, length and flags, then the first four bytes of the query in the first packet,
    // one byte in a later one. `length` counts the flags and those.
    const std::size_t headSize = position == 0 ? 8 : 5;
    const auto head = PacketHead::read(reply, position);
    if (!reply.bytes(position, headSize) || head->size() < headSize) break;
    if (!head->moreFollow() && head->flags != kFlagsOfLastPacket) break;

    const auto data = reply.bytesAsFarAsTheyGo(position + headSize, head->size() - headSize);
    gathered.insert(gathered.end(), data.begin(), data.end());
    if (!head->moreFollow()) break;
    position += head->size();
  }
  return gathered;
}

// The name under which an item is kept, or null for an item that is not.
const char* keyOfItem(std::uint16_t itemId) noexcept {
  const auto* row =
      std::ranges::find_if(CPDTriplet, [&](const moxsupply::CPDTripletRow& candidate) {
        return candidate.key == nullptr || static_cast<std::uint16_t>(candidate.itemId) == itemId;
      });
  return row->key;
}

}  // namespace

Status MoxNPAUtilityCommand::assembleCPDquery(
    std::span<std::uint8_t, kInkjetQuery.size> query) const noexcept {
  std::ranges::copy(moxsupply::bytesOf<kInkjetQuery>(), query.begin());
  return Status::kSuccess;
}

Status MoxNPAUtilityCommand::cpdQueryAll(Dictionary& items,
                                         std::uint32_t withTimeout) const noexcept {
  std::array<std::uint8_t, kInkjetQuery.size> query{};
  static_cast<void>(assembleCPDquery(query));
  if (const Status status = mFilterCom.writeData(query, query.size()); status != Status::kSuccess) {
    return status;
  }

  std::array<std::uint8_t, moxsupply::kReplyBufferSize> reply{};
  std::uint32_t length = 0;
  if (const Status status =
          awaitAnswer(*this, kEcho, withTimeout, BufferBetweenAttempts::kKept, reply, length);
      status != Status::kSuccess) {
    return status;
  }
  auto decoded = parseCPDQueryResponse(reply, length);
  if (!decoded) return Status::kUndecodable;
  items = *std::move(decoded);
  return Status::kSuccess;
}

std::optional<Dictionary> MoxNPAUtilityCommand::parseCPDQueryResponse(
    std::span<const std::uint8_t> reply, std::uint32_t withLength) const noexcept try {
  const std::size_t replySize = std::min<std::size_t>(withLength, reply.size());
  const BigEndianReader packets(BigEndianReader(reply).bytesAsFarAsTheyGo(0, replySize));
  if (replySize < kShortestReply || replySize > kLongestReply) return std::nullopt;
  if (!hasHeadOfQuery(packets)) return std::nullopt;

  const Bytes gathered = itemData(packets, replySize);
  const BigEndianReader data(gathered);
  // The count of items tells whether there are any; the walk goes by their lengths.
  if (data.u16(0).value_or(0) == 0) return std::nullopt;

  Dictionary items;
  for (std::size_t offset = 2; offset < gathered.size();) {
    const auto itemId = data.u16(offset);
    const auto length = data.u8(offset + 2);
    if (!itemId || !length) break;
    const auto value = data.bytes(offset + 3, *length);
    if (!value) break;
    if (const char* key = keyOfItem(*itemId); key != nullptr) {
      items.set(Key::fromTable(key), Bytes(value->begin(), value->end()));
    }
    offset += *length + std::size_t{3};
  }
  return items;
} catch (...) {
  return std::nullopt;
}
