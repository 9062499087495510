// What a fleet looks at while it runs, at the end of a day and at its own.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <utility>

#include "tests/fleet/Fleet.h"
#include "tests/fleet/ProductMemory.h"

namespace moxsupply::testing {

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

// The bounds on what is needed at the end of a day, of a month at most.
constexpr std::size_t kFewBytes = 1'000'000;
constexpr std::size_t kMostBytesOfOne = 10'000;      // in memory, of one printer
constexpr std::size_t kMostBytesKeptOfOne = 10'000;  // in the store
constexpr std::size_t kFewDescriptors = 3;           // of a store that another one has locked

// What may pass between what is due and its scrape, with all that a fleet begins at once.
constexpr minutes kSoon(4);

std::size_t openDescriptors() {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

std::string jsonOf(const OfficePrinter& printer, const Supplies& supplies) {
  return readingOf(printer.target(), supplies, {}).value().json;
}

// The value behind a name and a blank, at the beginning of a line.
std::optional<double> sampleIn(const std::string& metrics, std::string_view name) {
  const std::string before = fmt::format("\n{} ", name);
  const auto found = metrics.find(before);
  if (found == std::string::npos) return std::nullopt;
  return std::strtod(metrics.c_str() + found + before.size(), nullptr);
}

}  // namespace

void Fleet::fail(const std::string& what) {
  if (++mFailures > kMostFailures) return;
  ADD_FAILURE() << what << "\nseed " << mSettings.seed << ", " << mSettings.printers
                << " printers, " << mTime.inWords();
}

milliseconds Fleet::intervalOf(const OfficePrinter& printer) {
  return printer.isQueue() ? milliseconds(Prober::kQueueInterval) : kLimits.minInterval;
}

bool Fleet::hadTroubleSince(Time since) const { return mTroubleUntil >= since; }

// Whether this printer may be asked now.
void Fleet::checkBeginning(std::size_t i, const Assignment& query) {
  Known& known = mKnown[i];
  const OfficePrinter& printer = mPrinters[i];
  const Time now = mTime.time();
  if (!known.isListed) fail(printer.target() + " is asked and not in the list");
  if (known.query) fail(printer.target() + " is asked twice at once");
  const bool isFree = known.wasStopped || known.isWanted || known.maySurprise;
  if (!isFree && known.answered && now - *known.answered < intervalOf(printer)) {
    fail(fmt::format("{} is asked {} s after it was, and answered", printer.target(),
                     (now - *known.answered) / seconds(1)));
  }
  if (!isFree && known.failed) {
    auto pause = intervalOf(printer);
    for (std::uint32_t n = 1; n < known.failures && pause < kLimits.maxBackoff; ++n) pause *= 2;
    pause = std::min(pause, kLimits.maxBackoff);
    if (now - *known.failed < pause) {
      fail(fmt::format("{} is asked {} s after it failed {} times", printer.target(),
                       (now - *known.failed) / seconds(1), known.failures));
    }
    if (now - *known.failed > pause + kSoon && !hadTroubleSince(*known.failed)) {
      fail(fmt::format("{} is asked {} s after it failed {} times, which is late", printer.target(),
                       (now - *known.failed) / seconds(1), known.failures));
    }
  }
  const bool mayBePatient = known.told || known.isWanted || !known.lastPatient ||
                            now - *known.lastPatient >= kDay || known.wasStopped;
  if (query.deadline == kLimits.deadline && !mayBePatient) {
    fail(printer.target() + " has not deserved patience");
  }
  if (query.deadline != kLimits.deadline && known.told && !known.isForgotten) {
    fail(printer.target() + " has deserved patience");
  }
}

// Whether what is served is what the printer told, and as old.
void Fleet::takeLevels(std::size_t i, const std::string& metrics) {
  const Known& known = mKnown[i];
  const OfficePrinter& printer = mPrinters[i];
  const auto age = sampleIn(metrics, "npa_reading_age_seconds");
  if (!age || !known.told) {
    if (age.has_value() != known.told.has_value() && !known.isForgotten) {
      fail(printer.target() + " has levels that it did not tell, or has told others");
    }
    return;
  }
  const auto truth = std::chrono::duration<double>(mTime.time() - *known.toldAt).count();
  if (!known.isAgeUnsure && std::abs(*age - truth) > 1) {
    fail(fmt::format("{} has levels of {} s that are said to be {} s old", printer.target(), truth,
                     *age));
  }
  const bool isThere = printer.habit() == Habit::kAnswers || printer.habit() == Habit::kSleeps;
  const bool isBack = known.cameBack && mTime.time() - *known.cameBack < kSoon;
  if (!isThere || isBack) return;
  const bool isWell =
      known.failures == 0 && !known.isAgeUnsure && !hadTroubleSince(mTime.time() - hours(7));
  if (isWell && truth > std::chrono::duration<double>(kLimits.minInterval + kSoon).count()) {
    fail(fmt::format("{} answers, and its levels are {} s old", printer.target(), truth));
  }
  ++mFigures.ages[static_cast<std::int64_t>(truth)];
}

void Fleet::takeEvent(const Told& told) {
  const bool hasSerials = mPrinters[mByTarget.at(told.printer)].tellsSerials();
  const std::string shown = fmt::format("{} of supply {} of {} at {}", wordOf(told.event),
                                        told.supply, told.printer, momentAsText(told.moment));
  auto* happened = mLedger.told({told.printer, told.supply, told.moment, told.event});
  if (happened == nullptr) {
    ++(hasSerials ? mFigures.falseBySerial : mFigures.wrong);
    if (hasSerials) fail("false: " + shown);
    return;
  }
  if (std::exchange(happened->isToldAlready, true)) fail("told twice: " + shown);
  const bool isOnce =
      told.event == Event::kReplaced || told.event == Event::kLow || told.event == Event::kEmpty;
  const auto times = ++mToldOf[{told.printer, told.supply, happened->cartridge, told.event}];
  if (isOnce && times > 1 && !mLedger.isTakenOut(told.printer)) {
    fail("twice of one cartridge: " + shown);
  }
  const auto delay = mTime.time() - happened->since;
  const bool isUrgent = told.event == Event::kEmpty || told.event == Event::kMissing;
  const auto longest = isUrgent ? minutes(1) : kDigestEvery + minutes(5);
  if (delay > longest && !hadTroubleSince(happened->since) &&
      std::min(mClockSet, mRestarted) < happened->since) {
    fail(fmt::format("late by {} s: {}", (delay - longest) / seconds(1), shown));
  }
}

void Fleet::compareAfterStart(bool isKilled) {
  for (std::size_t i = 0; i < mPrinters.size(); ++i) {
    Known& known = mKnown[i];
    known.isForgotten = false;
    known.isAgeUnsure = known.isAgeUnsure || (known.toldAt && *known.toldAt <= mClockSet);
    // Levels of a print queue are as old as they were published, whenever that was found out.
    known.maySurprise = known.maySurprise || known.isAgeUnsure || mPrinters[i].isQueue();
    if (!known.isListed || !known.told) continue;
    const auto& reading = mMonitor->prober().find(mPrinters[i].target())->reading;
    if (!reading) {
      fail(mPrinters[i].target() + " has no levels after a start");
      continue;
    }
    if (jsonOf(mPrinters[i], reading->supplies) != jsonOf(mPrinters[i], *known.told)) {
      fail(mPrinters[i].target() + " has other levels after a start");
    }
    if (known.isAgeUnsure) continue;
    const auto off = *known.toldAt - reading->time;
    const bool mayBeOlder = isKilled && known.maySurprise;
    if (off < -seconds(1) || (!mayBeOlder && off > seconds(1))) {
      fail(fmt::format("{} has levels that are {} s older after a start", mPrinters[i].target(),
                       off / seconds(1)));
    }
    if (mayBeOlder) known.isAgeUnsure = true;
  }
}

void Fleet::lookAtDay(int day) {
  Figures::Day figures;
  figures.bytes = bytesOfProduct();
  figures.bytesOfSqlite = static_cast<std::size_t>(sqlite3_memory_used());
  figures.descriptors = openDescriptors();
  std::error_code ignored;
  figures.bytesOfStore = std::filesystem::file_size(mStore, ignored);
  figures.readings = mLedger.kept();
  mFigures.days.push_back(figures);
  const std::size_t printers = mPrinters.size();
  if (figures.bytes > kFewBytes + printers * kMostBytesOfOne) fail("it needs too much memory");
  if (figures.bytesOfStore > kFewBytes + printers * kMostBytesKeptOfOne) {
    fail("the store is too large");
  }
  if (figures.descriptors > mFigures.days.front().descriptors + kFewDescriptors) {
    fail("descriptors stay open");
  }
  const bool isLast = day + 1 == mSettings.days;
  // What the store did not take may wait for a minute.
  const bool isQuiet = !mLock && !hadTroubleSince(mTime.time());
  if (isQuiet && (mSettings.printers <= 100 || day % 7 == 6)) compareStore();
  if (!isLast) return;
  for (std::size_t i = 0; i < mPrinters.size(); ++i) {
    mFigures.connections[mPrinters[i].habit()].push_back(mKnown[i].connections);
  }
}

// Every reading that had to be kept is in the store, and no other.
void Fleet::compareStore() {
  std::map<std::string, std::vector<Ledger::Kept>> found;
  auto store = Store::openToRead(mStore).value();
  const auto read = store.forEach({}, [&](const Reading& reading) -> Result<> {
    found[reading.printer].push_back({reading.moment, Ledger::contentOf(reading)});
    return {};
  });
  if (!read) return fail(read.error().what);
  for (const OfficePrinter& printer : mPrinters) {
    const auto expected = mLedger.keptOf(printer.target());
    if (found[printer.target()] != expected) {
      fail(fmt::format("of {} the store has {} readings, which are not the {} that it should have",
                       printer.target(), found[printer.target()].size(), expected.size()));
    }
  }
}

// Everything that somebody had to be told was told, or waits for its time.
void Fleet::lookAtEvents() {
  for (const auto& [key, happened] : mLedger.happened()) {
    ++mFigures.events;
    const auto& [printer, supply, moment, event] = key;
    const bool isWaiting =
        mTime.time() - std::max(happened.since, mTroubleUntil) < kDigestEvery + minutes(5);
    if (happened.isToldAlready || !happened.isNews || isWaiting) continue;
    const bool hasSerials = mPrinters[mByTarget.find(printer)->second].tellsSerials();
    ++(hasSerials ? mFigures.missedBySerial : mFigures.missed);
    if (hasSerials) {
      fail(fmt::format("nobody was told: {} of supply {} of {} at {}", wordOf(event), supply,
                       printer, momentAsText(moment)));
    }
  }
  for (std::size_t i = 0; i < mPrinters.size(); ++i) {
    const Known& known = mKnown[i];
    if (known.isSilent == known.isToldSilent || !known.silenceChanged) continue;
    const Time since = std::max(*known.silenceChanged, mTroubleUntil);
    if (mTime.time() - since < kDigestEvery + minutes(5)) continue;
    fail(fmt::format("nobody was told that {} is {}", mPrinters[i].target(),
                     known.isSilent ? "silent" : "back"));
  }
}

}  // namespace moxsupply::testing
