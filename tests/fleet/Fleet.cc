#include "tests/fleet/Fleet.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "monitoring/Digest.h"
#include "tests/fleet/ProductMemory.h"

namespace moxsupply::testing {

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr const char* kAddress = "127.0.0.1:9871";
constexpr seconds kScrapeEvery(120);
constexpr seconds kScrapeTimeout(30);
constexpr std::size_t kAnswerOneOf = 30;  // scrapes, where not every one is answered

HttpRequest requestOf(HttpRequest::Method method, const std::string& path,
                      std::vector<std::pair<std::string, std::string>> parameters = {}) {
  HttpRequest request;
  request.method = method;
  request.path = path;
  request.parameters = std::move(parameters);
  request.host = kAddress;
  request.scrapeTimeout = kScrapeTimeout;
  return request;
}

Event eventOf(std::string_view word) {
  for (const auto& one : kEventWords) {
    if (one.text == word) return one.meaning;
  }
  throw std::invalid_argument("no event");
}

}  // namespace

Fleet::Fleet(const FleetSettings& settings)
    : mSettings(settings),
      mRandom(settings.seed, 1U << 20U),
      mStore(mFolder.path() / "history.sqlite"),
      mKnown(settings.printers) {
  waitForNoLockAndNoDisk();
  mPrinters.reserve(settings.printers);
  for (std::size_t i = 0; i < settings.printers; ++i) {
    mPrinters.emplace_back(settings.seed, i);
    mByTarget.emplace(mPrinters.back().target(), i);
    mKnown[i].place = fmt::format("floor {}", i % 7);
    mKnown[i].hasType = mRandom.oneIn(2);
    mKnown[i].isListed = !settings.hasTroubles || !mRandom.oneIn(30);
  }
}

Fleet::~Fleet() { stop(/*isKilled=*/false); }

void Fleet::run() {
  for (OfficePrinter& printer : mPrinters) printer.passHour(mTime.truth());
  start();
  const Time begin = mTime.time();
  for (int day = 0; day < mSettings.days; ++day) {
    planDay(mSettings.hasTroubles && (mSettings.days < 7 || day + 3 < mSettings.days));
    runUntil(begin + (day + 1) * kDay);
    lookAtDay(day);
    if (mFailures > kMostFailures) return;
  }
  lookAtEvents();
  mLock.reset();
  stop(/*isKilled=*/false);
  compareStore();
}

// ---- The exporter.

Monitor::Hooks Fleet::hooks() {
  return {.begin =
              [this](const Assignment& query) {
                const AllocatesFor test(Owner::kTest);
                begin(query);
              },
          .stop =
              [this](Prober::Id id) {
                const AllocatesFor test(Owner::kTest);
                end(id);
              },
          .released =
              [this](const std::string& target) {
                const AllocatesFor test(Owner::kTest);
                released(target);
              },
          .log = [](const std::string& /*line*/) {},
          .wakeMemory = [] {},
          .post =
              [this](Memory::News news) {
                const AllocatesFor test(Owner::kTest);
                mNews.push_back(std::move(news));
              },
          .notices =
              [this](std::vector<Notice> notices) {
                mTelling->setNotices(std::move(notices), mTime.now());
              }};
}

void Fleet::start() {
  ++mLife;
  const AllocatesFor product(Owner::kProduct);
  mTelling = std::make_unique<Telling>(
      kDigestEvery,
      Telling::Hooks{.tell =
                         [this](const std::vector<Notice>& notices) {
                           const AllocatesFor test(Owner::kTest);
                           tell(notices);
                         },
                     .told = [this](std::int64_t last) { mMonitor->memory()->told(last); },
                     .log = [](const std::string& /*line*/) {}});
  mMonitor = std::make_unique<Monitor>(
      Monitor::Settings{.limits = kLimits, .address = kAddress, .store = mStore}, hooks(),
      mTime.time());
  mMonitor->take(list());
  settle();
}

void Fleet::stop(bool isKilled) {
  if (!mMonitor) return;
  mMonitor->memory()->hurryToTheEnd();
  if (!isKilled) mMonitor->memory()->finish(mTime.now());
  mMonitor.reset();
  mTelling.reset();
  mNews.clear();
  mRunning.clear();
  mWaits.clear();
  mMemoryBusyUntil = Time::min();
  for (Known& known : mKnown) {
    // What has answered within the last minute may not have been noted.
    const bool isUnnoted =
        isKilled && known.toldAt && mTime.time() - *known.toldAt <= minutes(1) + seconds(1);
    known.maySurprise = known.maySurprise || isUnnoted;
    known.query.reset();
    known.wasStopped = known.isWanted = false;
    known.failures = 0;
    known.failed.reset();
    known.lastPatient.reset();
  }
}

// All that there is to do at this time.
void Fleet::settle() {
  constexpr int kMostRounds = 1'000'000;
  for (int i = 0; i < kMostRounds; ++i) {
    if (!mMonitor) return;
    const AllocatesFor product(Owner::kProduct);
    const Instant now = mTime.now();
    mMonitor->proceed(now.time);
    if (mTelling->nextMove() <= now.time) mTelling->proceed(now);
    if (now.time < mMemoryBusyUntil || mMonitor->memory()->nextMove() > now.time) return;
    proceedMemory();
  }
  fail("the exporter has always something to do");
}

void Fleet::proceedMemory() {
  Memory& memory = *mMonitor->memory();
  memory.proceed(mTime.now());
  const AllocatesFor test(Owner::kTest);
  if (mLocksSoon && !mLock && memory.nextMove() <= mTime.time()) {
    mLocksSoon = false;
    lockStore(minutes(mRandom.within(2, 90)));
  }
  const auto give = [this, life = mLife, news = std::exchange(mNews, {})] {
    if (life != mLife || !mMonitor) return;
    const AllocatesFor product(Owner::kProduct);
    for (const Memory::News& one : news) one(mTime.now());
  };
  const auto slept = takeSleptForLocks();
  if (slept.count() == 0) return give();
  mMemoryBusyUntil = mTime.time() + slept;
  mTime.at(mMemoryBusyUntil, give);
}

void Fleet::runUntil(Time end) {
  Time nextTick = std::chrono::ceil<seconds>(mTime.time());
  while (true) {
    Time next = std::min({end, mTime.next(), nextTick});
    if (mMonitor) {
      next = std::min({next, mMonitor->nextMove(), mTelling->nextMove(),
                       std::max(mMemoryBusyUntil, mMonitor->memory()->nextMove())});
    }
    if (next >= end) break;
    mTime.goTo(next);
    if (mTime.time() >= nextTick) {
      const auto second = static_cast<std::size_t>(nextTick.time_since_epoch() / seconds(1));
      const auto every = static_cast<std::size_t>(kScrapeEvery.count());
      for (std::size_t i = second % every; i < mPrinters.size(); i += every) scrape(i);
      nextTick += seconds(1);
    }
    settle();
  }
  mTime.goTo(end);
  settle();
}

// ---- Its queries.

void Fleet::begin(const Assignment& query) {
  const std::size_t i = mByTarget.at(query.uri);
  Known& known = mKnown[i];
  checkBeginning(i, query);
  const Time now = mTime.time();
  const bool isPatient = query.deadline == kLimits.deadline;
  if (known.wasStopped) ++mFigures.begunAgain;
  if (isPatient && !known.told) ++mFigures.patient;
  known.query = query.id;
  known.begun = now;
  known.patientNow = isPatient ? std::optional(now) : std::nullopt;
  known.wasStopped = known.isWanted = false;
  ++known.connections;
  const std::uint64_t number = mNextNumber++;
  mRunning[query.id] = {number, i};
  if (mRunning.size() > kLimits.queriesAtOnce) fail("more queries run at once than may");
  auto answer = mPrinters[i].ask(query, mTime.truth(), mTime.wrong());
  mTime.after(answer.after, [this, id = query.id, number, answer] { end(id, number, answer); });
}

void Fleet::end(Prober::Id id, std::uint64_t number, const OfficePrinter::Answer& answer) {
  const auto found = mRunning.find(id);
  if (found == mRunning.end() || found->second.number != number) return;
  const std::size_t i = found->second.printer;
  mRunning.erase(found);
  Known& known = mKnown[i];
  const Instant now = mTime.now();
  known.query.reset();
  if (known.patientNow) known.lastPatient = known.patientNow;
  const bool isSuccess = answer.result.hasSucceeded();
  if (known.isSilent == isSuccess) known.silenceChanged = now.time;
  known.isSilent = !isSuccess;
  if (isSuccess) {
    known.answered = known.begun;
    known.failures = 0;
    known.failed.reset();
    known.told = answer.result.supplies;
    known.toldAt = now.time - answer.result.age;
    known.maySurprise = known.isForgotten = known.isAgeUnsure = false;
    const auto reading =
        readingOf(mPrinters[i].target(), *known.told, answer.result.moment.value_or(now.moment),
                  mMonitor->prober().find(mPrinters[i].target())->listed.labels);
    mLedger.take(*reading, answer.shown, now);
  } else {
    ++known.failures;
    known.failed = now.time;
  }
  const AllocatesFor product(Owner::kProduct);
  mMonitor->ended(id, answer.result, now);
}

// A query is stopped, to begin again or since its printer has left the list.
void Fleet::end(Prober::Id id) {
  const auto found = mRunning.find(id);
  if (found == mRunning.end()) return fail("a query is stopped that does not run");
  Known& known = mKnown[found->second.printer];
  known.query.reset();
  known.wasStopped = true;
  mRunning.erase(found);
}

// ---- Its clients.

void Fleet::scrape(std::size_t i) {
  Known& known = mKnown[i];
  if (!mMonitor || !known.isListed) return;
  ++known.scrapes;
  const Prober::Printer& printer = *mMonitor->prober().find(mPrinters[i].target());
  const bool isDue = !printer.last || mTime.time() >= printer.notBefore;
  const bool isOne = mSettings.answersEveryScrape || known.scrapes % kAnswerOneOf == 0;
  if (isOne || (isDue && !printer.isPending)) probe(i, mTime.time(), /*isLast=*/false);
}

void Fleet::probe(std::size_t i, Time arrived, bool isLast) {
  const std::string& target = mPrinters[i].target();
  const auto request = requestOf(HttpRequest::Method::kGet, "/probe", {{"target", target}});
  HttpServer::Reply reply;
  {
    const AllocatesFor product(Owner::kProduct);
    reply = mMonitor->answer(request, arrived, mTime.now(), isLast);
  }
  if (!reply.wait) {
    ++mFigures.scrapes;
    if (reply.answer.status != 200) return fail(fmt::format("{}", reply.answer.status));
    return takeLevels(i, *reply.answer.body);
  }
  if (isLast) return fail("a probe waits for ever");
  const std::uint64_t number = mNextNumber++;
  mWaits[target].push_back({number, arrived});
  mTime.at(reply.wait->until, [this, i, number, arrived] {
    const auto waits = mWaits.find(mPrinters[i].target());
    if (waits == mWaits.end()) return;
    const auto isIt = [&](const Wait& wait) { return wait.number == number; };
    if (std::erase_if(waits->second, isIt) > 0 && mKnown[i].isListed) probe(i, arrived, true);
  });
}

void Fleet::released(const std::string& target) {
  auto found = mWaits.find(target);
  if (found == mWaits.end()) return;
  const auto waits = std::move(found->second);
  mWaits.erase(found);
  const std::size_t i = mByTarget.find(target)->second;
  for (const Wait& wait : waits) {
    mTime.after({}, [this, i, wait, life = mLife] {
      if (mMonitor && life == mLife && mKnown[i].isListed) probe(i, wait.arrived, true);
    });
  }
}

std::string Fleet::get(const std::string& path) {
  const AllocatesFor product(Owner::kProduct);
  const auto request = requestOf(HttpRequest::Method::kGet, path);
  return *mMonitor->answer(request, mTime.time(), mTime.now(), /*isLast=*/false).answer.body;
}

// As the button on the page does.
void Fleet::askNow(std::size_t i) {
  Known& known = mKnown[i];
  if (!mMonitor || !known.isListed) return;
  const std::string before = R"(name="token" value=")";
  const std::string page = get("/");
  const auto begin = page.find(before) + before.size();
  const std::string token = page.substr(begin, page.find('"', begin) - begin);
  if (!mMonitor->prober().find(mPrinters[i].target())->isPending) known.isWanted = true;
  const auto request = requestOf(HttpRequest::Method::kPost, "/ask",
                                 {{"token", token}, {"target", mPrinters[i].target()}});
  const AllocatesFor product(Owner::kProduct);
  const auto reply = mMonitor->answer(request, mTime.time(), mTime.now(), /*isLast=*/false);
  if (reply.answer.status != 303) fail("nobody is asked now");
}

// ---- Its command.

void Fleet::tell(const std::vector<Notice>& notices) {
  const bool isUrgent = std::ranges::any_of(notices, &Notice::isUrgent);
  const std::string digest = digestOf(notices, "fleet", mTime.now().moment);
  const bool hangs = mIsTroubled && mRandom.oneIn(200);
  const bool fails = hangs || mCommandFails || (mIsTroubled && mRandom.oneIn(50));
  const milliseconds takes = hangs ? minutes(1) : milliseconds(mRandom.within(50, 3'000));
  const Time begun = mTime.time();
  if (fails) mTroubleUntil = std::max(mTroubleUntil, begun + takes + minutes(2));
  mTime.after(takes, [this, digest, fails, isUrgent, begun, life = mLife] {
    if (life != mLife || !mMonitor) return;
    if (fails) {
      ++mFigures.failedDigests;
    } else {
      ++mFigures.digests;
      if (isUrgent) ++mFigures.urgentDigests;
      if (!isUrgent && mLastDigest && begun - *mLastDigest < kDigestEvery - minutes(5) &&
          !hadTroubleSince(*mLastDigest) && std::min(mClockSet, mRestarted) < *mLastDigest) {
        fail("a digest comes before its time");
      }
      mLastDigest = begun;
      take(digest);
    }
    const AllocatesFor product(Owner::kProduct);
    mTelling->ended(fails ? "ended with 1" : "", mTime.now());
  });
}

void Fleet::take(const std::string& digest) {
  const auto json = nlohmann::json::parse(digest);
  for (const auto& one : json.at("events")) {
    takeEvent({.printer = one.at("printer"),
               .supply = one.at("supply"),
               .event = eventOf(one.at("event").get<std::string>()),
               .moment = momentFrom(one.at("time").get<std::string>()).value()});
  }
  const auto takeSilence = [&](const std::string& printer, bool isSilent) {
    Known& known = mKnown[mByTarget.at(printer)];
    if (known.isToldSilent == isSilent) {
      fail(fmt::format("{} is {}, as it was", printer, isSilent ? "silent" : "back"));
    }
    known.isToldSilent = isSilent;
  };
  for (const auto& printer : json.at("silent")) takeSilence(printer, true);
  for (const auto& printer : json.at("back")) takeSilence(printer, false);
}

// ---- What happens.

void Fleet::planDay(bool hasTroubles) {
  const Time midnight = mTime.time();
  for (int hour = 1; hour <= 24; ++hour) {
    mTime.at(midnight + hours(hour) - seconds(1), [this] { passHour(); });
  }
  const auto at = [&](int from, int to) {
    return midnight + seconds(mRandom.within(static_cast<std::uint64_t>(from) * 3600,
                                             static_cast<std::uint64_t>(to) * 3600));
  };
  for (int i = 0; i < 3; ++i) {
    mTime.at(at(8, 18), [this] { askNow(mRandom.below(mPrinters.size())); });
  }
  mTime.at(at(8, 18), [this] { readListAgain(/*isWhole=*/true); });
  mIsTroubled = hasTroubles;
  if (!hasTroubles) return;
  if (mRandom.oneIn(8)) mTime.at(at(8, 18), [this] { readListAgain(/*isWhole=*/false); });
  if (mRandom.oneIn(3)) mTime.at(at(0, 24), [this] { restart(/*isKilled=*/false); });
  if (mRandom.oneIn(4)) mTime.at(at(0, 24), [this] { restart(/*isKilled=*/true); });
  if (mRandom.oneIn(3)) {
    mTime.at(at(7, 22), [this] { lockStore(minutes(mRandom.within(1, 180))); });
  }
  if (mRandom.oneIn(3)) mTime.at(at(7, 18), [this] { mLocksSoon = true; });
  if (mRandom.oneIn(3)) {
    mTime.at(at(0, 24), [this] {
      mCommandFails = true;
      const auto end = mTime.time() + hours(mRandom.within(1, 30));
      mTroubleUntil = std::max(mTroubleUntil, end + minutes(2));
      mTime.at(end, [this] { mCommandFails = false; });
    });
  }
  if (mRandom.oneIn(6)) {
    mTime.at(at(7, 18), [this] {
      const std::size_t floor = mRandom.below(7);
      for (std::size_t i = floor; i < mPrinters.size(); i += 7) {
        mPrinters[i].lackPower(mTime.truth() + hours(mRandom.within(1, 30)));
      }
    });
  }
  constexpr std::array<std::chrono::seconds, 5> kWrong = {minutes(2), -minutes(2), hours(3),
                                                          -hours(3), hours(72)};
  if (mRandom.oneIn(4)) {
    const auto wrong = mRandom.of(kWrong);
    mTime.at(at(0, 16), [this, wrong] { setClockWrong(wrong); });
    mTime.at(at(16, 24), [this] { setClockWrong({}); });
  }
}

void Fleet::passHour() {
  for (OfficePrinter& printer : mPrinters) printer.passHour(mTime.truth());
  if (mMonitor && get("/metrics").empty()) fail("there are no metrics");
}

void Fleet::restart(bool isKilled) {
  // What waits for a store that is locked is lost, as is said.
  if (mLock || mTime.time() < mMemoryBusyUntil) {
    mTime.after(hours(1), [this, isKilled] { restart(isKilled); });
    return;
  }
  if (!mMonitor) return;
  ++mFigures.restarts;
  mRestarted = mTime.time();
  stop(isKilled);
  const auto pause = seconds(mRandom.within(1, 600));
  mTroubleUntil = std::max(mTroubleUntil, mTime.time() + pause + minutes(2));
  mTime.after(pause, [this, isKilled] {
    mLock.reset();
    start();
    compareAfterStart(isKilled);
  });
}

PrinterList Fleet::list() const {
  auto json = nlohmann::json::array();
  for (std::size_t i = 0; i < mPrinters.size(); ++i) {
    const Known& known = mKnown[i];
    if (!known.isListed) continue;
    nlohmann::json labels = {{"place", known.place}};
    if (known.hasType && !mPrinters[i].isQueue()) {
      labels["printer_type"] = mPrinters[i].kind() == PrinterKind::kLaser ? "laser" : "inkjet";
    }
    json.push_back({{"targets", {mPrinters[i].target()}}, {"labels", labels}});
  }
  return parsePrinterList(json.dump(), "printers.json").value();
}

// Some have left, some come, some have moved, and of some the type is told.
void Fleet::readListAgain(bool isWhole) {
  if (!mMonitor) return;
  if (!isWhole) return mMonitor->take(parsePrinterList("[{", "printers.json"));
  for (int i = 0; mSettings.hasTroubles && i < 3; ++i) {
    Known& known = mKnown[mRandom.below(mKnown.size())];
    known.isListed = !known.isListed;
    if (known.isListed) {
      known.cameBack = mTime.time();
      known.failures = 0;
      known.failed.reset();
      known.lastPatient.reset();
      known.wasStopped = false;
      known.isAgeUnsure = known.isAgeUnsure || known.toldAt < mClockSet;
      known.maySurprise = known.isAgeUnsure;
    }
    mKnown[mRandom.below(mKnown.size())].place = fmt::format("room {}", mRandom.below(100));
    const std::size_t typed = mRandom.below(mKnown.size());
    if (!mKnown[typed].hasType && mKnown[typed].isListed && !mPrinters[typed].isQueue()) {
      mKnown[typed].hasType = mKnown[typed].maySurprise = mKnown[typed].isForgotten = true;
      mKnown[typed].failures = 0;
      mKnown[typed].failed.reset();
      mKnown[typed].lastPatient.reset();
    }
  }
  const AllocatesFor product(Owner::kProduct);
  mMonitor->take(list());
}

void Fleet::lockStore(std::chrono::minutes time) {
  if (mLock || !mMonitor || mTime.time() < mMemoryBusyUntil) return;
  mLock = std::make_unique<StoreLock>(mStore);
  mTroubleUntil = std::max(mTroubleUntil, mTime.time() + time + minutes(3));
  mTime.after(time, [this] { mLock.reset(); });
}

void Fleet::setClockWrong(std::chrono::nanoseconds by) {
  mTime.setWrong(by);
  mClockSet = mTime.time();
}

}  // namespace moxsupply::testing
