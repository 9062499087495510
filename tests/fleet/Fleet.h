#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "monitoring/Monitor.h"
#include "monitoring/Telling.h"
#include "tests/fleet/Figures.h"
#include "tests/fleet/Ledger.h"
#include "tests/fleet/OfficePrinter.h"
#include "tests/fleet/StoreLock.h"
#include "tests/fleet/VirtualTime.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {

struct FleetSettings {
  std::uint64_t seed = 1;
  std::size_t printers = 50;
  int days = 2;

  // Whether every scrape is answered; otherwise those by which a printer may be asked, and one of
  // thirty of the others, which change nothing.
  bool answersEveryScrape = true;

  // Whether the exporter is restarted and killed, its list read again, its clock set, its store
  // locked and its command failing.
  bool hasTroubles = true;
};

// The exporter without its sockets, processes and threads, and the printers that it asks, on
// virtual time. What goes wrong is a failure of the test that runs it, with the seed and the time.
class Fleet {
 public:
  explicit Fleet(const FleetSettings& settings);
  ~Fleet();
  Fleet(const Fleet&) = delete;
  Fleet& operator=(const Fleet&) = delete;
  Fleet(Fleet&&) = delete;
  Fleet& operator=(Fleet&&) = delete;

  void run();

  [[nodiscard]] const Figures& figures() const { return mFigures; }

 private:
  using Time = VirtualTime::Time;

  static constexpr Prober::Limits kLimits = {};  // as they are shipped
  static constexpr std::chrono::hours kDigestEvery{24};
  static constexpr std::chrono::hours kDay{24};
  static constexpr std::size_t kMostFailures = 20;

  struct Running {  // a query
    std::uint64_t number;
    std::size_t printer;
  };

  // What the fleet knows of a printer.
  struct Known {
    bool isListed = true;
    std::string place;
    bool hasType = false;             // in the list
    std::optional<Time> cameBack;     // into the list
    std::optional<Prober::Id> query;  // that runs
    bool wasStopped = false;          // its last query was, to begin again
    bool isWanted = false;            // on purpose
    std::optional<Time> answered;     // when its last query that succeeded began
    bool maySurprise = false;         // nobody can know any more when it answered
    std::uint32_t failures = 0;       // since then, in this life of the exporter
    std::optional<Time> failed;       // the end of the last of them
    std::optional<Time> lastPatient;  // when it began
    std::optional<Time> begun;        // the last query
    std::optional<Time> patientNow;   // of the one that runs
    std::optional<Supplies> told;     // at its last answer
    std::optional<Time> toldAt;       // when the printer told them
    bool isForgotten = false;         // its type in the list has changed
    bool isAgeUnsure = false;         // the clock was set, and the exporter restarted
    bool isSilent = false;            // it did not answer the last time
    std::optional<Time> silenceChanged;
    bool isToldSilent = false;  // somebody was told
    std::size_t scrapes = 0;
    std::size_t connections = 0;
  };

  struct Told {  // an event
    std::string printer;
    std::uint32_t supply;
    Event event;
    Moment moment;
  };

  struct Wait {  // of a scrape
    std::uint64_t number;
    Time arrived;
  };

  // ---- The exporter.
  void start();
  void stop(bool isKilled);
  [[nodiscard]] Monitor::Hooks hooks();
  void settle();
  void runUntil(Time end);
  void proceedMemory();

  // ---- Its queries.
  void begin(const Assignment& query);
  void end(Prober::Id id, std::uint64_t number, const OfficePrinter::Answer& answer);
  void end(Prober::Id id);

  // ---- Its clients.
  void scrape(std::size_t i);
  void probe(std::size_t i, Time arrived, bool isLast);
  void askNow(std::size_t i);
  [[nodiscard]] std::string get(const std::string& path);
  void released(const std::string& target);

  // ---- Its command.
  void tell(const std::vector<Notice>& notices);
  void take(const std::string& digest);

  // ---- What happens.
  void planDay(bool hasTroubles);
  void passHour();
  void restart(bool isKilled);
  void readListAgain(bool isWhole);
  [[nodiscard]] PrinterList list() const;
  void lockStore(std::chrono::minutes time);
  void setClockWrong(std::chrono::nanoseconds by);

  // ---- What is looked at (FleetChecks).
  void checkBeginning(std::size_t i, const Assignment& query);
  void takeLevels(std::size_t i, const std::string& metrics);
  void takeEvent(const Told& told);
  [[nodiscard]] static std::chrono::milliseconds intervalOf(const OfficePrinter& printer);
  void lookAtDay(int day);
  void compareStore();
  void compareAfterStart(bool isKilled);
  void lookAtEvents();
  [[nodiscard]] bool hadTroubleSince(Time since) const;
  void fail(const std::string& what);

  FleetSettings mSettings;
  Random mRandom;
  TemporaryFolder mFolder;
  std::string mStore;
  VirtualTime mTime;
  std::vector<OfficePrinter> mPrinters;
  std::vector<Known> mKnown;
  std::map<std::string, std::size_t, std::less<>> mByTarget;
  Ledger mLedger;
  Figures mFigures;

  std::unique_ptr<Monitor> mMonitor;
  std::unique_ptr<Telling> mTelling;
  std::vector<Memory::News> mNews;  // for the first thread
  Time mMemoryBusyUntil = Time::min();
  std::map<Prober::Id, Running> mRunning;
  std::map<std::string, std::vector<Wait>> mWaits;  // by target
  std::uint64_t mNextNumber = 1;
  std::uint64_t mLife = 0;  // of the exporter; what was begun in another is of no matter

  std::unique_ptr<StoreLock> mLock;
  bool mLocksSoon = false;   // as soon as the memory is at work
  bool mIsTroubled = false;  // today
  bool mCommandFails = false;
  Time mClockSet = Time::min();
  Time mRestarted = Time::min();
  Time mTroubleUntil = Time::min();  // when there was something last for which news may be late
  std::optional<Time> mLastDigest;
  std::map<std::tuple<std::string, std::uint32_t, std::uint64_t, Event>, int> mToldOf;
  std::size_t mFailures = 0;
};

}  // namespace moxsupply::testing
