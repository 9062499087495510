#include <algorithm>
#include <array>
#include <utility>

#include "npa/Answers.h"
#include "npa/BigEndianReader.h"
#include "npa/Exchange.h"
#include "npa/InkjetItems.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "npa/Payload.h"
#include "npa/Requests.h"

using moxsupply::BigEndianReader;
using moxsupply::Bytes;
using moxsupply::Dictionary;
using moxsupply::InkjetItem;
using moxsupply::Key;
using moxsupply::kInkjetAnswer;
using moxsupply::kInkjetQuery;
using moxsupply::Status;

namespace {

constexpr std::size_t kLongestAnswer = 65'535;

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
  if (const Status status = awaitAnswer(*this, kInkjetAnswer, withTimeout, reply, length);
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
  const auto answer = moxsupply::answerIn(reply, withLength, kInkjetAnswer);
  if (!answer || answer->size() > kLongestAnswer) return std::nullopt;
  Bytes buffer(answer->size());
  const auto payload = joinedPayload(*answer, kInkjetAnswer, buffer);
  const BigEndianReader data(payload);
  // The count of items tells whether there are any; the walk goes by their lengths.
  if (data.u16(0).value_or(0) == 0) return std::nullopt;

  Dictionary items;
  std::size_t offset = moxsupply::kFirstItem;
  while (const auto item = InkjetItem::read(data, offset)) {
    if (const char* key = item->key(); key != nullptr) {
      items.set(Key::fromTable(key), Bytes(item->value.begin(), item->value.end()));
    }
    offset += item->size();
  }
  return items;
} catch (...) {
  return std::nullopt;
}
