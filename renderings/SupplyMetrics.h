#pragma once

#include <prometheus/client_metric.h>
#include <prometheus/metric_family.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "supplies/Outcome.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// What is known of a printer from more than its last reading.
struct RememberedSupplies {
  struct OfSupply {
    std::string part;  // the last that was told; empty: none was
    struct EmptyAt {
      double likely = 0;  // seconds since 1970, as the next
      double earliest = 0;
    };
    std::optional<EmptyAt> emptyAt;
    bool isLow = false;     // this cartridge has been, at least once
    bool isNeeded = false;  // another one has to be ordered now
  };
  std::map<std::uint32_t, OfSupply> supplies;                      // by number, from 1
  std::vector<std::pair<std::string_view, std::uint64_t>> events;  // their words, and how many
};

// What a printer said when it was last read with success.
struct AgedSupplies {
  Supplies supplies;
  std::chrono::duration<double> age{};
  RememberedSupplies remembered = {};
};

// The last attempt to read a printer, which may have failed long after that.
struct LastProbe {
  Outcome outcome = Outcome::kNotAsked;
  std::chrono::duration<double> duration{};
};

using MetricLabels = std::vector<prometheus::ClientMetric::Label>;

// One printer as metrics tell it (docs/metrics.md lists them). Each series is kept for years by
// somebody: what holds nearly always, that a status is correct, is told by there being none.
// `aged`: none when the printer has never been read. `labels` stand first on every series; their
// values, like all text from a printer, are made harmless. A family without a series is left out.
std::vector<prometheus::MetricFamily> supplyMetrics(const std::optional<AgedSupplies>& aged,
                                                    const LastProbe& last,
                                                    const MetricLabels& labels = {});

// Text exposition format 0.0.4. As far as gauges go it is OpenMetrics, too, but for the "# EOF"
// that must end it. Numbers have at most 15 digits.
std::string metricsText(const std::vector<prometheus::MetricFamily>& families);

}  // namespace moxsupply
