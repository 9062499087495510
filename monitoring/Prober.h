#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "monitoring/PrinterList.h"
#include "queries/Assignment.h"
#include "queries/QueryResult.h"

namespace moxsupply {

// Decides when which printer is asked, so that they are asked seldom, never twice at once, and
// none of them keeps another waiting. It starts nothing and waits for nothing itself: whoever
// holds it begins the queries that it wants, tells it of their ends, and of the time.
//
// There are two lanes, each with half of the queries that may run at once. A printer that does not
// answer, or takes long, is asked in the slow lane. One that is found out to take long is moved
// there while it is being asked; when there is no room, its query is stopped and begun again there
// once there is. So whatever the slow ones do, the others have their half for themselves.
class Prober {
 public:
  using Clock = std::chrono::steady_clock;
  using Id = Assignment::Id;

  struct Limits {
    std::chrono::milliseconds minInterval = std::chrono::hours(6);  // from query to query
    std::chrono::milliseconds maxBackoff = std::chrono::hours(24);
    std::size_t queriesAtOnce = 32;     // at least 2
    std::chrono::seconds deadline{30};  // of a query
  };

  // A query that takes longer is a slow one.
  static constexpr std::chrono::milliseconds kSlow = std::chrono::seconds(1);

  // What a printer has that has never answered, but for once a day and on purpose: most of these
  // are not there, and need not be waited for as long as for one that wakes up slowly.
  static constexpr std::chrono::seconds kShortDeadline = std::chrono::seconds(9);
  static constexpr std::chrono::hours kPatientEvery{24};

  // From reading to reading of a print queue, where that is sooner than `minInterval`: its print
  // server is asked, and no printer.
  static constexpr std::chrono::minutes kQueueInterval{15};

  // What was the last attempt to read a printer. The supplies of a success are its reading.
  struct Attempt {
    Outcome outcome = Outcome::kInternal;
    std::string what;  // as in QueryResult
    std::string advice;
    std::chrono::milliseconds duration{};
    Clock::time_point end;
  };

  struct Reading {
    Supplies supplies;
    Clock::time_point time;  // when the printer told them
  };

  // What is known of a printer.
  struct Printer {
    ListedPrinter listed;
    std::optional<Attempt> last;      // none: it was never asked
    std::optional<Reading> reading;   // the last that succeeded
    std::uint32_t failures = 0;       // since then
    Clock::time_point notBefore;      // when it may be asked again; the beginning of time at first
    bool isPending = false;           // it is being asked, or waits for that
    bool isRestored = false;          // `reading` is remembered from before, see restore
    std::optional<PrinterKind> kind;  // once found out, until it does not answer to that
  };

  struct Hooks {
    std::function<void(const Assignment&)> begin;  // its end is told with `ended`
    std::function<void(Id)> stop;                  // at once; its end is not told
    // An attempt has ended, with this; its supplies, if there are some, are the printer's reading.
    std::function<void(const Printer&, const QueryResult&)> answered;
    std::function<void(const std::string&)> released;  // nobody need wait for this target longer
  };

  Prober(Limits limits, Hooks hooks) : mLimits(limits), mHooks(std::move(hooks)) {}

  // Takes another list. What is known of printers that stand in both is kept.
  void setList(PrinterList list);

  // What a printer of the list told before this program was started, and when that was, as if it
  // had been asked then. Nothing where it has been asked since. Whoever waits for it has an answer
  // now; where it is due all the same, it is asked when nobody waits for others.
  void restore(std::string_view target, Supplies supplies, Clock::time_point time,
               Clock::time_point now);

  // In the list's order.
  [[nodiscard]] std::vector<const Printer*> printers() const;
  [[nodiscard]] const Printer* find(std::string_view target) const;

  // On purpose: somebody wants a new reading, whenever the last one was.
  enum class Urgency : std::uint8_t { kOnPurpose, kSomebodyWaits, kInTheBackground };

  // Somebody wants to know of a printer in the list. Returns whether there is news to wait for;
  // otherwise what is known already is the answer.
  bool want(std::string_view target, Urgency urgency, Clock::time_point now);

  // The query of this printer has ended. Ends of unknown printers are ignored.
  void ended(Id id, QueryResult result, Clock::time_point now);

  // Moves what has taken long to the slow lane and begins what may begin. To be called at
  // `nextMove` at the latest.
  void proceed(Clock::time_point now);
  [[nodiscard]] Clock::time_point nextMove() const;

  struct Counts {
    std::size_t running = 0;
    std::size_t waiting = 0;
    std::uint64_t shared = 0;  // answers without a query of their own
  };
  [[nodiscard]] Counts counts() const;

 private:
  enum Lane : std::uint8_t { kFast, kSlowLane };

  // Who comes first in a lane: somebody waits before nobody does, known before unknown printers,
  // first come first served.
  struct Place {
    Urgency urgency;
    bool isUnknown;
    std::uint64_t number;
    Id id;
    friend bool operator<(const Place& a, const Place& b) {
      return std::tie(a.urgency, a.isUnknown, a.number) <
             std::tie(b.urgency, b.isUnknown, b.number);
    }
  };

  struct Entry {
    Printer printer;
    bool isSlow = false;                 // took long the last time
    std::optional<PrinterKind> askedAs;  // of the query that runs
    std::optional<Place> place;
    std::optional<Clock::time_point> begun;
    bool isPatient = false;  // the query that runs has the whole deadline
    std::optional<Clock::time_point> lastPatient;
    Lane lane = kFast;
  };

  [[nodiscard]] std::size_t slots() const { return mLimits.queriesAtOnce / 2; }
  void enqueue(Id id, Entry& entry, Urgency urgency);
  void dequeue(Entry& entry);
  void begin(Id id, Entry& entry, Clock::time_point now);
  [[nodiscard]] static bool deservesPatience(const Entry& entry, Clock::time_point now);
  void leaveRunning(Id id, Entry& entry);
  void moveSlowOnes(Clock::time_point now);
  void drop(Id id);
  [[nodiscard]] std::chrono::milliseconds intervalOf(const Printer& printer) const;
  [[nodiscard]] std::chrono::milliseconds backoff(const Printer& printer) const;

  Limits mLimits;
  Hooks mHooks;
  std::map<Id, Entry> mEntries;
  std::map<std::string, Id, std::less<>> mIds;  // by target
  std::vector<Id> mOrder;                       // the list's
  std::array<std::set<Place>, 2> mQueues;
  std::array<std::size_t, 2> mRunning{};
  std::map<Clock::time_point, std::set<Id>> mFastOnes;  // running in the fast lane, by beginning
  std::uint64_t mShared = 0;
  std::uint64_t mNextNumber = 0;
  Id mNextId = 1;
};

}  // namespace moxsupply
