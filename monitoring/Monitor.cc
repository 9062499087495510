#include "monitoring/Monitor.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "history/PrinterName.h"
#include "http/HostNames.h"
#include "text/ShownUri.h"

namespace moxsupply {

namespace {

// The supplies of a reading as a query would tell them; nothing where it numbers them otherwise.
std::optional<Supplies> suppliesIn(const Reading& reading) {
  Supplies supplies;
  std::vector<ReadSupply> inOrder = reading.supplies;
  std::ranges::sort(inOrder, {}, &ReadSupply::number);
  for (const ReadSupply& supply : inOrder) {
    supplies.list.push_back(supply);
    if (supply.number != supplies.list.size()) return std::nullopt;
    if (supply.kind == SupplyKind::kToner) supplies.kind = PrinterKind::kLaser;
    if (supply.kind == SupplyKind::kInk) supplies.kind = PrinterKind::kInkjet;
  }
  return supplies;
}

}  // namespace

Monitor::Monitor(const Settings& settings, Hooks hooks, Clock::time_point now)
    : mHooks(std::move(hooks)),
      mMetrics(MOXSUPPLY_VERSION),
      mProber(settings.limits,
              {.begin = mHooks.begin,
               .stop = mHooks.stop,
               .answered = [this](const Prober::Printer& printer) { noteEnd(printer); },
               .released = mHooks.released}),
      mMemory(memoryIn(settings.store)),
      mSite(mProber, mMetrics, HostNames(settings.address, settings.hosts),
            settings.limits.deadline, settings.deliveryDays, mMemory.get()) {
  if (mMemory) mHeldUntil = now + kPatienceForStore;
}

std::unique_ptr<Memory> Monitor::memoryIn(const std::string& store) {
  if (store.empty()) return nullptr;
  return std::make_unique<Memory>(
      store, Memory::Hooks{
                 .wake = mHooks.wakeMemory,
                 .post = mHooks.post,
                 .restored = [this](const auto& lasts, const Instant& now) { restore(lasts, now); },
                 .loaded = [this] { mHeldUntil.reset(); },
                 .log = mHooks.log,
                 .notices = mHooks.notices});
}

void Monitor::restore(const std::vector<Keeper::Last>& lasts, const Instant& now) {
  for (const Keeper::Last& last : lasts) {
    const auto target = mTargets.find(last.reading.printer);
    auto supplies = suppliesIn(last.reading);
    if (target == mTargets.end() || !supplies) continue;
    const auto age = std::max(between(last.answered, now.moment), std::chrono::microseconds(0));
    mProber.restore(target->second, *std::move(supplies), now.time - age, now.time);
  }
}

HttpServer::Reply Monitor::answer(const HttpRequest& request, Clock::time_point arrived,
                                  const Instant& now, bool isLast) {
  auto reply = mSite.answer(request, arrived, now, isLast);
  if (mHeldUntil && reply.wait) {
    if (const auto* printer = mProber.find(reply.wait->topic)) {
      mMemory->restoreFirst(printer->listed.uri);
    }
  }
  return reply;
}

void Monitor::ended(Prober::Id id, QueryResult result, const Instant& now) {
  if (!result.moment) result.moment = now.moment;
  mProber.ended(id, std::move(result), now.time);
}

void Monitor::proceed(Clock::time_point now) {
  if (mHeldUntil && now < *mHeldUntil) return;
  mHeldUntil.reset();
  mProber.proceed(now);
}

Monitor::Clock::time_point Monitor::nextMove() const {
  return mHeldUntil ? *mHeldUntil : mProber.nextMove();
}

void Monitor::take(Result<PrinterList> list) {
  if (list) {
    takeList(*std::move(list));
    mSite.setListProblem({});
  } else {
    mMetrics.listRefused();
    mSite.setListProblem(list.error().what);
  }
}

void Monitor::takeList(PrinterList list) {
  mMetrics.listTaken(list.size());
  mPrinters.clear();
  for (const ListedPrinter& one : list) {
    if (!one.isQueue) mPrinters.emplace(identityOf(one.uri), one.target);
  }
  mNamedTwice.clear();
  mTargets.clear();
  std::vector<std::string> uris;
  for (const ListedPrinter& one : list) {
    if (auto name = printerName(one.uri)) mTargets.emplace(*std::move(name), one.target);
    uris.push_back(one.uri);
  }
  mProber.setList(std::move(list));
  if (mMemory) mMemory->setList(uris);
  const auto isGone = [this](const std::string& target) { return mProber.find(target) == nullptr; };
  std::erase_if(mToldSilent, [&](const auto& told) { return isGone(told.first); });
  std::erase_if(mSilent, isGone);
}

void Monitor::noteEnd(const Prober::Printer& printer) {
  const Prober::Attempt& last = *printer.last;
  const std::string& target = printer.listed.target;
  mMetrics.queryEnded(last.result.outcome, last.duration);
  noteSilence(printer.listed, !last.result.hasSucceeded());
  if (last.result.hasSucceeded()) {
    if (mSilent.erase(target) > 0) mHooks.log(fmt::format("{}: answers again", shownUri(target)));
    noteDevice(printer);
    if (mMemory) mMemory->take(printer.listed, printer.reading->supplies, *last.result.moment);
  } else if (mSilent.insert(target).second) {
    mHooks.log(fmt::format("{}: {}; it is asked less and less often until it answers",
                           shownUri(target), last.result.what));
  }
}

// Of what has not changed since this program was started, nothing is said.
void Monitor::noteSilence(const ListedPrinter& printer, bool isSilent) {
  if (!mMemory) return;
  const auto [told, isFirst] = mToldSilent.emplace(printer.target, isSilent);
  if (!isFirst && std::exchange(told->second, isSilent) == isSilent) return;
  mMemory->takeSilence(printer, isSilent);
}

// A printer that stands in the list beside its queue is asked, and shown twice.
void Monitor::noteDevice(const Prober::Printer& queue) {
  const auto twin = mPrinters.find(identityOf(queue.last->result.device));
  if (twin == mPrinters.end() || !mNamedTwice.insert(queue.listed.target).second) return;
  mHooks.log(fmt::format("{} prints to {}, which stands in the list as well: take one of them out",
                         shownUri(queue.listed.target), shownUri(twin->second)));
}

}  // namespace moxsupply
