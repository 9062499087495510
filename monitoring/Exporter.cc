#include "monitoring/Exporter.h"

#include <fmt/format.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <utility>

#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::chrono::milliseconds kBetweenLooks(500);  // at the list

std::string printersInWords(std::size_t count) {
  return fmt::format("{} printer{}", count, count == 1 ? "" : "s");
}

}  // namespace

void logLine(const std::string& line) {
  static_cast<void>(
      writeAll(STDERR_FILENO, fmt::format("moxsupply exporter: {}\n", forTerminal(line))));
}

Exporter::Exporter(const ExporterSettings& settings, ListFile file, PrinterList list,
                   FileDescriptor listener)
    : mFile(std::move(file)),
      mMetrics(MOXSUPPLY_VERSION),
      mQueries(mLoop, settings.levels, settings.deadline,
               [this](Prober::Id id, QueryResult result) {
                 mProber.ended(id, std::move(result), EventLoop::Clock::now());
               }),
      mProber(settings.limits,
              {.begin = [this](const Prober::Assignment& one) { mQueries.begin(one); },
               .stop = [this](Prober::Id id) { mQueries.stop(id); },
               .answered = [this](const Prober::Printer& printer) { noteEnd(printer); },
               .released = [this](const std::string& target) { mServer.wake(target); }}),
      mSite(mProber, mMetrics, settings.deadline),
      mServer(mLoop, std::move(listener), settings.mostConnections,
              [this](const std::string& head, EventLoop::Clock::time_point arrived, bool isLast) {
                return mSite.answer(head, arrived, EventLoop::Clock::now(), isLast);
              }) {
  take(std::move(list));
}

void Exporter::serve() {
  mLoop.watch(mSignals.descriptor(), EPOLLIN, [this](std::uint32_t) { mLoop.stop(); });
  lookAtList();
  mLoop.run([this] {
    mProber.proceed(EventLoop::Clock::now());
    return mProber.nextMove();
  });
}

void Exporter::take(PrinterList list) {
  mMetrics.listTaken(list.size());
  mProber.setList(std::move(list));
  mSite.setListProblem({});
  std::erase_if(mSilent, [this](const auto& target) { return mProber.find(target) == nullptr; });
}

void Exporter::lookAtList() {
  mLoop.at(EventLoop::Clock::now() + kBetweenLooks, [this] { lookAtList(); });
  auto found = mFile.look();
  if (!found) return;
  Result<PrinterList>& list = *found;
  if (list) {
    logLine(fmt::format("the list has changed: {}", printersInWords(list->size())));
    return take(*std::move(list));
  }
  const std::string& problem = list.error().what;
  logLine(fmt::format("{}; the list before stays", problem));
  mMetrics.listRefused();
  mSite.setListProblem(problem);
}

void Exporter::noteEnd(const Prober::Printer& printer) {
  const Prober::Attempt& last = *printer.last;
  const std::string& target = printer.listed.target;
  mMetrics.queryEnded(last.result.outcome, last.duration);
  if (last.result.hasSucceeded()) {
    if (mSilent.erase(target) > 0) logLine(fmt::format("{}: answers again", target));
  } else if (mSilent.insert(target).second) {
    logLine(fmt::format("{}: {}", target, last.result.what));
  }
}

}  // namespace moxsupply
