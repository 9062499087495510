#include <algorithm>
#include <array>
#include <utility>

#include "npa/Answers.h"
#include "npa/BigEndianReader.h"
#include "npa/Exchange.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "npa/Payload.h"
#include "npa/Requests.h"

using moxsupply::BigEndianReader;
using moxsupply::Dictionary;
using moxsupply::kDeviceAnswer;
using moxsupply::kDeviceQuery;
using moxsupply::Key;
using moxsupply::kSuppliesAnswer;
using moxsupply::kSuppliesQuery;
using moxsupply::Status;

namespace {

// Room for the payloads of an answer's packets, joined.
using PayloadBuffer = std::array<std::uint8_t, moxsupply::kPayloadBufferSize>;

std::uint32_t sizeOf(std::span<const std::uint8_t> payload) noexcept {
  return static_cast<std::uint32_t>(payload.size());
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
  if (const Status status = awaitAnswer(*this, kDeviceAnswer, withTimeout, reply, length);
      status != Status::kSuccess) {
    return status;
  }
  Dictionary device = parsePSSDDeviceResponse(reply, length).value_or(Dictionary());

  // From here on nothing fails the query: the record only fills in what the table lacks.
  const auto query = [&]() -> std::optional<Dictionary> {
    if (mFilterCom.writeData(moxsupply::bytesOf<kSuppliesQuery>(), kSuppliesQuery.size) !=
            Status::kSuccess ||
        awaitAnswer(*this, kSuppliesAnswer, withTimeout, reply, length) != Status::kSuccess) {
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
  const auto answer = moxsupply::answerIn(reply, withLength, kDeviceAnswer);
  if (!answer) return std::nullopt;
  PayloadBuffer buffer{};
  const auto payload = joinedPayload(*answer, kDeviceAnswer, buffer);
  return extractSuppliesResponse(payload, sizeOf(payload)).value_or(Dictionary());
}

std::optional<Dictionary> MoxNPAUtilityCommand::parsePSSDQueryResponse(
    std::span<const std::uint8_t> reply, std::uint32_t withLength) const noexcept {
  const auto answer = moxsupply::answerIn(reply, withLength, kSuppliesAnswer);
  if (!answer) return std::nullopt;
  PayloadBuffer buffer{};
  const auto payload = joinedPayload(*answer, kSuppliesAnswer, buffer);

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
