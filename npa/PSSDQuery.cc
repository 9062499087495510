#include <algorithm>
#include <array>
#include <utility>

#include "npa/Answers.h"
#include "npa/BigEndianReader.h"
#include "npa/Exchange.h"
#include "npa/Merging.h"
#include "npa/ModelRecords.h"
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
using moxsupply::RecordType;
using moxsupply::Status;

namespace {

// Room for the payloads of an answer's packets, joined.
using PayloadBuffer = std::array<std::uint8_t, moxsupply::kPayloadBufferSize>;

std::uint32_t sizeOf(std::span<const std::uint8_t> payload) noexcept {
  return static_cast<std::uint32_t>(payload.size());
}

// Gives a supply the levels of a model-family record, where the supplies table lacks them.
void fillLevels(std::int32_t number, const Dictionary& record, Dictionary& supplies) {
  const Key key = {"Supply", number};
  if (moxsupply::hasLevels(supplies.get<Dictionary>(key))) return;
  const Dictionary* levels = moxsupply::levelsOf(number, record);
  if (levels == nullptr) return;
  if (!supplies.contains(key)) supplies.set(key, Dictionary());
  auto& supply = *supplies.get<Dictionary>(key);
  supply.set("Max Level", levels->number(moxsupply::kMaxLevelOfRecord));
  supply.set("Current Level", levels->number(moxsupply::kCurrentLevelOfRecord));
}

void mergeLevels(const Dictionary& record, Dictionary& supplies) {
  if (moxsupply::isOfOneSupply(record)) {
    return fillLevels(record.number("Supply ID"), record, supplies);
  }
  const auto count = static_cast<std::uint16_t>(supplies.number("Supplies Count"));
  for (std::int32_t i = 1; i <= count; ++i) fillLevels(i, record, supplies);
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

  const BigEndianReader record(payload);
  const std::size_t serialNumberLength = record.u8(0).value_or(0);
  const auto type = record.u8(serialNumberLength + moxsupply::kRecordType.offset).value_or(0);
  switch (static_cast<RecordType>(type)) {
    case RecordType::kSingleSupply:
      return parseKelvoS(payload, sizeOf(payload)).value_or(Dictionary());
    case RecordType::kPageCounts:
      return parseKelvoSC(payload, sizeOf(payload)).value_or(Dictionary());
    case RecordType::kDotCounts:
      return parseKelvoColor(payload, sizeOf(payload)).value_or(Dictionary());
  }
  return std::nullopt;
}
