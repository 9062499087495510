#pragma once

#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <chrono>
#include <cstddef>
#include <string>

#include "monitoring/Prober.h"
#include "supplies/Outcome.h"

namespace moxsupply {

// What the exporter tells of itself (docs/metrics.md lists it).
class ExporterMetrics {
 public:
  explicit ExporterMetrics(const std::string& version);

  void queryEnded(Outcome outcome, std::chrono::duration<double> duration);
  void listTaken(std::size_t targets);
  void listRefused() { mListValid->Set(0); }

  // All of it as text, with what the prober counts and the system knows of this process now.
  [[nodiscard]] std::string text(const Prober::Counts& counts);

 private:
  prometheus::Registry mRegistry;
  prometheus::Family<prometheus::Counter>* mQueries;
  prometheus::Histogram* mDuration;
  prometheus::Counter* mShared;
  prometheus::Gauge* mTargets;
  prometheus::Gauge* mListValid;
  prometheus::Gauge* mListLoaded;
  prometheus::Gauge* mRunning;
  prometheus::Gauge* mWaiting;
  prometheus::Gauge* mStartTime;
  prometheus::Gauge* mResidentMemory;
  prometheus::Gauge* mOpenDescriptors;
  prometheus::Gauge* mMostDescriptors;
  prometheus::Counter* mProcessorTime;
};

}  // namespace moxsupply
