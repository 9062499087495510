#include <utf8.h>

#include <algorithm>
#include <limits>

#include "fuzz/Query.h"

namespace moxsupply::fuzzing {

namespace {

void promiseSupply(const Dictionary& supply) {
  constexpr auto kTypes = std::to_array<std::string_view>({"toner", "fuser", "ink", "other"});
  constexpr auto kColors = std::to_array<std::string_view>({"Cyan", "Magenta", "Yellow", "Black"});
  constexpr auto kStatuses = std::to_array<std::string_view>({"Correct"});
  promise(supply.size() == 5, "a supply has five fields");
  promise(isOneOf(supply, "SupplyType", kTypes), "its type is one of four");
  promise(isOneOf(supply, "SupplyColor", kColors), "its colour is one of four");
  promise(isOneOf(supply, "SupplyStatus", kStatuses), "its status is always the same");
  const auto* name = supply.get<std::string>("SupplyName");
  promise(name != nullptr && utf8::is_valid(*name), "its name is UTF-8");
  const auto* level = supply.get<std::int32_t>("SupplyPercentage");
  promise(level != nullptr, "its level is a number");
  promise(*level >= 0 || *level == std::numeric_limits<std::int32_t>::min(),
          "which is below 0 only where there is no full level");
}

void promiseReport(const Query& query) {
  const Dictionary& report = query.report;
  promise(*report.get<std::string>("PrintHeadType") == "LaserSupplies", "a laser says that it is");
  const auto* count = report.get<std::int32_t>("SupplyCount");
  promise(count == nullptr ? query.status == Status::kUndecodable : *count >= 1 && *count <= 65535,
          "a printer that counts its supplies has some");
  std::int32_t records = 0;
  while (const auto* supply = report.get<Dictionary>({"Supply", records + 1})) {
    promiseSupply(*supply);
    ++records;
  }
  const std::int32_t expected = count == nullptr ? 0 : *count & 0xFF;
  promise(query.status == Status::kSuccess ? records == expected : records < std::max(expected, 1),
          "all supplies are there, or the status says that they are not");
  const std::size_t others = count == nullptr ? 1 : 2;
  promise(report.size() == others + static_cast<std::size_t>(records), "and nothing else");
}

}  // namespace

// Any laser printer.
void tryInput(std::span<const std::uint8_t> input) {
  const Query query("Laser", "usb", input);
  const std::string forTable = textOf(kDeviceQuery);
  const std::string forRecord = textOf(kSuppliesQuery);
  switch (query.status) {
    case Status::kWriteError:
      promise(query.written.empty() && query.readsInVain == 0, "an unasked printer is not awaited");
      [[fallthrough]];
    case Status::kReadError:
    case Status::kNothingReceived:
      promise(query.report.empty(), "a query that failed reports nothing");
      promise(query.readsInVain <= 4, "four replies are awaited at most");
      promise(query.status == Status::kWriteError || query.written == forTable,
              "the printer was asked once");
      break;
    case Status::kSuccess:
    case Status::kUndecodable:
      promise(query.written == forTable + forRecord || query.written == forTable,
              "the printer was asked for its table, then for its record");
      promiseReport(query);
      break;
    default:
      promise(false, "there is no such status");
  }
  const Query again("Laser", "socket", input);
  promise(again.status == query.status && again.report == query.report,
          "the same bytes give the same report");
}

}  // namespace moxsupply::fuzzing
