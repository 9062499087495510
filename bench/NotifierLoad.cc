// What the notifier costs those who print, and how soon it brings levels: twenty queues, whose
// printers take one connection at a time, get the same jobs at the same times in a print server
// without it and in one with it.
//   notifier-load [JOBS [PAUSE [GAP]]]   1040 jobs in all, at most 2000; a pause of 5 seconds; 4
//                                        seconds between two jobs of a queue on the average

#include <cups/cups.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "simulator/Printer.h"
#include "system/FileDescriptor.h"
#include "tests/queue/Drivers.h"
#include "tests/queue/PrintTools.h"
#include "tests/queue/PrivatePrintServer.h"
#include "tests/support/Models.h"
#include "tests/support/ReservedPort.h"

namespace moxsupply {
namespace {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Milliseconds = std::chrono::duration<double, std::milli>;
using namespace std::chrono_literals;

constexpr int kQueues = 20;
constexpr auto kAnswer = 30ms;  // what the printer takes for an answer
constexpr auto kPage = 200ms;   // and for a page
constexpr auto kSoon = 5s;
constexpr std::uint32_t kFull = 100;  // percent; each page takes one

std::string queueName(int number) { return fmt::format("office{}", number); }

// A printer that counts its pages and has one connection at a time.
class Printer {
 public:
  Printer() : mListener(testing::listenOn(mPort)), mThread([this] { serve(); }) {}
  ~Printer() {
    mStops = true;
    mThread.join();
  }
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;
  Printer(Printer&&) = delete;
  Printer& operator=(Printer&&) = delete;

  struct Page {
    Time begun;
    Time over;
  };

  [[nodiscard]] std::string uri() const { return mPort.uri(); }

  // By when they came; only once nothing comes any more.
  [[nodiscard]] const std::vector<Page>& pages() const { return mPages; }
  [[nodiscard]] const std::vector<Time>& reports() const { return mReports; }  // their ends

 private:
  static bool isReadable(int socket) {
    pollfd polled = {.fd = socket, .events = POLLIN, .revents = 0};
    return ::poll(&polled, 1, 100) > 0;
  }

  void serve() {
    while (!mStops) {
      if (!isReadable(mListener.get())) continue;
      const FileDescriptor socket(::accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (socket) converse(socket.get());
    }
  }

  void converse(int socket) {
    const auto level = kFull - static_cast<std::uint32_t>(mPages.size());
    const simulator::Model model = testing::laserPrinter({{"Black", level}});
    simulator::Printer requests(model, [](const auto& /*junk*/) {});
    std::optional<Page> page;
    std::array<std::uint8_t, 4096> buffer{};
    while (!mStops) {
      if (!isReadable(socket)) continue;
      const ssize_t count = ::read(socket, buffer.data(), buffer.size());
      if (count <= 0) break;
      const std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(count));
      const bool isPage = bytes.size() > 1 && bytes[0] == '%' && bytes[1] == '!';
      if (isPage && !page) page = Page{.begun = Clock::now(), .over = {}};
      if (page) continue;
      for (const simulator::Write& write : requests.receive(bytes)) {
        std::this_thread::sleep_for(kAnswer);
        static_cast<void>(::send(socket, write.bytes.data(), write.bytes.size(), MSG_NOSIGNAL));
      }
    }
    if (page) {
      std::this_thread::sleep_for(kPage);
      page->over = Clock::now();
      mPages.push_back(*page);
    } else {
      mReports.push_back(Clock::now());
    }
  }

  testing::ReservedPort mPort;
  FileDescriptor mListener;
  std::vector<Page> mPages;
  std::vector<Time> mReports;
  std::atomic<bool> mStops = false;
  std::thread mThread;
};

struct CloseHttp {
  void operator()(http_t* http) const { httpClose(http); }
};
using Http = std::unique_ptr<http_t, CloseHttp>;

Http connect(const std::string& socket) {
  constexpr int kPatience = 30'000;
  Http http(httpConnect2(socket.c_str(), 0, nullptr, AF_UNSPEC, HTTP_ENCRYPTION_IF_REQUESTED, 1,
                         kPatience, nullptr));
  if (http == nullptr) throw std::runtime_error("no connection to the print server");
  return http;
}

// When which level of a queue could be seen for the first time.
using Seen = std::map<std::string, std::map<int, Time>>;

void lookAtLevels(http_t* http, Seen& seen) {
  static constexpr std::array kAttributes = {"printer-name", "marker-levels"};
  ipp_t* request = ippNewRequest(IPP_OP_CUPS_GET_PRINTERS);
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                kAttributes.size(), nullptr, kAttributes.data());
  ipp_t* answer = cupsDoRequest(http, request, "/");
  const Time now = Clock::now();
  std::string name;
  std::optional<int> level;
  const auto note = [&] {
    if (!name.empty() && level) seen[name].emplace(*level, now);
    name.clear();
    level.reset();
  };
  for (ipp_attribute_t* attribute = ippFirstAttribute(answer); attribute != nullptr;
       attribute = ippNextAttribute(answer)) {
    const char* word = ippGetName(attribute);
    if (word == nullptr) {
      note();
    } else if (word == std::string_view("printer-name")) {
      name = ippGetString(attribute, 0, nullptr);
    } else if (word == std::string_view("marker-levels")) {
      level = ippGetInteger(attribute, 0);
    }
  }
  note();
  ippDelete(answer);
}

struct Load {
  int jobs = 0;                // of a queue
  std::chrono::seconds pause;  // of the notifier
  std::chrono::seconds gap;    // between two jobs of a queue, on the average
};

// When each job of a queue is submitted, from the beginning; the same in every run.
std::vector<Milliseconds> schedule(int queue, const Load& load) {
  std::mt19937 random(static_cast<std::uint32_t>(queue));
  std::exponential_distribution<double> gap(1 / Milliseconds(load.gap).count());
  std::vector<Milliseconds> times;
  times.reserve(static_cast<std::size_t>(load.jobs));
  Milliseconds time{0};
  for (int i = 0; i < load.jobs; ++i) times.push_back(time += Milliseconds(gap(random)));
  return times;
}

struct QueueRun {
  std::vector<Time> submitted;
  std::vector<Printer::Page> pages;
  std::vector<Time> reports;
};

struct Run {
  std::vector<QueueRun> queues;
  Seen seen;
};

void submitAll(const std::string& socket, const std::string& file, int queue, Time start,
               std::vector<Time>& submitted, const Load& load) {
  const Http http = connect(socket);
  cups_option_t* options = nullptr;
  const int count = cupsAddOption("raw", "true", 0, &options);
  for (const Milliseconds time : schedule(queue, load)) {
    std::this_thread::sleep_until(start + std::chrono::duration_cast<Clock::duration>(time));
    submitted.push_back(Clock::now());
    const int job = cupsPrintFile2(http.get(), queueName(queue).c_str(), file.c_str(), "A page",
                                   count, options);
    if (job == 0) fmt::print(stderr, "notifier-load: {}\n", cupsLastErrorString());
  }
  cupsFreeOptions(count, options);
}

Run take(bool withNotifier, const Load& load) {
  const testing::PrivatePrintServer cups(testing::PrivatePrintServer::Policy::kOpen, load.pause);
  // Without it every job asks for SNMP for four seconds, which `enable` would take away.
  const std::string driver = testing::driver("*cupsSNMPSupplies: False\n");
  std::vector<std::unique_ptr<Printer>> printers;
  for (int queue = 0; queue < kQueues; ++queue) {
    printers.push_back(std::make_unique<Printer>());
    testing::addQueue(cups, queueName(queue), printers.back()->uri(), driver);
    if (!withNotifier) continue;
    const auto ran = cups.moxsupply({"enable", queueName(queue), "--type", "laser"});
    if (ran.exitStatus != 0) throw std::runtime_error(ran.errors);
  }
  const std::string socket = cups.folder() / "cups.sock";
  const std::string file = cups.folder() / "home/page";
  std::ofstream(file) << "%!PS a page\n";

  Run run;
  run.queues.resize(kQueues);
  std::atomic<bool> isOver = false;
  std::thread looking([&] {
    const Http http = connect(socket);
    while (!isOver) {
      if (withNotifier) lookAtLevels(http.get(), run.seen);
      std::this_thread::sleep_for(100ms);
    }
  });
  const Time start = Clock::now() + 1s;
  std::vector<std::thread> submitting;
  submitting.reserve(kQueues);
  for (int queue = 0; queue < kQueues; ++queue) {
    submitting.emplace_back(submitAll, socket, file, queue, start,
                            std::ref(run.queues[static_cast<std::size_t>(queue)].submitted),
                            std::cref(load));
  }
  for (std::thread& thread : submitting) thread.join();
  std::this_thread::sleep_for(load.pause + 2 * kSoon);  // for the last ones
  isOver = true;
  looking.join();
  for (std::size_t queue = 0; queue < printers.size(); ++queue) {
    run.queues[queue].pages = printers[queue]->pages();
    run.queues[queue].reports = printers[queue]->reports();
  }
  return run;
}

// How long each job waited from its submission until the printer had its first bytes.
std::vector<double> starts(const Run& run) {
  std::vector<double> times;
  for (const QueueRun& queue : run.queues) {
    if (queue.pages.size() != queue.submitted.size()) throw std::runtime_error("pages were lost");
    for (std::size_t i = 0; i < queue.pages.size(); ++i) {
      times.push_back(Milliseconds(queue.pages[i].begun - queue.submitted[i]).count());
    }
  }
  return times;
}

// From a job's end, or the end of the pause after it, until its level could be seen; of those jobs
// after which none waited then. Nothing for a level that never came.
std::vector<std::optional<double>> levelTimes(const Run& run, std::chrono::seconds pause) {
  std::vector<std::optional<double>> times;
  for (std::size_t number = 0; number < run.queues.size(); ++number) {
    const QueueRun& queue = run.queues[number];
    const auto found = run.seen.find(queueName(static_cast<int>(number)));
    for (std::size_t i = 0; i < queue.pages.size(); ++i) {
      Time due = queue.pages[i].over;
      for (const Time report : queue.reports) {
        if (report < queue.pages[i].over) due = std::max(due, report + pause);
      }
      bool mustWait = false;
      for (std::size_t j = i + 1; j < queue.pages.size(); ++j) {
        mustWait |= queue.submitted[j] <= due && queue.pages[j].over >= due;
      }
      if (mustWait) continue;
      const int level = static_cast<int>(kFull) - static_cast<int>(i) - 1;
      std::optional<Time> seen;
      if (found != run.seen.end()) {
        for (const auto& [shown, time] : found->second) {
          if (shown <= level) seen = std::min(seen.value_or(time), time);
        }
      }
      times.push_back(seen ? std::optional(Milliseconds(*seen - due).count()) : std::nullopt);
    }
  }
  return times;
}

// The least that this part of them do not exceed.
double quantile(std::vector<double> values, double part) {
  std::ranges::sort(values);
  const auto last = static_cast<double>(values.size() - 1);
  return values[static_cast<std::size_t>(last * part)];
}

void showRow(std::string_view name, const std::vector<double>& times) {
  fmt::print("{:<44}{:>9.0f} ms{:>9.0f} ms{:>9.0f} ms\n", name, quantile(times, 0.5),
             quantile(times, 0.99), quantile(times, 1));
}

void show(const Run& without, const Run& with, std::chrono::seconds pause) {
  const std::vector<double> before = starts(without);
  const std::vector<double> after = starts(with);
  std::vector<double> later;
  for (std::size_t i = 0; i < before.size(); ++i) later.push_back(after[i] - before[i]);
  fmt::print("{:<44}{:>12}{:>12}{:>12}\n", "from submission until the printer has the job",
             "median", "99 of 100", "worst");
  showRow("without the notifier", before);
  showRow("with it", after);
  showRow("with it later, job by job", later);
  fmt::print(
      "{} of {} jobs began more than 200 ms later than without it, {} more than 200 ms "
      "earlier.\n",
      std::ranges::count_if(later, [](double time) { return time > 200; }), later.size(),
      std::ranges::count_if(later, [](double time) { return time < -200; }));

  std::size_t reports = 0;
  for (const QueueRun& queue : with.queues) reports += queue.reports.size();
  std::vector<double> seen;
  const auto all = levelTimes(with, pause);
  for (const auto& time : all) {
    if (time) seen.push_back(*time);
  }
  const auto soon =
      std::ranges::count_if(seen, [](double time) { return time <= Milliseconds(kSoon).count(); });
  fmt::print(
      "\n{} reports. Where no job waited, {} of {} new levels were there within 5 s ({:.1f} "
      "of 100);\n",
      reports, soon, all.size(), 100 * static_cast<double>(soon) / static_cast<double>(all.size()));
  fmt::print("median {:.0f} ms, 95 of 100 within {:.0f} ms, worst {:.0f} ms.\n",
             quantile(seen, 0.5), quantile(seen, 0.95), quantile(seen, 1));
}

int run(const Load& load) {
  // The level tells the jobs of a queue apart.
  if (load.jobs < 1 || load.jobs > static_cast<int>(kFull)) {
    throw std::runtime_error(fmt::format("expected {} to {} jobs", kQueues, kFull * kQueues));
  }
  const Run without = take(false, load);
  const Run with = take(true, load);
  show(without, with, load.pause);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace moxsupply

int main(int argc, char** argv) try {
  const auto number = [&](int place, int otherwise) {
    return argc > place ? std::atoi(argv[place]) : otherwise;
  };
  return moxsupply::run({.jobs = number(1, 1040) / moxsupply::kQueues,
                         .pause = std::chrono::seconds(number(2, 5)),
                         .gap = std::chrono::seconds(number(3, 4))});
} catch (const std::exception& error) {
  std::fprintf(stderr, "notifier-load: %s\n", error.what());
  return EXIT_FAILURE;
}
