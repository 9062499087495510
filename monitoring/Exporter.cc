#include "monitoring/Exporter.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "history/Moment.h"
#include "history/PrinterName.h"
#include "history/Reading.h"
#include "http/HostNames.h"
#include "http/HttpServer.h"
#include "links/DeviceUri.h"
#include "monitoring/ExporterMetrics.h"
#include "monitoring/Log.h"
#include "monitoring/Memory.h"
#include "monitoring/Site.h"
#include "system/Listener.h"
#include "system/StopSignals.h"

namespace moxsupply {

namespace {

namespace asio = boost::asio;
using asio::posix::stream_descriptor;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenLooks(500);  // at the list

// At the start, nobody is asked of whom there may be a reading; but a store that is locked keeps
// nobody waiting for longer.
constexpr std::chrono::seconds kPatienceForStore(5);

std::string printersInWords(std::size_t count) {
  return fmt::format("{} printer{}", count, count == 1 ? "" : "s");
}

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

Moment nowInTheWorld() {
  return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

}  // namespace

class Exporter::Parts {
 public:
  Parts(const ExporterSettings& settings, ListFile file, PrinterList list, FileDescriptor listener)
      : mSignalled(mContext, ::dup(mSignals.descriptor())),
        mNextMove(mContext),
        mNextLook(mContext),
        mNoLongerForStore(mContext),
        mFile(std::move(file)),
        mMetrics(MOXSUPPLY_VERSION),
        mQueries(mContext, settings.queries,
                 [this](Prober::Id id, QueryResult result) {
                   mProber.ended(id, std::move(result), Clock::now());
                   moveOn();
                 }),
        mProber(settings.limits,
                {.begin = [this](const Assignment& one) { mQueries.begin(one); },
                 .stop = [this](Prober::Id id) { mQueries.stop(id); },
                 .answered = [this](const Prober::Printer& printer) { noteEnd(printer); },
                 .released = [this](const std::string& target) { mServer.wake(target); }}),
        mAddress(addressOf(listener.get())),
        mNotifier(
            mContext, settings.notify, [this](std::int64_t last) { mMemory->told(last); },
            [this](const std::string& line) { mLog.line(line); }),
        mMemory(memoryIn(settings.store, !settings.notify.command.empty())),
        mWhere(mMemory ? fmt::format(", remembered in {}", settings.store) : ""),
        mIsHeld(mMemory != nullptr),
        mSite(mProber, mMetrics, HostNames(mAddress, settings.hosts), settings.limits.deadline,
              settings.deliveryDays, mMemory.get()),
        mServer(
            mContext, std::move(listener), settings.mostConnections,
            [this](const HttpRequest& request, Clock::time_point arrived, bool isLast) {
              auto reply = mSite.answer(request, arrived, Clock::now(), isLast);
              if (mIsHeld && reply.wait) restoreFirst(reply.wait->topic);
              moveOn();
              return reply;
            },
            Site::isUrgent) {
    take(std::move(list));
  }

  void serve() {
    mLog.line(fmt::format("listening on http://{}/ for {}{}", mAddress,
                          printersInWords(mProber.printers().size()), mWhere));
    awaitSignal();
    lookAtList();
    mNoLongerForStore.expires_after(kPatienceForStore);
    mNoLongerForStore.async_wait([this](const error_code& error) {
      if (!error) holdNoLonger();
    });
    mContext.run();
  }

 private:
  void awaitSignal() {
    mSignalled.async_wait(stream_descriptor::wait_read, [this](const error_code& error) {
      const int signal = error ? SIGTERM : mSignals.take();
      if (signal == SIGINT || signal == SIGTERM) return mContext.stop();
      if (signal == SIGHUP) takeWhatWasRead(mFile.readAgain());
      awaitSignal();
    });
  }

  std::unique_ptr<Memory> memoryIn(const std::string& store, bool isToldOf) {
    if (store.empty()) return nullptr;
    std::function<void(std::vector<Notice>)> notices;
    if (isToldOf) {
      notices = [this](std::vector<Notice> all) { mNotifier.setNotices(std::move(all)); };
    }
    return std::make_unique<Memory>(
        store,
        Memory::Hooks{
            .post = [this](std::function<void()> what) { asio::post(mContext, std::move(what)); },
            .restored = [this](const auto& lasts) { restore(lasts); },
            .loaded = [this] { holdNoLonger(); },
            .log = [this](const std::string& line) { mLog.line(line); },
            .notices = std::move(notices)});
  }

  void restore(const std::vector<Keeper::Last>& lasts) {
    const auto now = Clock::now();
    const Moment today = nowInTheWorld();
    for (const Keeper::Last& last : lasts) {
      const auto target = mTargets.find(last.reading.printer);
      auto supplies = suppliesIn(last.reading);
      if (target == mTargets.end() || !supplies) continue;
      const auto age = std::max(between(last.answered, today), std::chrono::microseconds(0));
      mProber.restore(target->second, *std::move(supplies), now - age, now);
    }
  }

  void restoreFirst(const std::string& target) {
    if (const auto* printer = mProber.find(target)) mMemory->restoreFirst(printer->listed.uri);
  }

  void holdNoLonger() {
    mIsHeld = false;
    mNoLongerForStore.cancel();
    moveOn();
  }

  // Has the prober do what it wants to do now, once what goes on at present is over.
  void moveOn() {
    if (mIsHeld || mIsMoving) return;
    asio::post(mContext, [this] {
      mIsMoving = false;
      mProber.proceed(Clock::now());
      mNextMove.expires_at(mProber.nextMove());
      mNextMove.async_wait([this](const error_code& error) {
        if (!error) moveOn();
      });
    });
    mIsMoving = true;
  }

  void take(PrinterList list) {
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
    mSite.setListProblem({});
    std::erase_if(mToldSilent,
                  [this](const auto& told) { return mProber.find(told.first) == nullptr; });
    std::erase_if(mSilent, [this](const auto& target) { return mProber.find(target) == nullptr; });
    moveOn();
  }

  void lookAtList() {
    mNextLook.expires_after(kBetweenLooks);
    mNextLook.async_wait([this](const error_code& error) {
      if (!error) lookAtList();
    });
    if (auto found = mFile.look()) takeWhatWasRead(*std::move(found));
  }

  void takeWhatWasRead(Result<PrinterList> list) {
    if (list) {
      mLog.line(fmt::format("the list was read again: {}", printersInWords(list->size())));
      return take(*std::move(list));
    }
    mLog.line(fmt::format("{}; the list before stays", list.error().what));
    mMetrics.listRefused();
    mSite.setListProblem(list.error().what);
  }

  void noteEnd(const Prober::Printer& printer) {
    const Prober::Attempt& last = *printer.last;
    const std::string& target = printer.listed.target;
    mMetrics.queryEnded(last.result.outcome, last.duration);
    noteSilence(printer.listed, !last.result.hasSucceeded());
    if (last.result.hasSucceeded()) {
      if (mSilent.erase(target) > 0) mLog.line(fmt::format("{}: answers again", shownUri(target)));
      noteDevice(printer);
      if (mMemory) {
        mMemory->take(printer.listed, printer.reading->supplies,
                      last.result.moment.value_or(nowInTheWorld()));
      }
    } else if (mSilent.insert(target).second) {
      mLog.line(fmt::format("{}: {}; it is asked less and less often until it answers",
                            shownUri(target), last.result.what));
    }
  }

  // Of what has not changed since this program was started, nothing is said.
  void noteSilence(const ListedPrinter& printer, bool isSilent) {
    if (!mMemory) return;
    const auto [told, isFirst] = mToldSilent.emplace(printer.target, isSilent);
    if (!isFirst && std::exchange(told->second, isSilent) == isSilent) return;
    mMemory->takeSilence(printer, isSilent);
  }

  // A printer that stands in the list beside its queue is asked, and shown twice.
  void noteDevice(const Prober::Printer& queue) {
    const auto twin = mPrinters.find(identityOf(queue.last->result.device));
    if (twin == mPrinters.end() || !mNamedTwice.insert(queue.listed.target).second) return;
    mLog.line(fmt::format("{} prints to {}, which stands in the list as well: take one of them out",
                          shownUri(queue.listed.target), shownUri(twin->second)));
  }

  // (The library's own look at signals does without what the system refuses to it, and hears none.)
  StopSignals mSignals{SIGHUP};
  asio::io_context mContext{1};  // one thread
  stream_descriptor mSignalled;
  asio::steady_timer mNextMove;
  asio::steady_timer mNextLook;
  asio::steady_timer mNoLongerForStore;
  bool mIsMoving = false;
  Log mLog;
  ListFile mFile;
  ExporterMetrics mMetrics;
  std::set<std::string> mSilent;                              // targets that failed the last time
  std::map<std::string, bool> mToldSilent;                    // targets, as the memory was told
  std::map<std::string, std::string, std::less<>> mPrinters;  // targets by identity, no queues
  std::map<std::string, std::string, std::less<>> mTargets;   // by the name that is remembered
  std::set<std::string> mNamedTwice;                          // queues of which it was said
  LevelQueries mQueries;
  Prober mProber;
  std::string mAddress;
  Notifier mNotifier;
  std::unique_ptr<Memory> mMemory;
  std::string mWhere;  // that is, for the log
  bool mIsHeld;        // nobody is asked yet
  Site mSite;
  HttpServer mServer;
};

Exporter::Exporter(const ExporterSettings& settings, ListFile file, PrinterList list,
                   FileDescriptor listener)
    : mParts(std::make_unique<Parts>(settings, std::move(file), std::move(list),
                                     std::move(listener))) {}

Exporter::~Exporter() = default;

void Exporter::serve() { mParts->serve(); }

}  // namespace moxsupply
