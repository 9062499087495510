#include <algorithm>

#include "fuzz/Query.h"

namespace moxsupply::fuzzing {

namespace {

constexpr auto kHeads = std::to_array<std::string_view>({"Quarry", "Meadow", "Lantern"});

void promiseSupply(const Dictionary& supply, bool hasLevels) {
  constexpr auto kColors =
      std::to_array<std::string_view>({"Cyan", "Magenta", "Yellow", "Black", "Color", "Photo"});
  constexpr auto kStatuses =
      std::to_array<std::string_view>({"Correct", "Empty", "Missing", "Invalid", "Incorrect"});
  promise(isOneOf(supply, "SupplyStatus", kStatuses), "its status is one of five");
  if (supply.size() == 1) {
    promise(!hasLevels, "only a head that counts dots has cartridges without a role");
    return;
  }
  promise(supply.size() == 5, "a supply has five fields, or its status alone");
  promise(*supply.get<std::string>("SupplyType") == "ink", "it is ink");
  promise(isOneOf(supply, "SupplyColor", kColors), "its colour is one of six");
  promise(supply.get<std::string>("SupplyName") != nullptr, "it has a name");
  const auto* level = supply.get<std::int32_t>("SupplyPercentage");
  promise(level != nullptr && *level >= 0 && *level <= (hasLevels ? 255 : 100),
          "its level is 0 to 100, or the byte that the printer sent");
  if (*supply.get<std::string>("SupplyStatus") == "Empty") {
    promise(hasLevels && *level == 0, "an empty cartridge is at 0");
  }
}

void promiseReport(const Query& query) {
  const Dictionary& report = query.report;
  const bool knowsHead = report.contains("PrintHeadType");
  promise(!knowsHead || isOneOf(report, "PrintHeadType", kHeads), "the head is one of three");
  const auto* count = report.get<std::int32_t>("SupplyCount");
  promise(count != nullptr && *count >= 0 && *count <= 4, "there are at most four cartridges");
  promise(knowsHead || *count == 0, "an unknown head has no cartridges");
  const bool hasLevels = knowsHead && *report.get<std::string>("PrintHeadType") == "Lantern";
  for (std::int32_t i = 1; i <= *count; ++i) {
    const auto* supply = report.get<Dictionary>({"Supply", i});
    promise(supply != nullptr, "as many supplies are there as are counted");
    promiseSupply(*supply, hasLevels);
  }
  const std::size_t others = knowsHead ? 2 : 1;
  promise(report.size() == others + static_cast<std::size_t>(*count), "and nothing else");
}

}  // namespace

// Any inkjet printer on the network.
void tryInput(std::span<const std::uint8_t> input) {
  const Query query("Inkjet", "socket", input);
  const std::string loopBack = textOf(kLoopBack);
  const std::string forItems = textOf(kInkjetQuery);
  promise(query.readsInVain <= 4, "four replies are awaited at most");
  switch (query.status) {
    case Status::kWriteError:
      promise(query.written.empty() || query.written == loopBack, "a request was refused");
      promise(query.readsInVain == 0, "an unasked printer is not awaited");
      promise(query.report.empty(), "a query that failed reports nothing");
      break;
    case Status::kReadError:
    case Status::kNothingReceived:
      promise(query.report.empty(), "a query that failed reports nothing");
      promise(query.written == loopBack + forItems, "the printer was asked once");
      break;
    case Status::kUndecodable:
      promise(query.written == loopBack + forItems, "the printer was asked once");
      if (query.report.empty()) break;  // no items, or no first cartridge among them
      promise(query.report.number("SupplyCount") == 0, "a head that nobody knows has no levels");
      promiseReport(query);
      break;
    case Status::kSuccess:
      promise(query.written == loopBack + forItems, "the printer was asked once");
      promiseReport(query);
      break;
    default:
      promise(false, "there is no such status");
  }
  const Query again("Inkjet", "socket", input);
  promise(again.status == query.status && again.report == query.report,
          "the same bytes give the same report");
}

}  // namespace moxsupply::fuzzing
