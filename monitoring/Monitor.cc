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
               .answered = [this](const auto& printer,
                                  const auto& result) { noteEnd(printer, result); },
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
    const std::string* target = mMemory->targetOf(last.reading.printer);
    auto supplies = suppliesIn(last.reading);
    if (target == nullptr || !supplies) continue;
    const auto age = std::max(between(last.answered, now.moment), std::chrono::microseconds(0));
    mProber.restore(*target, *std::move(supplies), now.time - age, now.time);
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
  if (std::ranges::any_of(list, &ListedPrinter::isQueue)) {
    for (const ListedPrinter& one : list) {
      if (!one.isQueue) mPrinters.emplace(identityOf(one.uri), one.target);
    }
  }
  mNamedTwice.clear();
  if (mMemory) mMemory->setList(list);
  mProber.setList(std::move(list));
  std::erase_if(mSilent,
                [this](const std::string& target) { return mProber.find(target) == nullptr; });
}

void Monitor::noteEnd(const Prober::Printer& printer, const QueryResult& result) {
  const Prober::Attempt& last = *printer.last;
  const std::string& target = printer.listed.target;
  mMetrics.queryEnded(last.outcome, last.duration);
  if (mMemory) mMemory->takeSilence(printer.listed, !result.hasSucceeded());
  if (result.hasSucceeded()) {
    if (mSilent.erase(target) > 0) mHooks.log(fmt::format("{}: answers again", shownUri(target)));
    noteDevice(target, result.device);
    if (mMemory) mMemory->take(printer.listed, printer.reading->supplies, *result.moment);
  } else if (mSilent.insert(target).second) {
    mHooks.log(fmt::format("{}: {}; it is asked less and less often until it answers",
                           shownUri(target), last.what));
  }
}

// A printer that stands in the list beside its queue is asked, and shown twice.
void Monitor::noteDevice(const std::string& queue, const std::string& device) {
  if (device.empty()) return;
  const auto twin = mPrinters.find(identityOf(device));
  if (twin == mPrinters.end() || !mNamedTwice.insert(queue).second) return;
  mHooks.log(fmt::format("{} prints to {}, which stands in the list as well: take one of them out",
                         shownUri(queue), shownUri(twin->second)));
}

}  // namespace moxsupply
