#include "monitoring/Keeper.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "text/ShownUri.h"

namespace moxsupply {

namespace {

constexpr std::chrono::hours kEvery(24);  // a reading at least

// A clock that has gone back no further is one that was set right a little. What it says is put
// behind the last reading; from further back, that one was in a future that never came.
constexpr std::chrono::minutes kSetRight(5);
constexpr std::chrono::milliseconds kNext(1);

Reading at(Moment moment, Reading reading) {
  reading.moment = moment;
  reading.time = momentAsText(moment);
  reading.json = asJson(reading);
  return reading;
}

Result<std::optional<Reading>> lastReading(Store& store, const std::string& printer) {
  std::optional<Reading> last;
  const auto given = store.forEachLast(printer, [&](const Reading& reading) -> Result<> {
    last = reading;
    return {};
  });
  if (!given) return tl::unexpected(given.error());
  return last;
}

}  // namespace

// The file that stands there now: whoever puts another one there, or takes it away, is not kept
// from it by the one that is open. What was open to be read only is tried again when it is to be
// written.
Result<Store*> Keeper::store(For purpose) {
  struct stat file {};
  const bool isThere = ::stat(mPath.c_str(), &file) == 0;
  const bool isSame = isThere && file.st_dev == mDevice && file.st_ino == mNumber;
  if (mStore && isSame && (purpose == For::kReading || mOpenFor == For::kWriting)) return &*mStore;
  mStore.reset();
  auto opened = Store::openToWrite(mPath);
  mOpenFor = For::kWriting;
  if (!opened && purpose == For::kReading) {
    if (auto readable = Store::openToRead(mPath)) {
      opened = std::move(readable);
      mOpenFor = For::kReading;
    }
  }
  if (!opened) return tl::unexpected(opened.error());
  mStore = *std::move(opened);
  if (!isSame) mIsWhole = false;
  if (::stat(mPath.c_str(), &file) == 0) {
    mDevice = file.st_dev;
    mNumber = file.st_ino;
  }
  return &*mStore;
}

// Nothing is written into a file that is damaged, which would damage more of it.
Result<Store*> Keeper::storeToKeepIn() {
  const auto store = this->store(For::kWriting);
  if (!store) return store;
  if (!mIsWhole) {
    if (const auto whole = (*store)->check(); !whole) return tl::unexpected(whole.error());
    mIsWhole = true;
  }
  return store;
}

// Returns whether the store has other readings of its printer now.
Result<bool> Keeper::keepOne(Store& store, Reading reading) {
  bool isChanged = false;
  auto last = lastReading(store, reading.printer);
  if (!last) return tl::unexpected(last.error());
  if (*last && reading.moment < (*last)->moment - kSetRight) {
    const auto taken = store.takeOutAfter(reading.printer, reading.moment);
    if (!taken) return tl::unexpected(taken.error());
    if (!std::exchange(mHasSpokenOfClock, true)) {
      mRemark = fmt::format(
          "the clock has gone back: readings of the future are taken out, of {} those after {}",
          shownUri(reading.printer), reading.time);
    }
    if (mMakesNotices == Notices::kYes) {
      const auto set = store.setTold(reading.printer, reading.moment - kNext);
      if (!set) return tl::unexpected(set.error());
    }
    isChanged = true;
    last = lastReading(store, reading.printer);
    if (!last) return tl::unexpected(last.error());
  }
  if (*last) {
    const bool isSame = areEqual(at((*last)->moment, reading), **last);
    if (isSame && reading.moment - (*last)->moment < kEvery) {
      if (reading.moment > (*last)->moment) mAnswers[reading.printer] = reading.moment;
      return isChanged;
    }
    if (reading.moment <= (*last)->moment)
      reading = at((*last)->moment + kNext, std::move(reading));
  }
  mAnswers.erase(reading.printer);
  const auto added = store.add(reading);
  if (!added) return tl::unexpected(added.error());
  return true;
}

Result<> Keeper::writeNotes(Store& store) {
  for (const auto& [printer, moment] : mAnswers) {
    if (auto noted = store.noteAnswer(printer, moment); !noted) return noted;
  }
  return {};
}

Result<std::set<std::string>> Keeper::keep(std::span<const Reading> readings,
                                           Clock::time_point now) {
  const auto store = storeToKeepIn();
  if (!store) return tl::unexpected(store.error());
  std::set<std::string> changed;
  const auto kept = (*store)->change([&]() -> Result<> {
    for (const Reading& reading : readings) {
      const auto isChanged = keepOne(**store, reading);
      if (!isChanged) return tl::unexpected(isChanged.error());
      if (*isChanged) changed.insert(reading.printer);
    }
    return changed.empty() ? Result<>() : writeNotes(**store);
  });
  if (!kept) {
    mStore.reset();
    return tl::unexpected(kept.error());
  }
  if (!changed.empty()) mAnswers.clear();
  if (mAnswers.empty()) {
    mFirstAnswer.reset();
  } else if (!mFirstAnswer) {
    mFirstAnswer = now;
  }
  return changed;
}

Result<> Keeper::note(Clock::time_point now) {
  if (mAnswers.empty()) return {};
  mFirstAnswer = now;
  const auto store = storeToKeepIn();
  if (!store) return tl::unexpected(store.error());
  auto noted = (*store)->change([&] { return writeNotes(**store); });
  if (noted) {
    mAnswers.clear();
    mFirstAnswer.reset();
  } else {
    mStore.reset();
  }
  return noted;
}

Keeper::Clock::time_point Keeper::nextNote() const {
  return mFirstAnswer ? *mFirstAnswer + kNoteEvery : Clock::time_point::max();
}

Result<std::optional<Keeper::Last>> Keeper::last(const std::string& printer) {
  const auto store = this->store(For::kReading);
  if (!store) return tl::unexpected(store.error());
  auto reading = lastReading(**store, printer);
  if (!reading) return tl::unexpected(reading.error());
  if (!*reading) return std::nullopt;
  const auto answered = (*store)->answer(printer);
  if (!answered) return tl::unexpected(answered.error());
  const Moment moment = (*reading)->moment;
  return Last{**std::move(reading), std::max(moment, answered->value_or(moment))};
}

Result<std::optional<RememberedPrinter>> Keeper::recall(const std::string& printer, Moment now,
                                                        const std::function<bool()>& isOver) {
  const auto store = this->store(For::kReading);
  if (!store) return tl::unexpected(store.error());
  std::vector<SupplyEvent> news;
  Moment since = kLastMoment;
  if (mMakesNotices == Notices::kYes) {
    const auto told = (*store)->told(printer);
    if (!told) return tl::unexpected(told.error());
    since = std::max(told->value_or(now - kNews), now - kNews);
  }
  auto remembered = rememberedPrinter(**store, printer, isOver, [&](const SupplyEvent& event) {
    if (event.moment > since) news.push_back(event);
  });
  if (remembered && *remembered && !news.empty()) {
    if (auto noted = noteNews(printer, news, now); !noted) return tl::unexpected(noted.error());
  }
  return remembered;
}

Result<> Keeper::noteNews(const std::string& printer, const std::vector<SupplyEvent>& news,
                          Moment now) {
  const auto store = storeToKeepIn();
  if (!store) return tl::unexpected(store.error());
  return (*store)->change([&]() -> Result<> {
    for (const SupplyEvent& event : news) {
      const bool isUrgent = event.event == Event::kEmpty || event.event == Event::kMissing;
      auto added = (*store)->addNotice({.kind = Notice::Kind::kEvent,
                                        .printer = printer,
                                        .moment = now,
                                        .isUrgent = isUrgent,
                                        .event = asJson(event)});
      if (!added) return added;
    }
    return (*store)->setTold(printer, news.back().moment);
  });
}

Result<> Keeper::noteSilence(const std::string& printer, bool isSilent, Moment now) {
  const auto store = storeToKeepIn();
  if (!store) return tl::unexpected(store.error());
  return (*store)->change([&]() -> Result<> {
    const auto isNew = (*store)->setSilent(printer, isSilent);
    if (!isNew) return tl::unexpected(isNew.error());
    if (!*isNew) return {};
    const auto kind = isSilent ? Notice::Kind::kGone : Notice::Kind::kBack;
    const auto contrary = isSilent ? Notice::Kind::kBack : Notice::Kind::kGone;
    const auto isUntold = (*store)->takeOutNotices(printer, contrary);
    if (!isUntold) return tl::unexpected(isUntold.error());
    if (*isUntold) return {};
    return (*store)->addNotice({.kind = kind, .printer = printer, .moment = now});
  });
}

Result<std::vector<Notice>> Keeper::notices() {
  const auto store = this->store(For::kReading);
  if (!store) return tl::unexpected(store.error());
  return (*store)->notices();
}

Result<> Keeper::told(std::int64_t last) {
  const auto store = storeToKeepIn();
  if (!store) return tl::unexpected(store.error());
  return (*store)->takeOutNotices(last);
}

}  // namespace moxsupply
