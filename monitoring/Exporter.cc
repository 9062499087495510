#include "monitoring/Exporter.h"

#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <functional>
#include <system_error>
#include <utility>

#include "http/HttpServer.h"
#include "monitoring/Instant.h"
#include "monitoring/Log.h"
#include "monitoring/MemoryThread.h"
#include "monitoring/Monitor.h"
#include "system/Listener.h"
#include "system/StopSignals.h"

namespace moxsupply {

namespace {

namespace asio = boost::asio;
using asio::posix::stream_descriptor;
using boost::system::error_code;
using Clock = Monitor::Clock;

constexpr std::chrono::milliseconds kBetweenLooks(500);  // at the list

std::string printersInWords(std::size_t count) {
  return fmt::format("{} printer{}", count, count == 1 ? "" : "s");
}

}  // namespace

class Exporter::Parts {
 public:
  Parts(const ExporterSettings& settings, ListFile file, PrinterList list, FileDescriptor listener)
      : mSignalled(mContext, ::dup(mSignals.descriptor())),
        mNextMove(mContext),
        mNextLook(mContext),
        mFile(std::move(file)),
        mQueries(mContext, settings.queries,
                 [this](Prober::Id id, QueryResult result) {
                   mMonitor.ended(id, std::move(result), Instant::now());
                   moveOn();
                 }),
        mAddress(addressOf(listener.get())),
        mNotifier(
            mContext, settings.notify, [this](std::int64_t last) { mMonitor.memory()->told(last); },
            [this](const std::string& line) { mLog.line(line); }),
        mWhere(settings.store.empty() ? "" : fmt::format(", remembered in {}", settings.store)),
        mMonitor({.limits = settings.limits,
                  .address = mAddress,
                  .hosts = settings.hosts,
                  .deliveryDays = settings.deliveryDays,
                  .store = settings.store},
                 hooks(!settings.notify.command.empty()), Clock::now()),
        mServer(
            mContext, std::move(listener), settings.mostConnections,
            [this](const HttpRequest& request, Clock::time_point arrived, bool isLast) {
              auto reply = mMonitor.answer(request, arrived, Instant::now(), isLast);
              moveOn();
              return reply;
            },
            Site::isUrgent) {
    mMonitor.take(std::move(list));
    if (auto* memory = mMonitor.memory()) mMemoryThread = std::make_unique<MemoryThread>(*memory);
  }

  void serve() {
    mLog.line(fmt::format("listening on http://{}/ for {}{}", mAddress,
                          printersInWords(mMonitor.prober().printers().size()), mWhere));
    awaitSignal();
    lookAtList();
    moveOn();
    mContext.run();
  }

 private:
  Monitor::Hooks hooks(bool isToldOf) {
    Monitor::Hooks hooks{.begin = [this](const Assignment& one) { mQueries.begin(one); },
                         .stop = [this](Prober::Id id) { mQueries.stop(id); },
                         .released = [this](const std::string& target) { mServer.wake(target); },
                         .log = [this](const std::string& line) { mLog.line(line); },
                         .wakeMemory =
                             [this] {
                               if (mMemoryThread) mMemoryThread->wake();
                             },
                         .post =
                             [this](Memory::News what) {
                               asio::post(mContext, [this, what = std::move(what)] {
                                 what(Instant::now());
                                 moveOn();
                               });
                             }};
    if (isToldOf) {
      hooks.notices = [this](std::vector<Notice> all) { mNotifier.setNotices(std::move(all)); };
    }
    return hooks;
  }

  void awaitSignal() {
    mSignalled.async_wait(stream_descriptor::wait_read, [this](const error_code& error) {
      if (error) throw std::system_error(error, "waiting for signals");
      const int signal = mSignals.take();
      if (signal == SIGINT || signal == SIGTERM) return mContext.stop();
      if (signal == SIGHUP) takeWhatWasRead(mFile.readAgain());
      awaitSignal();
    });
  }

  // Has the monitor do what it wants to do now, once what goes on at present is over.
  void moveOn() {
    if (mIsMoving) return;
    asio::post(mContext, [this] {
      mIsMoving = false;
      mMonitor.proceed(Clock::now());
      mNextMove.expires_at(mMonitor.nextMove());
      mNextMove.async_wait([this](const error_code& error) {
        if (!error) moveOn();
      });
    });
    mIsMoving = true;
  }

  void lookAtList() {
    mNextLook.expires_after(kBetweenLooks);
    mNextLook.async_wait([this](const error_code& error) {
      if (!error) lookAtList();
    });
    if (auto found = mFile.look()) takeWhatWasRead(*std::move(found));
  }

  void takeWhatWasRead(Result<PrinterList> list) {
    mLog.line(list ? fmt::format("the list was read again: {}", printersInWords(list->size()))
                   : fmt::format("{}; the list before stays", list.error().what));
    mMonitor.take(std::move(list));
    moveOn();
  }

  // (The library's own look at signals does without what the system refuses to it, and hears none.)
  StopSignals mSignals{SIGHUP};
  asio::io_context mContext{1};  // one thread
  stream_descriptor mSignalled;
  asio::steady_timer mNextMove;
  asio::steady_timer mNextLook;
  bool mIsMoving = false;
  Log mLog;
  ListFile mFile;
  LevelQueries mQueries;
  std::string mAddress;
  Notifier mNotifier;
  std::string mWhere;  // it remembers, for the log
  Monitor mMonitor;
  HttpServer mServer;
  std::unique_ptr<MemoryThread> mMemoryThread;  // ends before the others do
};

Exporter::Exporter(const ExporterSettings& settings, ListFile file, PrinterList list,
                   FileDescriptor listener)
    : mParts(std::make_unique<Parts>(settings, std::move(file), std::move(list),
                                     std::move(listener))) {}

Exporter::~Exporter() = default;

void Exporter::serve() { mParts->serve(); }

}  // namespace moxsupply
