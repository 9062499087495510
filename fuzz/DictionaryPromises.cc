#include "fuzz/DictionaryPromises.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <string_view>

#include "fuzz/Target.h"

namespace moxsupply::fuzzing {

namespace {

constexpr std::int32_t kByte = 255;  // the most that one byte holds
constexpr std::int32_t kTwoBytes = 65535;

// The number behind `word` in a key; -1 for a key of another form.
std::int32_t numberedBy(const Key& key, std::string_view word) {
  const std::string text = key.text();
  std::int32_t number = -1;
  if (!text.starts_with(word)) return -1;
  const auto [end, error] = std::from_chars(&text[word.size()], text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : -1;
}

bool stands(std::string_view text, std::span<const std::uint8_t> bytes) {
  const auto isSame = [](std::uint8_t byte, char c) { return static_cast<char>(byte) == c; };
  return std::search(bytes.begin(), bytes.end(), text.begin(), text.end(), isSame) != bytes.end() ||
         text.empty();
}

// A record of type 2 or 3: its head, and under bare numbers the supplies, each of these numbers.
void promiseTable(const Dictionary& record, Sent sent,
                  std::span<const NumberField> fieldsOfSupply) {
  constexpr std::array<NumberField, 3> kHead = {{
      {"Supplies Count", 0, kByte},
      {"Record Length", 0, kByte},
      {"Toner Prediction", 0, kByte},
  }};
  constexpr std::array<Key, 1> kTexts = {"Serial Number"};
  std::size_t supplies = 0;
  for (const Dictionary::Entry& entry : record) {
    const auto* supply = std::get_if<Dictionary>(&entry.value);
    if (supply == nullptr) continue;
    ++supplies;
    const std::int32_t number = numberedBy(entry.key, "");
    promise(number >= 0 && number <= kByte, "a supply stands under its number");
    promise(supply->size() == fieldsOfSupply.size(), "a supply of the record has all its fields");
    promise(countNumbers(*supply, fieldsOfSupply) == supply->size(), "and no others");
  }
  promise(supplies <= static_cast<std::size_t>(record.number("Supplies Count")),
          "a record has no more supplies than it counts");
  promise(
      countNumbers(record, kHead) + countTexts(record, kTexts, sent) + supplies == record.size(),
      "a record has no unknown fields");
}

}  // namespace

std::size_t countNumbers(const Dictionary& dictionary, std::span<const NumberField> numbers) {
  std::size_t count = 0;
  for (const NumberField& field : numbers) {
    const Value* value = dictionary.find(field.key);
    if (value == nullptr) continue;
    const auto* number = std::get_if<std::int32_t>(value);
    promise(number != nullptr, "the field is a number");
    promise(*number >= field.least && *number <= field.most, "the number is in its range");
    ++count;
  }
  return count;
}

std::size_t countTexts(const Dictionary& dictionary, std::span<const Key> texts, Sent sent) {
  std::size_t count = 0;
  for (const Key& key : texts) {
    if (!dictionary.contains(key)) continue;
    const auto* text = dictionary.get<std::string>(key);
    promise(text != nullptr, "the field is a text");
    promise(utf8::is_valid(*text), "the text is UTF-8");
    promise(text->find('\0') == std::string::npos, "the text has no zero byte");
    promise(!sent || stands(*text, *sent), "the text is what the printer sent");
    ++count;
  }
  return count;
}

void promiseSupplies(const Dictionary& supplies, Sent sent) {
  constexpr std::array<NumberField, 1> kCount = {{{"Supplies Count", 1, kTwoBytes}}};
  constexpr std::array<NumberField, 5> kFields = {{
      {"Fixed ID"},
      {"Installed ID"},
      {"Supply Type"},
      {"Max Level"},
      {"Current Level"},
  }};
  constexpr std::array<Key, 1> kTexts = {"Description"};
  promise(countNumbers(supplies, kCount) == 1, "a supplies table has its count");
  const std::int32_t highest = std::min(supplies.number("Supplies Count"), kByte);
  std::size_t found = 1;
  for (const Dictionary::Entry& entry : supplies) {
    const auto* supply = std::get_if<Dictionary>(&entry.value);
    if (supply == nullptr) continue;
    ++found;
    const std::int32_t number = numberedBy(entry.key, "Supply ");
    promise(number >= 0 && number <= highest, "a supply stands under its number");
    promise(countNumbers(*supply, kFields) + countTexts(*supply, kTexts, sent) == supply->size(),
            "a supply has no unknown fields");
  }
  promise(found == supplies.size(), "a supplies table has its count and supplies, nothing else");
  promise(found - 1 <= static_cast<std::size_t>(supplies.number("Supplies Count")),
          "a supplies table has no more supplies than it counts");
}

void promiseKelvoS(const Dictionary& record, Sent sent) {
  constexpr std::array<NumberField, 20> kFields = {{
      {"Supplies Count", 0, kByte},
      {"Record Length", 0, kByte},
      {"Supply Location", 0, kByte},
      {"Toner Prediction", 0, kByte},
      {"Supply ID", 0, kByte},
      {"Page Count First"},
      {"Page Count Current"},
      {"Page Level Current"},
      {"Page Level Previous"},
      {"Kelvo Max Level", 0, kByte},
      {"Levels Count", 0, kByte},
      {"Kelvo Cur Level", 0, kByte},
      {"Current Transition", 0, kByte},
      {"Toner Type", 0, kByte},
      {"Toner Capacity"},
      {"Last Level Light", 0, kTwoBytes},
      {"Last Level Dark", 0, kTwoBytes},
      {"Light Gradiation", 0, kTwoBytes},
      {"Dark Gradiation", 0, kTwoBytes},
      {"Current Vantor", 0, kTwoBytes},
  }};
  constexpr std::array<Key, 2> kTexts = {"Serial Number", "Toner PartNumber"};
  promise(countNumbers(record, kFields) + countTexts(record, kTexts, sent) == record.size(),
          "a record has no unknown fields");
  promise(record.number("Kelvo Max Level") == record.number("Levels Count"),
          "the number of levels is the full level");
  promise(record.number("Kelvo Cur Level") == record.number("Current Transition"),
          "the current transition is the level");
}

void promiseKelvoSC(const Dictionary& record, Sent sent) {
  constexpr std::array<NumberField, 6> kFields = {{
      {"Supply Location", 0, kByte},
      {"Kelvo Max Level"},
      {"Supply Count"},
      {"Kelvo Cur Level"},
      {"Current Supply Count"},
      {"Pages Capacity"},
  }};
  promiseTable(record, sent, kFields);
}

void promiseKelvoColor(const Dictionary& record, Sent sent) {
  constexpr std::array<NumberField, 4> kFields = {{
      {"Kelvo Max Level"},
      {"Max Dot Count"},
      {"Kelvo Cur Level"},
      {"Current Dot Count"},
  }};
  promiseTable(record, sent, kFields);
}

}  // namespace moxsupply::fuzzing
