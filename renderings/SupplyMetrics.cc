#include "renderings/SupplyMetrics.h"

#include <fmt/format.h>
#include <prometheus/text_serializer.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <utility>

#include "supplies/Words.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

// Longer text is cut: a label is for telling supplies apart.
constexpr std::size_t kMostLabelBytes = 256;

// What stands for a status in a label.
struct StatusRow {
  SupplyStatus status;
  std::string_view word;
};
constexpr std::array<StatusRow, 4> kStatusLabels = {{
    {SupplyStatus::kEmpty, "empty"},
    {SupplyStatus::kMissing, "missing"},
    {SupplyStatus::kInvalid, "invalid"},
    {SupplyStatus::kIncorrect, "incorrect"},
}};

std::string_view labelOf(SupplyStatus status) {
  return std::ranges::find(kStatusLabels, status, &StatusRow::status)->word;
}

// Gauges, or counters, of one name.
class Family {
 public:
  Family(std::string name, std::string help, const MetricLabels& labels,
         prometheus::MetricType type = prometheus::MetricType::Gauge)
      : mLabels(labels) {
    mFamily.name = std::move(name);
    mFamily.help = std::move(help);
    mFamily.type = type;
  }

  void add(double value, const MetricLabels& labels = {}) {
    prometheus::ClientMetric& metric = mFamily.metric.emplace_back();
    metric.gauge.value = value;
    metric.counter.value = value;
    addLabels(metric, mLabels);
    addLabels(metric, labels);
  }

  void moveTo(std::vector<prometheus::MetricFamily>& families) {
    if (!mFamily.metric.empty()) families.push_back(std::move(mFamily));
  }

 private:
  static void addLabels(prometheus::ClientMetric& metric, const MetricLabels& labels) {
    for (const auto& label : labels) {
      metric.label.push_back({label.name, harmlessLine(label.value, kMostLabelBytes)});
    }
  }

  const MetricLabels& mLabels;
  prometheus::MetricFamily mFamily;
};

prometheus::ClientMetric::Label placeOf(std::uint32_t number) {
  return {"supply", fmt::to_string(number)};
}

void addSupplies(std::vector<prometheus::MetricFamily>& families, const AgedSupplies& aged,
                 const MetricLabels& labels) {
  Family info("npa_supply_info", "What a supply is, in its labels.", labels);
  Family level("npa_supply_level_ratio",
               "How full a supply is, from 0 to 1. There is none where it is not known.", labels);
  Family unknown("npa_supply_level_unknown", "A supply whose level is not known, and why.", labels);
  Family status("npa_supply_status", "A status that the printer gives a supply, unless correct.",
                labels);
  Family printed("npa_supply_pages_printed", "Pages since the supply went in.", labels);

  std::uint32_t number = 0;
  for (const Supply& supply : aged.supplies.list) {
    const auto place = placeOf(++number);
    MetricLabels what = {place,
                         {"name", supply.name},
                         {"type", std::string(wordOf(supply.kind))},
                         {"color", std::string(wordOf(supply.color))}};
    const auto remembered = aged.remembered.supplies.find(number);
    const bool isRemembered = remembered != aged.remembered.supplies.end();
    const std::string& part =
        supply.part.empty() && isRemembered ? remembered->second.part : supply.part;
    if (!part.empty()) what.push_back({"part", part});
    info.add(1, what);
    if (supply.pages.printed) printed.add(*supply.pages.printed, {place});
    if (supply.level) {
      level.add(*supply.level / 100.0, {place});
    } else {
      const bool isMissing = supply.level.error() == NoLevel::kMissing;
      unknown.add(1, {place, {"reason", isMissing ? "missing" : "not_reported"}});
    }
    if (supply.status != SupplyStatus::kCorrect) {
      status.add(1, {place, {"status", std::string(labelOf(supply.status))}});
    }
  }
  for (Family* family : {&info, &level, &unknown, &status, &printed}) family->moveTo(families);
}

void addRemembered(std::vector<prometheus::MetricFamily>& families,
                   const RememberedSupplies& remembered, const MetricLabels& labels) {
  Family emptyAt("npa_supply_empty_timestamp_seconds",
                 "When a supply will be empty, since 1970: likely, and at the earliest.", labels);
  Family low("npa_supply_low", "A cartridge that has been low, until another one is there.",
             labels);
  Family needed("npa_supply_needed", "A supply of which another one has to be ordered now.",
                labels);
  Family events("npa_supply_events_total", "What has happened to the cartridges of a printer.",
                labels, prometheus::MetricType::Counter);
  for (const auto& [number, supply] : remembered.supplies) {
    const auto place = placeOf(number);
    if (supply.emptyAt) {
      emptyAt.add(supply.emptyAt->likely, {place, {"estimate", "likely"}});
      emptyAt.add(supply.emptyAt->earliest, {place, {"estimate", "earliest"}});
    }
    if (supply.isLow) low.add(1, {place});
    if (supply.isNeeded) needed.add(1, {place});
  }
  for (const auto& [event, count] : remembered.events) {
    events.add(static_cast<double>(count), {{"event", std::string(event)}});
  }
  for (Family* family : {&emptyAt, &low, &needed, &events}) family->moveTo(families);
}

void addLastProbe(std::vector<prometheus::MetricFamily>& families, const LastProbe& last,
                  const MetricLabels& labels) {
  Family success("npa_probe_success", "Whether the last attempt to read the printer succeeded.",
                 labels);
  Family duration("npa_probe_duration_seconds", "How long that attempt took.", labels);
  Family status("npa_probe_status", "How that attempt ended, unless with success.", labels);
  success.add(last.outcome == Outcome::kSuccess ? 1 : 0);
  duration.add(last.duration.count());
  if (last.outcome != Outcome::kSuccess) {
    status.add(1, {{"status", std::string(wordOf(last.outcome))}});
  }
  for (Family* family : {&success, &duration, &status}) family->moveTo(families);
}

// The serializer writes 16 digits, which make 0.07000000000000001 of 7 %: another number, that a
// threshold of 0.07 does not meet. With 15, each number of up to 15 digits stays what it is.
std::string withShortValue(const std::string& series) {
  const std::size_t place = series.rfind(' ') + 1;
  const double value = std::strtod(series.c_str() + place, nullptr);
  if (!std::isfinite(value)) return series;
  return fmt::format("{}{:.15g}", std::string_view(series).substr(0, place), value);
}

}  // namespace

std::vector<prometheus::MetricFamily> supplyMetrics(const std::optional<AgedSupplies>& aged,
                                                    const LastProbe& last,
                                                    const MetricLabels& labels) {
  std::vector<prometheus::MetricFamily> families;
  if (aged) {
    addSupplies(families, *aged, labels);
    addRemembered(families, aged->remembered, labels);
    Family age("npa_reading_age_seconds", "How long ago the printer gave the supplies shown.",
               labels);
    age.add(aged->age.count());
    age.moveTo(families);
  }
  addLastProbe(families, last, labels);
  return families;
}

std::string metricsText(const std::vector<prometheus::MetricFamily>& families) {
  std::istringstream lines(prometheus::TextSerializer().Serialize(families));
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    text += line.starts_with('#') ? line : withShortValue(line);
    text += '\n';
  }
  return text;
}

}  // namespace moxsupply
