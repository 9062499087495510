#include "history/Reading.h"

#include <fmt/format.h>

#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <span>
#include <utility>

#include "history/PrinterName.h"
#include "json/AsciiJson.h"
#include "json/JsonDocument.h"
#include "json/JsonMistake.h"
#include "json/JsonPlace.h"
#include "supplies/Words.h"

namespace moxsupply {

namespace {

using nlohmann::json;

constexpr std::array<Word<SupplyStatus>, 5> kStatusWords = {{
    {SupplyStatus::kCorrect, "ok"},
    {SupplyStatus::kEmpty, "empty"},
    {SupplyStatus::kMissing, "missing"},
    {SupplyStatus::kInvalid, "invalid"},
    {SupplyStatus::kIncorrect, "incorrect"},
}};
constexpr std::array<Word<NoLevel>, 2> kNoLevelWords = {{
    {NoLevel::kUnknown, "unknown"},
    {NoLevel::kMissing, "missing"},
}};

constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();

// What one of a few words means. Throws the mistake.
template <typename Meaning, std::size_t size>
Meaning meaningAt(const JsonPlace& place, const std::array<Word<Meaning>, size>& words) {
  if (place.isText()) {
    if (const auto meaning = meaningIn(words, place.text())) return *meaning;
  }
  std::string all;
  for (const auto& word : words) all += fmt::format("{}\"{}\"", all.empty() ? "" : ", ", word.text);
  place.expected("one of " + all);
}

std::string textIfTold(const JsonPlace& object, std::string_view key) {
  const auto place = object.find(key);
  return place ? place->text() : std::string();
}

Level levelOf(const JsonPlace& supply) {
  constexpr std::uint32_t kFull = 100;
  const JsonPlace level = supply.at("level");
  if (level.isNull()) return tl::unexpected(meaningAt(supply.at("why"), kNoLevelWords));
  if (!level.isNumber()) level.expected("a whole number from 0 to 100, or null");
  return static_cast<int>(level.number(0, kFull));
}

Pages pagesOf(const JsonPlace& supply) {
  Pages pages;
  const auto told = supply.find("pages");
  if (!told) return pages;
  if (const auto printed = told->find("printed")) pages.printed = printed->number(0, kMost);
  if (const auto capacity = told->find("capacity")) pages.capacity = capacity->number(0, kMost);
  return pages;
}

ReadSupply supplyFrom(const JsonPlace& place) {
  ReadSupply supply;
  supply.number = place.at("number").number(1, kMost);
  supply.name = place.at("name").text();
  supply.kind = meaningAt(place.at("type"), kSupplyKinds);
  supply.color = meaningAt(place.at("color"), kColors);
  supply.level = levelOf(place);
  supply.status = meaningAt(place.at("status"), kStatusWords);
  supply.part = textIfTold(place, "part");
  supply.serial = textIfTold(place, "serial");
  supply.pages = pagesOf(place);
  return supply;
}

std::vector<ReadSupply> suppliesFrom(const JsonPlace& list) {
  std::vector<ReadSupply> supplies;
  std::set<std::uint32_t> numbers;
  for (const JsonPlace& place : list.elements()) {
    supplies.push_back(supplyFrom(place));
    if (!numbers.insert(supplies.back().number).second) {
      place.at("number").expected("each number once");
    }
  }
  return supplies;
}

// All but its JSON. Throws the mistake.
Reading readingIn(const json& document) {
  const JsonPlace place(document);
  Reading reading;
  reading.time = place.at("time").text();
  const auto moment = momentFrom(reading.time);
  if (!moment) place.at("time").expected(kExpectedMoment);
  reading.moment = *moment;
  const auto printer = printerName(place.at("printer").text());
  // What stands there is not shown: it may have a password in it.
  if (!printer) {
    place.at("printer").complain("expected a device URI, such as socket://192.0.2.7");
  }
  reading.printer = *printer;
  if (const auto labels = place.find("labels")) {
    for (const std::string& name : labels->keys()) {
      reading.labels.emplace(name, labels->at(name).text());
    }
  }
  reading.supplies = suppliesFrom(place.at("supplies"));
  return reading;
}

json jsonOf(const ReadSupply& supply) {
  json members = {{"number", supply.number},
                  {"name", supply.name},
                  {"type", wordOf(supply.kind)},
                  {"color", wordOf(supply.color)},
                  {"level", nullptr},
                  {"status", wordIn(kStatusWords, supply.status)}};
  if (supply.level) {
    members["level"] = *supply.level;
  } else {
    members["why"] = wordIn(kNoLevelWords, supply.level.error());
  }
  if (!supply.part.empty()) members["part"] = supply.part;
  if (!supply.serial.empty()) members["serial"] = supply.serial;
  if (supply.pages.printed) members["pages"]["printed"] = *supply.pages.printed;
  if (supply.pages.capacity) members["pages"]["capacity"] = *supply.pages.capacity;
  return members;
}

template <typename Make>
Result<Reading> unlessMistaken(const Make& make) try {
  return make();
} catch (const JsonSyntaxMistake& mistake) {
  return misuse(fmt::format("column {}: {}", mistake.column(), asOneLine(mistake.what())));
} catch (const JsonMistake& mistake) {
  return misuse(asOneLine(mistake.what()));
}

}  // namespace

std::string_view wordInReading(SupplyStatus status) { return wordIn(kStatusWords, status); }

Result<Reading> readingFrom(std::string_view line) {
  if (line.size() > kLongestReading) {
    return misuse(fmt::format("expected a line of at most {} bytes", kLongestReading));
  }
  return unlessMistaken([&] {
    json document = parseJsonDocument(line);
    Reading reading = readingIn(document);
    document["printer"] = reading.printer;
    reading.json = documentAsJson(document);
    return reading;
  });
}

Result<Reading> readingAgain(std::string json) {
  return unlessMistaken([&] {
    Reading reading = readingIn(parseJsonDocument(json));
    reading.json = std::move(json);
    return reading;
  });
}

std::optional<Reading> readingOf(std::string_view uri, const Supplies& supplies, Moment moment,
                                 const ReadingLabels& labels) {
  auto printer = printerName(uri);
  if (!printer) return std::nullopt;
  Reading reading{moment, momentAsText(moment), *std::move(printer), labels, {}};
  for (const Supply& supply : supplies.list) {
    reading.supplies.push_back({supply, static_cast<std::uint32_t>(reading.supplies.size() + 1)});
  }
  reading.json = asJson(reading);
  return reading;
}

std::string asJson(const Reading& reading) {
  json members = {
      {"time", reading.time}, {"printer", reading.printer}, {"supplies", json::array()}};
  if (!reading.labels.empty()) members["labels"] = reading.labels;
  for (const ReadSupply& supply : reading.supplies) members["supplies"].push_back(jsonOf(supply));
  return asciiJson(members);
}

bool areEqual(const Reading& one, const Reading& other) {
  if (one.moment != other.moment) return false;
  if (one.json == other.json) return true;  // as most are; the rest takes a parser
  json first = parseJsonDocument(one.json);
  first["time"] = other.time;
  return documentAsJson(first) == other.json;
}

}  // namespace moxsupply
