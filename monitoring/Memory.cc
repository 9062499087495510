#include "monitoring/Memory.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "history/PrinterName.h"
#include "history/Reading.h"

namespace moxsupply {

namespace {

constexpr std::size_t kRestoredAtOnce = 100;  // readings
constexpr std::size_t kKeptAtOnce = 1'000;
constexpr std::chrono::milliseconds kPauseWithoutMemory(100);

std::string readingsInWords(std::size_t count) {
  return count == 1 ? "reading" : fmt::format("{} readings", count);
}

}  // namespace

class Memory::Work {
 public:
  Work(std::string path, Memory& memory)
      : mMemory(memory),
        mKeeper(std::move(path),
                memory.mHooks.notices ? Keeper::Notices::kYes : Keeper::Notices::kNo) {}

  void load(std::vector<std::string> printers) {
    const std::lock_guard lock(mMutex);
    mLists.push_back(std::move(printers));
  }

  void keep(Reading reading) {
    const std::lock_guard lock(mMutex);
    if (mWaiting.size() == kMostWaiting) mWaiting.pop_front();
    mWaiting.push_back(std::move(reading));
  }

  void loadFirst(std::string printer) {
    const std::lock_guard lock(mMutex);
    mHurried.push_back(std::move(printer));
  }

  void noteSilence(std::string printer, bool isSilent) {
    const std::lock_guard lock(mMutex);
    if (mSilences.size() == kMostWaiting) mSilences.pop_front();
    mSilences.emplace_back(std::move(printer), isSilent);
  }

  void told(std::int64_t last) {
    const std::lock_guard lock(mMutex);
    mTold = last;
  }

  void giveUp() { mIsOver = true; }

  // How many readings could not be kept, once the second thread is over.
  [[nodiscard]] std::size_t lost() const { return mWaiting.size() + mKeeping.size(); }

  // ---- In the second thread.

  void proceed(const Instant& now) {
    const bool hasMemory = asFarAsMemoryGoes(now, [&] {
      takeLists();
      if (now.time >= mNextTry) {
        const std::string problem = loadLasts(now);
        if (isTimeToKeep(now)) keepWhatWaits(now);
        tellOfReading(problem);
      }
      recallOne(now);
    });
    if (!hasMemory) {
      asFarAsMemoryGoes(now, [this] { tell("there is too little memory to remember readings"); });
    }
  }

  Clock::time_point nextMove() {
    const std::lock_guard lock(mMutex);
    if (!mLists.empty() || !mToRecall.empty()) return mNotBefore;
    if (hasSomethingToKeep() || !mToLoad.empty() || !mProblem.empty()) return mNextTry;
    return std::max(mKeeper.nextNote(), mNextTry);
  }

  void finish(const Instant& now) {
    constexpr int kMostTries = 3;
    bool isDone = false;
    for (int i = 0; i < kMostTries && !isDone; ++i) {
      asFarAsMemoryGoes(now, [&] {
        keepWhatWaits(now);
        const auto noted = mKeeper.note(now.time);
        if (!noted) tell(noted.error().what);
        const std::lock_guard lock(mMutex);
        isDone = noted && !hasSomethingToKeep();
      });
    }
  }

 private:
  // An exception that leaves a thread ends its process, and what the exporter remembers is not
  // worth that. Where memory has run out, it may be there again a little later: what was to be done
  // is still to be done then. Returns whether there was enough.
  template <typename Action>
  bool asFarAsMemoryGoes(const Instant& now, Action action) {
    try {
      action();
      return true;
    } catch (const std::bad_alloc&) {
      mNextTry = now.time + kTryAgainAfter;
      mNotBefore = now.time + kPauseWithoutMemory;
      return false;
    }
  }

  void takeLists() {
    const std::lock_guard lock(mMutex);
    for (; !mLists.empty(); mLists.pop_front()) {
      mToLoad.insert(mToLoad.end(), mLists.front().begin(), mLists.front().end());
      mIsLoading = true;
    }
  }

  // The levels of all printers come before anything else. Returns why not all could be read.
  std::string loadLasts(const Instant& now) {
    std::string problem;
    for (; !mToLoad.empty() && !mIsOver; mToLoad.pop_front()) {
      hurry();
      auto last = mKeeper.last(mToLoad.front());
      if (!last) {
        problem = last.error().what;
        mNextTry = now.time + kTryAgainAfter;
        mToLoad.push_back(mToLoad.front());  // the others need not wait for this one
        mToLoad.pop_front();
        break;
      }
      if (*last) {
        mToRecall.push_back(mToLoad.front());
        mFound.push_back(**std::move(last));
      }
      if (mFound.size() == kRestoredAtOnce || mIsHurried) restoreFound();
    }
    restoreFound();
    if (mIsLoading) post([](Memory& memory, auto&) { memory.mHooks.loaded(); });
    mIsLoading = false;
    return problem;
  }

  void restoreFound() {
    post([found = mFound](Memory& memory, const Instant& then) {
      memory.mHooks.restored(found, then);
    });
    mFound.clear();
  }

  // Once also where there is nothing to keep, so that it is told early that nothing can be.
  bool isTimeToKeep(const Instant& now) {
    const bool isFirst = !std::exchange(mHasTried, true);
    if (isFirst || !mProblem.empty() || now.time >= mKeeper.nextNote()) return true;
    const std::lock_guard lock(mMutex);
    return hasSomethingToKeep();
  }

  // While it is locked.
  [[nodiscard]] bool hasSomethingToKeep() const {
    return !mWaiting.empty() || !mKeeping.empty() || !mSilences.empty() || !mNoting.empty() ||
           mTold;
  }

  void keepWhatWaits(const Instant& now) {
    bool isFull = false;
    do {
      takeWhatWaits();
      isFull = mKeeping.size() == kKeptAtOnce;
      const auto changed = mKeeper.keep(mKeeping, now.time);
      if (!changed) {
        mNextTry = now.time + kTryAgainAfter;
        return tell(changed.error().what);
      }
      mKeeping.clear();
      // Who has something new comes before those whose turn it is.
      mToRecall.insert(mToRecall.begin(), changed->begin(), changed->end());
    } while (isFull);
    if (now.time >= mKeeper.nextNote()) {
      if (const auto noted = mKeeper.note(now.time); !noted) return tell(noted.error().what);
    }
    tell({});
    if (const std::string remark = mKeeper.takeRemark(); !remark.empty()) {
      post([remark](Memory& memory, auto&) { memory.mHooks.log(remark); });
    }
    if (const auto noted = noteSilences(now); !noted) return tell(noted.error().what);
    tellNotices();
  }

  // What could not be kept the last time is still there, and comes before what waits.
  void takeWhatWaits() {
    const std::lock_guard lock(mMutex);
    for (; !mWaiting.empty() && mKeeping.size() < kKeptAtOnce; mWaiting.pop_front()) {
      mKeeping.push_back(std::move(mWaiting.front()));
    }
  }

  // Whom somebody waits for comes first. It may be there already, which does no harm.
  void hurry() {
    const std::lock_guard lock(mMutex);
    mIsHurried = !mHurried.empty();
    mToLoad.insert(mToLoad.begin(), mHurried.begin(), mHurried.end());
    mHurried.clear();
  }

  Result<> noteSilences(const Instant& now) {
    std::optional<std::int64_t> told;
    {
      const std::lock_guard lock(mMutex);
      for (; !mSilences.empty(); mSilences.pop_front()) {
        mNoting.push_back(std::move(mSilences.front()));
      }
      while (mNoting.size() > kMostWaiting) mNoting.pop_front();
      told = mTold;
    }
    Result<> noted;
    if (told) noted = mKeeper.told(*told);
    for (; noted && !mNoting.empty(); mNoting.pop_front()) {
      noted = mKeeper.noteSilence(mNoting.front().first, mNoting.front().second, now.moment);
      if (!noted) break;
    }
    const std::lock_guard lock(mMutex);
    if (noted && mTold == told) mTold.reset();  // once more does no harm
    if (!noted) mNextTry = now.time + kTryAgainAfter;
    return noted;
  }

  void tellNotices() {
    if (!mMemory.mHooks.notices) return;
    auto notices = mKeeper.notices();
    if (!notices) return tellOfReading(notices.error().what);
    const auto mark = notices->empty() ? std::pair<std::size_t, std::int64_t>()
                                       : std::pair(notices->size(), notices->back().id);
    if (mNoticesTold == mark) return;
    post([shared = std::make_shared<std::vector<Notice>>(*std::move(notices))](
             Memory& memory, auto&) { memory.mHooks.notices(std::move(*shared)); });
    mNoticesTold = mark;
  }

  void recallOne(const Instant& now) {
    if (mToRecall.empty()) return;
    // Without memory for this one, the others need not wait for it.
    mToRecall.push_back(mToRecall.front());
    mToRecall.pop_front();
    const std::string printer = mToRecall.back();
    auto remembered = mKeeper.recall(printer, now.moment, [this] { return mIsOver.load(); });
    if (!remembered) {
      mToRecall.pop_back();
      return tellOfReading(remembered.error().what);
    }
    if (!*remembered) return mToRecall.pop_back();
    post([printer, recalled = std::make_shared<const RememberedPrinter>(**std::move(remembered))](
             Memory& memory, auto&) { memory.keepInMind(printer, recalled); });
    mToRecall.pop_back();
    tellNotices();
  }

  void post(std::function<void(Memory&, const Instant&)> what) {
    mMemory.mHooks.post(
        [memory = &mMemory, what = std::move(what)](const Instant& then) { what(*memory, then); });
  }

  // Whether something can be kept.
  void tell(const std::string& problem) {
    if (mProblem == problem) return;
    post([problem](Memory& memory, auto&) { memory.setProblem(problem); });
    mProblem = problem;
  }

  // Where nothing can be kept, either, that has been told.
  void tellOfReading(const std::string& problem) {
    if (problem.empty() || !mProblem.empty()) return;
    if (mReadingProblem == problem) return;
    post([problem](Memory& memory, auto&) { memory.mHooks.log(problem); });
    mReadingProblem = problem;
  }

  Memory& mMemory;

  std::mutex mMutex;  // of these
  std::deque<std::vector<std::string>> mLists;
  std::deque<Reading> mWaiting;
  std::deque<std::string> mHurried;
  std::deque<std::pair<std::string, bool>> mSilences;
  std::optional<std::int64_t> mTold;
  std::atomic<bool> mIsOver = false;

  Keeper mKeeper;  // these are the second thread's
  std::deque<std::string> mToLoad;
  std::vector<Keeper::Last> mFound;  // not restored yet
  std::deque<std::string> mToRecall;
  std::vector<Reading> mKeeping;  // not kept yet, nor noted
  std::deque<std::pair<std::string, bool>> mNoting;
  bool mIsLoading = false;
  bool mHasTried = false;
  bool mIsHurried = false;
  std::pair<std::size_t, std::int64_t> mNoticesTold = {};   // how many, and the last one
  Clock::time_point mNextTry = Clock::time_point::min();    // of the store
  Clock::time_point mNotBefore = Clock::time_point::min();  // of anything
  std::string mProblem;
  std::string mReadingProblem;
};

Memory::Memory(std::string path, Hooks hooks)
    : mHooks(std::move(hooks)), mWork(std::make_unique<Work>(std::move(path), *this)) {}

Memory::~Memory() {
  try {
    const std::size_t lost = mWork->lost();
    if (lost > 0) mHooks.log(fmt::format("the last {} could not be kept", readingsInWords(lost)));
  } catch (const std::exception&) {
    // Nobody can be told, either.
  }
}

void Memory::setList(const PrinterList& list) {
  std::map<std::string, Known> listed;
  std::vector<std::string> added;
  for (const ListedPrinter& printer : list) {
    const auto name = printerName(printer.uri);
    if (!name || !listed.emplace(*name, Known{printer.target}).second) continue;
    if (!mPrinters.contains(*name)) added.push_back(*name);
  }
  for (auto& [name, printer] : mPrinters) {
    const auto still = listed.find(name);
    if (still == listed.end()) continue;
    still->second.isSilent = printer.isSilent;
    still->second.remembered = std::move(printer.remembered);
  }
  mPrinters = std::move(listed);
  mWork->load(std::move(added));
  mHooks.wake();
}

void Memory::take(const ListedPrinter& printer, const Supplies& supplies, Moment moment) {
  auto reading = readingOf(printer.uri, supplies, moment, printer.labels);
  if (!reading) return;
  mWork->keep(*std::move(reading));
  mHooks.wake();
}

void Memory::restoreFirst(const std::string& uri) {
  if (auto name = printerName(uri)) mWork->loadFirst(*std::move(name));
}

void Memory::takeSilence(const ListedPrinter& printer, bool isSilent) {
  auto name = printerName(printer.uri);
  if (!name || !mHooks.notices) return;
  const auto found = mPrinters.find(*name);
  if (found == mPrinters.end() || found->second.isSilent == isSilent) return;
  found->second.isSilent = isSilent;
  mWork->noteSilence(*std::move(name), isSilent);
  mHooks.wake();
}

const std::string* Memory::targetOf(const std::string& name) const {
  const auto found = mPrinters.find(name);
  return found == mPrinters.end() ? nullptr : &found->second.target;
}

void Memory::told(std::int64_t last) {
  mWork->told(last);
  mHooks.wake();
}

void Memory::hurryToTheEnd() { mWork->giveUp(); }
void Memory::proceed(const Instant& now) { mWork->proceed(now); }
Memory::Clock::time_point Memory::nextMove() { return mWork->nextMove(); }
void Memory::finish(const Instant& now) { mWork->finish(now); }

void Memory::keepInMind(const std::string& printer,
                        std::shared_ptr<const RememberedPrinter> remembered) {
  const auto found = mPrinters.find(printer);
  if (found != mPrinters.end()) found->second.remembered = std::move(remembered);
}

void Memory::setProblem(const std::string& problem) {
  if (problem.empty()) {
    mHooks.log("readings are kept again");
  } else if (problem != mProblem) {
    mHooks.log(fmt::format("{}; it is tried again every minute", problem));
  }
  mProblem = problem;
}

const RememberedPrinter* Memory::find(const ListedPrinter& printer) const {
  const auto name = printerName(printer.uri);
  const auto found = name ? mPrinters.find(*name) : mPrinters.end();
  return found == mPrinters.end() ? nullptr : found->second.remembered.get();
}

RememberedSupplies Memory::metricsOf(const ListedPrinter& printer, Moment at,
                                     std::chrono::days within) const {
  const auto seconds = [](Moment moment) {
    return std::floor(std::chrono::duration<double>(moment.time_since_epoch()).count());
  };
  RememberedSupplies metrics;
  const RememberedPrinter* remembered = find(printer);
  if (remembered == nullptr) return metrics;
  const bool isSilent = between(remembered->prospects.asOf, at) >= kSilent;
  for (std::size_t i = 0; i < remembered->prospects.supplies.size(); ++i) {
    const Prospect& supply = remembered->prospects.supplies[i];
    RememberedSupplies::OfSupply& told = metrics.supplies[supply.supply];
    told.part = supply.part;
    if (const auto& emptyAt = supply.forecast.emptyAt) {
      told.emptyAt = {seconds(emptyAt->likely), seconds(emptyAt->earliest)};
    }
    told.isLow = remembered->cartridges.at(i).hasBecomeLow;
    told.isNeeded = !isSilent && neededBy(supply, at, within);
  }
  for (const auto& word : kEventWords) {
    metrics.events.emplace_back(word.text,
                                remembered->eventCounts.at(static_cast<std::size_t>(word.meaning)));
  }
  return metrics;
}

Orders Memory::orders(Moment at, std::chrono::days within) const {
  std::vector<PrinterProspects> all;
  all.reserve(mPrinters.size());
  for (const auto& [name, printer] : mPrinters) {
    if (printer.remembered) all.push_back(printer.remembered->prospects);
  }
  return ordersFor(all, at, within);
}

}  // namespace moxsupply
