#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "monitoring/ExporterMetrics.h"
#include "monitoring/Instant.h"
#include "monitoring/Memory.h"
#include "monitoring/PrinterList.h"
#include "monitoring/Prober.h"
#include "monitoring/Site.h"
#include "text/Problem.h"

namespace moxsupply {

// What the exporter knows of its printers and does with it, at whatever time it is told that it is.
// It has no connection, process, thread or timer: whoever holds it has all of these.
class Monitor {
 public:
  using Clock = Prober::Clock;

  struct Settings {
    Prober::Limits limits;
    std::string address;                 // at which it is asked
    std::vector<std::string> hosts{};    // names by which it is asked, besides its own
    std::chrono::days deliveryDays{14};  // that it takes until what was ordered is there
    std::string store{};                 // the file where it remembers readings; empty: it does not
  };

  struct Hooks {
    std::function<void(const Assignment&)> begin;      // a query; its end is told with `ended`
    std::function<void(Prober::Id)> stop;              // at once; its end is not told
    std::function<void(const std::string&)> released;  // nobody need wait for this target longer
    std::function<void(const std::string&)> log;       // a line
    std::function<void()> wakeMemory;                  // these as in Memory::Hooks
    std::function<void(Memory::News)> post;
    std::function<void(std::vector<Notice>)> notices = {};
  };

  // At the start, nobody is asked of whom there may be a reading; but a store that is locked keeps
  // nobody waiting for longer.
  static constexpr std::chrono::seconds kPatienceForStore{5};

  Monitor(const Settings& settings, Hooks hooks, Clock::time_point now);

  // The list, as it was read again, or at first.
  void take(Result<PrinterList> list);

  // As Site.
  [[nodiscard]] HttpServer::Reply answer(const HttpRequest& request, Clock::time_point arrived,
                                         const Instant& now, bool isLast);

  // A query has ended.
  void ended(Prober::Id id, QueryResult result, const Instant& now);

  // Begins the queries that are to begin. To be called after anything else was, and at `nextMove`
  // at the latest.
  void proceed(Clock::time_point now);
  [[nodiscard]] Clock::time_point nextMove() const;

  [[nodiscard]] const Prober& prober() const { return mProber; }

  // Null where nothing is remembered.
  [[nodiscard]] Memory* memory() { return mMemory.get(); }

 private:
  std::unique_ptr<Memory> memoryIn(const std::string& store);
  void restore(const std::vector<Keeper::Last>& lasts, const Instant& now);
  void takeList(PrinterList list);
  void noteEnd(const Prober::Printer& printer, const QueryResult& result);
  void noteDevice(const std::string& queue, const std::string& device);

  Hooks mHooks;
  ExporterMetrics mMetrics;
  std::set<std::string> mSilent;  // targets that failed the last time
  // Targets by identity, no queues; only where there are queues, which may print to them.
  std::map<std::string, std::string, std::less<>> mPrinters;
  std::set<std::string> mNamedTwice;  // queues of which it was said
  Prober mProber;
  std::unique_ptr<Memory> mMemory;
  std::optional<Clock::time_point> mHeldUntil;  // nobody is asked yet
  Site mSite;
};

}  // namespace moxsupply
