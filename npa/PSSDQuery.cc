#include <algorithm>
#include <array>
#include <utility>

#include "npa/BigEndianReader.h"
#include "npa/BoundedWriter.h"
#include "npa/Exchange.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "npa/Packet.h"
#include "npa/Requests.h"

using moxsupply::BigEndianReader;
using moxsupply::BoundedWriter;
using moxsupply::BufferBetweenAttempts;
using moxsupply::Dictionary;
using moxsupply::kDeviceQuery;
using moxsupply::Key;
using moxsupply::kSuppliesQuery;
using moxsupply::PacketHead;
using moxsupply::Status;

namespace {

constexpr std::size_t kPayloadBufferSize = 4096;
constexpr std::size_t kShortestReply = 8;

struct ReplyKind {
  moxsupply::Echo echo;
  std::size_t headSize;      // of the first packet: its payload begins here
  std::size_t positionWrap;  // further packets are read at their positions modulo this
};

constexpr ReplyKind kDeviceReply = {{0xE0, 0x21, 0x01}, 8, 65'536};

// A further packet at position 256 or beyond is read at its position modulo 256: the decoder of
// this reply keeps the position in 8 bits, and that is part of what it returns.
constexpr ReplyKind kQueryReply = {{0xE0, 0x07, 0x02}, 7, 256};

// Room for the payloads of a reply's packets, joined.
using PayloadBuffer = std::array<std::uint8_t, kPayloadBufferSize>;

// Adds the payload of the packet at `position`, which begins `headSize` bytes into it. Returns
// whether the packet's head and payload were whole and found room.
bool gatherPacket(const BigEndianReader& reply, std::size_t position, std::size_t headSize,
                  std::uint32_t packetSize, BoundedWriter& payload) noexcept {
  if (packetSize < headSize) return false;  // too short for its own head
  const std::size_t size = packetSize - headSize;
  const auto data = reply.bytesAsFarAsTheyGo(position + headSize, size);
  return payload.append(data) && data.size() == size;
}

// Gathers the payload of a reply whose head was found right into `buffer` and returns it. What was
// gathered before the reply breaks off or contradicts itself stands.
std::span<std::uint8_t> gatherPayload(std::span<const std::uint8_t> bytes, const ReplyKind& kind,
                                      PayloadBuffer& buffer) noexcept {
  constexpr std::size_t kLaterHeadSize = 5;
  BoundedWriter payload(buffer);
  const BigEndianReader reply(bytes);
  auto head = PacketHead::read(reply, 0);
  std::size_t position = 0;
  bool whole = gatherPacket(reply, position, kind.headSize, head->size(), payload);
  while (whole && head->moreFollow() && bytes.size() > payload.size()) {
    position += head->size();
    const std::size_t wrapped = position % kind.positionWrap;
    if (!reply.bytes(wrapped, kLaterHeadSize)) break;
    head = PacketHead::read(reply, wrapped);
    whole = gatherPacket(reply, wrapped, kLaterHeadSize, head->size(), payload);
  }
  return payload.written();
}

std::uint32_t sizeOf(std::span<const std::uint8_t> payload) noexcept {
  return static_cast<std::uint32_t>(payload.size());
}

// The reply without what lies past `length`; nothing when it is refused.
std::optional<std::span<const std::uint8_t>> replyOfKind(std::span<const std::uint8_t> reply,
                                                         std::uint32_t length,
                                                         const ReplyKind& kind) noexcept {
  const auto bytes = BigEndianReader(reply).bytesAsFarAsTheyGo(0, length);
  if (bytes.size() < kShortestReply || !moxsupply::answers(bytes, kind.echo)) return std::nullopt;
  return bytes;
}

// Gives `supply` the levels of a model-family record; both or neither.
void takeLevels(const Dictionary& kelvo, Dictionary& device, const Key& supply) {
  const auto* maxLevel = kelvo.get<std::int32_t>("Kelvo Max Level");
  const auto* currentLevel = kelvo.get<std::int32_t>("Kelvo Cur Level");
  if (maxLevel == nullptr || currentLevel == nullptr) return;
  if (!device.contains(supply)) device.set(supply, Dictionary());
  auto& record = *device.get<Dictionary>(supply);
  record.set("Max Level", *maxLevel);
  record.set("Current Level", *currentLevel);
}

bool hasLevels(const Dictionary& device, const Key& supply) {
  const auto* record = device.get<Dictionary>(supply);
  return record != nullptr && record->contains("Max Level") && record->contains("Current Level");
}

// Fills the levels that the supplies table lacks from a model-family record.
void mergeLevels(const Dictionary& query, Dictionary& device) {
  if (query.number("Toner Prediction") == 1) {
    const Key supply = {"Supply", query.number("Supply ID")};
    if (!hasLevels(device, supply)) takeLevels(query, device, supply);
    return;
  }
  const auto count = static_cast<std::uint16_t>(device.number("Supplies Count"));
  for (std::int32_t i = 1; i <= count; ++i) {
    const Key supply = {"Supply", i};
    if (hasLevels(device, supply)) continue;
    if (const auto* kelvo = query.get<Dictionary>(Key(i)); kelvo != nullptr) {
      takeLevels(*kelvo, device, supply);
    }
  }
}

}  // namespace

Status MoxNPAUtilityCommand::assemblePSSDquery(
    std::span<std::uint8_t, kSuppliesQuery.size> query) const noexcept {
  std::ranges::copy(moxsupply::bytesOf<kSuppliesQuery>(), query.begin());
  return Status::kSuccess;
}

Status MoxNPAUtilityCommand::pssdQueryAll(Dictionary& supplies,
                                          std::uint32_t withTimeout) const noexcept try {
  std::array<std::uint8_t, moxsupply::kReplyBufferSize> reply{};
  std::uint32_t length = 0;

  if (const Status status =
          mFilterCom.writeData(moxsupply::bytesOf<kDeviceQuery>(), kDeviceQuery.size);
      status != Status::kSuccess) {
    return status;
  }
  if (const Status status = awaitAnswer(*this, kDeviceReply.echo, withTimeout,
                                        BufferBetweenAttempts::kKept, reply, length);
      status != Status::kSuccess) {
    return status;
  }
  Dictionary device = parsePSSDDeviceResponse(reply, length).value_or(Dictionary());

  // From here on nothing fails the query: the record only fills in what the table lacks.
  const auto query = [&]() -> std::optional<Dictionary> {
    if (mFilterCom.writeData(moxsupply::bytesOf<kSuppliesQuery>(), kSuppliesQuery.size) !=
            Status::kSuccess ||
        awaitAnswer(*this, kQueryReply.echo, withTimeout, BufferBetweenAttempts::kCleared, reply,
                    length) != Status::kSuccess) {
      return std::nullopt;
    }
    return parsePSSDQueryResponse(reply, length);
  }();
  if (query) mergeLevels(*query, device);

  supplies = std::move(device);
  return Status::kSuccess;
} catch (...) {
  return Status::kUndecodable;
}

std::optional<Dictionary> MoxNPAUtilityCommand::parsePSSDDeviceResponse(
    std::span<const std::uint8_t> reply, std::uint32_t withLength) const noexcept {
  const auto bytes = replyOfKind(reply, withLength, kDeviceReply);
  if (!bytes || BigEndianReader(*bytes).u8(7) != 0x00) return std::nullopt;
  PayloadBuffer buffer{};
  const auto payload = gatherPayload(*bytes, kDeviceReply, buffer);
  return extractSuppliesResponse(payload, sizeOf(payload)).value_or(Dictionary());
}

std::optional<Dictionary> MoxNPAUtilityCommand::parsePSSDQueryResponse(
    std::span<const std::uint8_t> reply, std::uint32_t withLength) const noexcept {
  const auto bytes = replyOfKind(reply, withLength, kQueryReply);
  if (!bytes) return std::nullopt;
  PayloadBuffer buffer{};
  const auto payload = gatherPayload(*bytes, kQueryReply, buffer);

  // The record begins with the length of a serial number; its type stands 4 bytes past that.
  const BigEndianReader record(payload);
  const std::size_t serialNumberLength = record.u8(0).value_or(0);
  switch (record.u8(serialNumberLength + 4).value_or(0)) {
    case 1:
      return parseKelvoS(payload, sizeOf(payload)).value_or(Dictionary());
    case 2:
      return parseKelvoSC(payload, sizeOf(payload)).value_or(Dictionary());
    case 3:
      return parseKelvoColor(payload, sizeOf(payload)).value_or(Dictionary());
    default:
      return std::nullopt;
  }
}
