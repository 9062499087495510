#include "links/Identities.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "links/ReplayedReplies.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

// Longer ones than any that a label on a cartridge has are not believed to be a number.
constexpr std::size_t kLongestNumber = 64;

// An answer repeats three bytes of its request, which are the first of its last packet's body.
bool answersSuppliesQuery(std::span<const std::uint8_t> reply) {
  constexpr std::size_t kEcho = 4;
  constexpr std::size_t kEchoed = 3;
  std::array<std::uint8_t, 27> query{};
  static_cast<void>(MoxNPAUtilityCommand().assemblePSSDquery(query));
  return reply.size() >= kEcho + kEchoed &&
         std::ranges::equal(reply.subspan(kEcho, kEchoed),
                            std::span(query).last(kEcho).first(kEchoed));
}

std::optional<Dictionary> recordIn(const transcript::Session& answers) {
  const auto replies = replayedReplies(answers, answersSuppliesQuery);
  if (replies.empty() || !answersSuppliesQuery(replies.back())) return std::nullopt;
  return MoxNPAUtilityCommand().parsePSSDQueryResponse(
      replies.back(), static_cast<std::uint32_t>(replies.back().size()));
}

// The supply of this number, if it is one of the report's.
Supply* supplyOf(Supplies& supplies, std::int32_t number) {
  const auto index = static_cast<std::size_t>(number) - 1;
  return index < supplies.list.size() ? &supplies.list[index] : nullptr;
}

std::string textOf(const Dictionary& record, const Key& key) {
  const auto* text = record.get<std::string>(key);
  return text == nullptr || showsNothing(*text) ? "" : harmlessLine(*text, kLongestNumber);
}

// As the record has it, an unsigned number. None: the printer did not tell, or told 0.
std::optional<std::uint32_t> capacityOf(const Dictionary& record, const Key& key) {
  const auto* number = record.get<std::int32_t>(key);
  if (number == nullptr || *number == 0) return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

// Pages since the supply went in: those that the printer had made then are the first count.
std::optional<std::uint32_t> printedOf(const Dictionary& record) {
  const auto* first = record.get<std::int32_t>("Page Count First");
  const auto* current = record.get<std::int32_t>("Page Count Current");
  if (first == nullptr || current == nullptr) return std::nullopt;
  const auto from = static_cast<std::uint32_t>(*first);
  const auto to = static_cast<std::uint32_t>(*current);
  if (to < from) return std::nullopt;
  return to - from;
}

// The record of one supply names it; the tables have the supplies under their numbers.
void addFromRecordOfOne(Supplies& supplies, const Dictionary& record, std::int32_t number) {
  Supply* supply = supplyOf(supplies, number);
  if (supply == nullptr) return;
  supply->part = textOf(record, "Toner PartNumber");
  supply->pages = {.printed = printedOf(record), .capacity = capacityOf(record, "Toner Capacity")};
  if (record.number("Supplies Count") == 1) supply->serial = textOf(record, "Serial Number");
}

void addFromTable(Supplies& supplies, const Dictionary& record) {
  std::vector<Supply*> told;
  for (std::size_t i = 0; i < supplies.list.size(); ++i) {
    const auto* entry = record.get<Dictionary>(Key(static_cast<std::int32_t>(i + 1)));
    if (entry == nullptr) continue;
    told.push_back(&supplies.list[i]);
    supplies.list[i].pages.capacity = capacityOf(*entry, "Pages Capacity");
  }
  const bool isOfOne = record.number("Supplies Count") == 1 && told.size() == 1;
  if (isOfOne) told.front()->serial = textOf(record, "Serial Number");
}

}  // namespace

void addIdentities(Supplies& supplies, const transcript::Session& answers) {
  if (supplies.kind != PrinterKind::kLaser || supplies.list.empty()) return;
  const auto record = recordIn(answers);
  if (!record) return;
  if (const auto* number = record->get<std::int32_t>("Supply ID")) {
    addFromRecordOfOne(supplies, *record, *number);
  } else {
    addFromTable(supplies, *record);
  }
}

}  // namespace moxsupply
