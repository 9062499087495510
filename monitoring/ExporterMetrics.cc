#include "monitoring/ExporterMetrics.h"

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <limits>
#include <memory>

#include "renderings/SupplyMetrics.h"

namespace moxsupply {

namespace {

// Seconds: a printer that answers, one that is slow, one whose kind must be found out, the
// deadline.
const prometheus::Histogram::BucketBoundaries kDurations = {0.05, 0.1, 0.25, 0.5, 1, 2.5,
                                                            5,    10,  20,   30,  60};

double nowInSeconds() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Of this process, without its queries.
double processorTime() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

double residentMemory() {
  std::ifstream pages("/proc/self/statm");
  double total = 0;
  double resident = 0;
  if (!(pages >> total >> resident)) return kUnknown;
  return resident * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

// (The standard library's way through a folder ends the program where there is no memory.)
double openDescriptors() {
  const std::unique_ptr<DIR, CloseFolder> folder(::opendir("/proc/self/fd"));
  if (!folder) return kUnknown;
  double count = -3;  // itself, the one that it is in, and its own descriptor
  while (::readdir(folder.get()) != nullptr) ++count;
  return count;
}

double mostDescriptors() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<double>(limit.rlim_cur);
}

}  // namespace

ExporterMetrics::ExporterMetrics(const std::string& version) {
  const auto gauge = [this](const char* name, const char* help) {
    return &prometheus::BuildGauge().Name(name).Help(help).Register(mRegistry).Add({});
  };
  const auto counter = [this](const char* name, const char* help) {
    return &prometheus::BuildCounter().Name(name).Help(help).Register(mRegistry).Add({});
  };
  prometheus::BuildGauge()
      .Name("npa_exporter_build_info")
      .Help("The exporter's version, in its label.")
      .Register(mRegistry)
      .Add({{"version", version}})
      .Set(1);
  mTargets = gauge("npa_exporter_targets", "How many printers are in the list.");
  mListValid = gauge("npa_exporter_list_valid", "Whether the list could be read the last time.");
  mListLoaded = gauge("npa_exporter_list_loaded_timestamp_seconds",
                      "When the list that holds was read, since 1970.");
  mQueries = &prometheus::BuildCounter()
                  .Name("npa_exporter_queries_total")
                  .Help("Queries of printers that have ended, and how.")
                  .Register(mRegistry);
  for (const auto& row : kOutcomes) {
    if (row.outcome != Outcome::kNotAsked) mQueries->Add({{"status", std::string(row.word)}});
  }
  mRunning = gauge("npa_exporter_queries_running", "Queries that run.");
  mWaiting = gauge("npa_exporter_queries_waiting", "Queries that wait for their turn.");
  mDuration = &prometheus::BuildHistogram()
                   .Name("npa_exporter_query_duration_seconds")
                   .Help("How long queries took.")
                   .Register(mRegistry)
                   .Add({}, kDurations);
  mShared = counter("npa_exporter_answers_shared_total",
                    "Probes answered from the query of another, or from the last reading.");
  mStartTime = gauge("process_start_time_seconds", "When this process started, since 1970.");
  mStartTime->Set(nowInSeconds());
  mResidentMemory = gauge("process_resident_memory_bytes", "Memory of this process.");
  mOpenDescriptors = gauge("process_open_fds", "Open descriptors of this process.");
  mMostDescriptors = gauge("process_max_fds", "How many it may have.");
  mProcessorTime = counter("process_cpu_seconds_total",
                           "Processor time of this process, without that of its queries.");
}

void ExporterMetrics::queryEnded(Outcome outcome, std::chrono::duration<double> duration) {
  mQueries->Add({{"status", std::string(wordOf(outcome))}}).Increment();
  mDuration->Observe(duration.count());
}

void ExporterMetrics::listTaken(std::size_t targets) {
  mTargets->Set(static_cast<double>(targets));
  mListValid->Set(1);
  mListLoaded->Set(nowInSeconds());
}

std::string ExporterMetrics::text(const Prober::Counts& counts) {
  mRunning->Set(static_cast<double>(counts.running));
  mWaiting->Set(static_cast<double>(counts.waiting));
  mShared->Increment(static_cast<double>(counts.shared) - mShared->Value());
  mResidentMemory->Set(residentMemory());
  mOpenDescriptors->Set(openDescriptors());
  mMostDescriptors->Set(mostDescriptors());
  mProcessorTime->Increment(processorTime() - mProcessorTime->Value());
  return metricsText(mRegistry.Collect());
}

}  // namespace moxsupply
