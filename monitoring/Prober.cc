#include "monitoring/Prober.h"

#include <algorithm>
#include <utility>

namespace moxsupply {

namespace {

// Whether what went wrong may come of another printer standing there now. One that is switched off,
// or busy, is still the same.
bool mayBeOfAnotherKind(Outcome outcome) {
  return outcome == Outcome::kNothingReceived || outcome == Outcome::kUndecodable ||
         outcome == Outcome::kDeadline;
}

}  // namespace

void Prober::setList(PrinterList list) {
  std::map<std::string, Id, std::less<>> ids;
  mOrder.clear();
  for (ListedPrinter& listed : list) {
    const auto former = mIds.find(listed.target);
    const bool isSame =
        former != mIds.end() && mEntries.at(former->second).printer.listed.kind == listed.kind;
    const Id id = isSame ? former->second : mNextId++;
    mOrder.push_back(id);
    ids.emplace(listed.target, id);
    mEntries[id].printer.listed = std::move(listed);
  }
  std::vector<Id> gone;
  for (const auto& [target, id] : mIds) {
    const auto still = ids.find(target);
    if (still == ids.end() || still->second != id) gone.push_back(id);
  }
  mIds = std::move(ids);
  std::ranges::for_each(gone, [this](Id id) { drop(id); });
}

void Prober::drop(Id id) {
  Entry& entry = mEntries.at(id);
  dequeue(entry);
  const bool isRunning = entry.begun.has_value();
  if (isRunning) leaveRunning(id, entry);
  const std::string target = entry.printer.listed.target;
  mEntries.erase(id);
  if (isRunning) mHooks.stop(id);
  mHooks.released(target);
}

void Prober::restore(std::string_view target, Supplies supplies, Clock::time_point time,
                     Clock::time_point now) {
  const auto found = mIds.find(target);
  if (found == mIds.end()) return;
  Entry& entry = mEntries.at(found->second);
  Printer& printer = entry.printer;
  if (printer.last || entry.begun) return;
  printer.kind = supplies.kind;
  printer.notBefore = time + intervalOf(printer);
  printer.last = {Outcome::kSuccess, {}, {}, {}, time};
  printer.reading = {std::move(supplies), time};
  printer.isRestored = true;
  if (!entry.place || entry.place->urgency == Urgency::kOnPurpose) return;
  dequeue(entry);
  printer.isPending = false;
  if (now >= printer.notBefore) enqueue(found->second, entry, Urgency::kInTheBackground);
  mHooks.released(printer.listed.target);
}

std::vector<const Prober::Printer*> Prober::printers() const {
  std::vector<const Printer*> printers;
  printers.reserve(mOrder.size());
  for (const Id id : mOrder) printers.push_back(&mEntries.at(id).printer);
  return printers;
}

const Prober::Printer* Prober::find(std::string_view target) const {
  const auto found = mIds.find(target);
  return found == mIds.end() ? nullptr : &mEntries.at(found->second).printer;
}

bool Prober::want(std::string_view target, Urgency urgency, Clock::time_point now) {
  const auto found = mIds.find(target);
  if (found == mIds.end()) return false;
  Entry& entry = mEntries.at(found->second);
  const bool isCounted = urgency == Urgency::kSomebodyWaits;
  if (entry.printer.isPending) {
    if (isCounted) ++mShared;
    if (entry.place && urgency < entry.place->urgency) enqueue(found->second, entry, urgency);
    return true;
  }
  const bool mayBeAsked = urgency == Urgency::kOnPurpose || now >= entry.printer.notBefore;
  if (entry.printer.last && !mayBeAsked) {
    if (isCounted) ++mShared;
    return false;
  }
  entry.lane = entry.isSlow || entry.printer.failures > 0 ? kSlowLane : kFast;
  enqueue(found->second, entry, urgency);
  return true;
}

// In its lane, where it may have a place already. Without memory for another, nothing has changed.
void Prober::enqueue(Id id, Entry& entry, Urgency urgency) {
  const Place place = {urgency, !entry.printer.last, mNextNumber++, id};
  mQueues.at(entry.lane).insert(place);
  dequeue(entry);
  entry.place = place;
  entry.printer.isPending = true;
}

void Prober::dequeue(Entry& entry) {
  if (entry.place) mQueues.at(entry.lane).erase(*entry.place);
  entry.place.reset();
}

bool Prober::deservesPatience(const Entry& entry, Clock::time_point now) {
  const bool isOnPurpose = entry.place && entry.place->urgency == Urgency::kOnPurpose;
  return entry.printer.reading || isOnPurpose || !entry.lastPatient ||
         now - *entry.lastPatient >= kPatientEvery;
}

void Prober::begin(Id id, Entry& entry, Clock::time_point now) {
  entry.isPatient = deservesPatience(entry, now);
  dequeue(entry);
  entry.begun = now;
  entry.askedAs = entry.printer.listed.kind ? entry.printer.listed.kind : entry.printer.kind;
  ++mRunning.at(entry.lane);
  if (entry.lane == kFast) mFastOnes[now].insert(id);
  const auto deadline =
      entry.isPatient ? mLimits.deadline : std::min(mLimits.deadline, kShortDeadline);
  mHooks.begin(
      {id, entry.printer.listed.uri, entry.askedAs, deadline, entry.printer.listed.isQueue});
}

void Prober::leaveRunning(Id id, Entry& entry) {
  --mRunning.at(entry.lane);
  if (entry.lane == kFast) {
    const auto same = mFastOnes.find(*entry.begun);
    same->second.erase(id);
    if (same->second.empty()) mFastOnes.erase(same);
  }
  entry.begun.reset();
}

void Prober::ended(Id id, QueryResult result, Clock::time_point now) {
  const auto found = mEntries.find(id);
  if (found == mEntries.end() || !found->second.begun) return;
  Entry& entry = found->second;
  Printer& printer = entry.printer;
  const auto begun = *entry.begun;
  leaveRunning(id, entry);
  printer.isPending = false;
  printer.isRestored = false;
  if (entry.isPatient) entry.lastPatient = begun;

  const auto duration = std::chrono::round<std::chrono::milliseconds>(now - begun);
  if (result.hasSucceeded()) {
    printer.failures = 0;
    printer.notBefore = begun + intervalOf(printer);
    // To find out what it is takes long once; the next time that is known.
    const bool wasKnown = entry.askedAs.has_value();
    printer.kind = result.supplies->kind;
    entry.isSlow = wasKnown && duration >= kSlow;
    printer.reading = {*std::exchange(result.supplies, std::nullopt), now - result.age};
    printer.reading->supplies.list.shrink_to_fit();  // it stays for hours
  } else {
    ++printer.failures;
    printer.notBefore = now + backoff(printer);
    if (mayBeOfAnotherKind(result.outcome)) printer.kind.reset();
  }
  printer.last = {result.outcome, result.what, result.advice, duration, now};
  mHooks.answered(printer, result);
  mHooks.released(printer.listed.target);
}

// With the intervals as they are, 6, 6, 12 and then 24 hours: a printer that is off for days is
// tried at the time of day at which it answered last.
std::chrono::milliseconds Prober::backoff(const Printer& printer) const {
  const auto interval = intervalOf(printer);
  auto pause = interval;
  for (std::uint32_t i = 1; i < printer.failures && pause < mLimits.maxBackoff; ++i) pause *= 2;
  return std::max(interval, std::min(pause, mLimits.maxBackoff));
}

std::chrono::milliseconds Prober::intervalOf(const Printer& printer) const {
  constexpr std::chrono::milliseconds kOfQueue = kQueueInterval;
  return printer.listed.isQueue ? std::min(mLimits.minInterval, kOfQueue) : mLimits.minInterval;
}

void Prober::moveSlowOnes(Clock::time_point now) {
  while (!mFastOnes.empty() && mFastOnes.begin()->first + kSlow <= now) {
    const Id id = *mFastOnes.begin()->second.begin();
    Entry& entry = mEntries.at(id);
    const auto begun = *entry.begun;
    leaveRunning(id, entry);
    entry.lane = kSlowLane;
    if (mRunning[kSlowLane] < slots()) {
      ++mRunning[kSlowLane];
      entry.begun = begun;
    } else {
      mHooks.stop(id);
      enqueue(id, entry, Urgency::kSomebodyWaits);
    }
  }
}

void Prober::proceed(Clock::time_point now) {
  moveSlowOnes(now);
  for (const Lane lane : {kFast, kSlowLane}) {
    while (mRunning.at(lane) < slots() && !mQueues.at(lane).empty()) {
      const Id id = mQueues.at(lane).begin()->id;
      begin(id, mEntries.at(id), now);
    }
  }
}

Prober::Clock::time_point Prober::nextMove() const {
  return mFastOnes.empty() ? Clock::time_point::max() : mFastOnes.begin()->first + kSlow;
}

Prober::Counts Prober::counts() const {
  return {mRunning[kFast] + mRunning[kSlowLane], mQueues[kFast].size() + mQueues[kSlowLane].size(),
          mShared};
}

}  // namespace moxsupply
