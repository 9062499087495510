// A whole query over a socketpair, beside its floor: the same writes and the same reads, nothing
// decoded.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "bench/RecordedCalls.h"
#include "bench/Samples.h"
#include "bench/ScriptedPrinter.h"
#include "front/MoxFilter.h"
#include "tests/support/Allocations.h"
#include "tests/support/LaserRecords.h"
#include "tests/support/Requests.h"

namespace moxsupply::bench {
namespace {

constexpr std::uint32_t kTimeout = 8;
constexpr std::size_t kSupplies = 8;

struct Scene {
  const char* printerType;
  std::vector<Exchange> script;
};

Scene laser() {
  return {
      "Laser",
      {{testing::kDeviceQuery.size(), testing::deviceReply(suppliesTableWithoutLevels(kSupplies))},
       {testing::kSuppliesQuery.size(), testing::queryReply(dotCounts(kSupplies))}}};
}

Scene inkjet() {
  return {"Inkjet",
          {{testing::kLoopBack.size(), {}}, {testing::kInkjetQuery.size(), inkjetItems()}}};
}

// Asks, and lets the report go again.
void query(const Scene& scene) {
  const auto filter = MoxFilter::initWithPrinterType(scene.printerType, "socket", kTimeout);
  Dictionary report;
  if (filter->inkStatusQuery(&report) != Status::kSuccess || report.size() < 4) std::abort();
}

void countAllocations(benchmark::State& state, const Scene& scene) {
  const testing::Allocations one = testing::countAllocations([&] { query(scene); });
  state.counters["allocations"] = static_cast<double>(one.made);
  state.counters["bytes allocated"] = static_cast<double>(one.bytes);
}

// The printer answers when it is asked, so that most of the time is waiting, with and without the
// module.

void wholeQuery(benchmark::State& state, const Scene& scene) {
  const ScriptedPrinter printer(scene.script);
  for (auto _ : state) query(scene);
  countAllocations(state, scene);
}

void sameCalls(benchmark::State& state, const Scene& scene) {
  const ScriptedPrinter printer(scene.script);
  const std::vector<Call> calls = recordCalls([&] { query(scene); });
  for (auto _ : state) repeatCalls(calls);
}

// The printer has answered beforehand: what is left are the calls, and the module's own work.

constexpr benchmark::IterationCount kAtOnce = 64;

template <typename Action>
void withoutWaiting(benchmark::State& state, PreparedPrinter& printer, Action action) {
  while (state.KeepRunningBatch(kAtOnce)) {
    state.PauseTiming();
    printer.answer(kAtOnce);
    state.ResumeTiming();
    for (benchmark::IterationCount i = 0; i < kAtOnce; ++i) action();
  }
}

void queryWithoutWaiting(benchmark::State& state, const Scene& scene) {
  PreparedPrinter printer(scene.script);
  withoutWaiting(state, printer, [&] { query(scene); });
}

void sameCallsWithoutWaiting(benchmark::State& state, const Scene& scene) {
  PreparedPrinter printer(scene.script);
  printer.answer(1);
  const std::vector<Call> calls = recordCalls([&] { query(scene); });
  withoutWaiting(state, printer, [&] { repeatCalls(calls); });
}

template <typename Function>
void add(const std::string& name, Function function, const Scene& scene) {
  benchmark::RegisterBenchmark(name.c_str(), function, scene)->UseRealTime();
}

void addAll(const std::string& kind, const Scene& scene) {
  add("wholeQuery/" + kind, wholeQuery, scene);
  add("sameCalls/" + kind, sameCalls, scene);
  add("queryWithoutWaiting/" + kind, queryWithoutWaiting, scene);
  add("sameCallsWithoutWaiting/" + kind, sameCallsWithoutWaiting, scene);
}

const bool kRegistered = [] {
  addAll("laser", laser());
  addAll("inkjet", inkjet());
  return true;
}();

}  // namespace
}  // namespace moxsupply::bench
