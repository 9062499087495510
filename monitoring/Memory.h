#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "history/Moment.h"
#include "history/Orders.h"
#include "monitoring/Instant.h"
#include "monitoring/Keeper.h"
#include "monitoring/PrinterList.h"
#include "monitoring/RememberedPrinter.h"
#include "renderings/SupplyMetrics.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// What is remembered of the printers in the list, and how more comes to it. Whoever holds it is not
// kept waiting: a second thread (MemoryThread) deals with the store (see Keeper), and has what it
// found there told in the first.
//
// Where the store cannot be used, that is told once; readings wait until it can, a bounded number.
class Memory {
 public:
  // At most so many readings wait for the store. Of more, the first ones are lost.
  static constexpr std::size_t kMostWaiting = 20'000;

  using Clock = Keeper::Clock;

  // From try to try, while the store cannot be used.
  static constexpr std::chrono::seconds kTryAgainAfter{60};

  // What is done in the first thread, when it is.
  using News = std::function<void(const Instant&)>;

  struct Hooks {
    // The second thread has something to do before its `nextMove`; called in the first.
    std::function<void()> wake;

    // Has this done in the first thread; called in the second.
    std::function<void(News)> post;

    // All these in the first. The last readings of some:
    std::function<void(const std::vector<Keeper::Last>&, const Instant&)> restored;
    std::function<void()> loaded;  // all that there is has been restored, of a list
    std::function<void(const std::string&)> log;

    // What somebody is to be told and has not been yet; whenever that is another thing than before.
    // Null where nobody is to be told anything.
    std::function<void(std::vector<Notice>)> notices = {};
  };

  Memory(std::string path, Hooks hooks);
  ~Memory();

  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;
  Memory(Memory&&) = delete;
  Memory& operator=(Memory&&) = delete;

  // ---- In the first thread.

  // Has what is remembered of printers restored that were not in the list before; what is known of
  // those that are not in it any more is let go.
  void setList(const PrinterList& list);

  // A printer of the list has answered.
  void take(const ListedPrinter& printer, const Supplies& supplies, Moment moment);

  // Has this printer restored before others, since somebody wants to know of it.
  void restoreFirst(const std::string& uri);

  // Whether a printer of the list is silent. What has not changed since the last time is not noted.
  void takeSilence(const ListedPrinter& printer, bool isSilent);

  // The target of the printer of the list that has this name. Null where there is none.
  [[nodiscard]] const std::string* targetOf(const std::string& name) const;

  // Somebody has been told, up to and with this notice.
  void told(std::int64_t last);

  // What is remembered of a printer. Null where nothing is: what a large store has comes in by and
  // by.
  [[nodiscard]] const RememberedPrinter* find(const ListedPrinter& printer) const;

  // The same as metrics tell it; another cartridge is needed that will be within so many days.
  [[nodiscard]] RememberedSupplies metricsOf(const ListedPrinter& printer, Moment at,
                                             std::chrono::days within) const;

  // What has to be bought for the printers of the list.
  [[nodiscard]] Orders orders(Moment at, std::chrono::days within) const;

  // Why nothing is kept at present, in one harmless line; empty when all is well.
  [[nodiscard]] const std::string& problem() const { return mProblem; }

  // What takes long ends early; there is no more to do but `finish`.
  void hurryToTheEnd();

  // ---- In the second thread. Waits for the store, and for nothing else.

  // Does some of what there is to do. To be called at `nextMove` at the latest.
  void proceed(const Instant& now);
  [[nodiscard]] Clock::time_point nextMove();

  // Keeps what waits.
  void finish(const Instant& now);

 private:
  class Work;  // the second thread's

  // A printer of the list.
  struct Known {
    std::string target;
    std::optional<bool> isSilent = {};  // as it was noted last
    std::shared_ptr<const RememberedPrinter> remembered = {};
  };

  void keepInMind(const std::string& printer, std::shared_ptr<const RememberedPrinter> remembered);
  void setProblem(const std::string& problem);

  Hooks mHooks;
  std::map<std::string, Known> mPrinters;  // by name
  std::string mProblem;
  std::unique_ptr<Work> mWork;
};

}  // namespace moxsupply
