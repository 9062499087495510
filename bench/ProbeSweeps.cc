// Probes an exporter as Prometheus does: each target once an interval, spread over it, each on a
// connection of its own. Says of each sweep how long it and its probes took, and what the exporter
// had of descriptors, and of memory and processor time with all processes that came from it.
//   probe-sweeps PORT PATH PROOF PID SWEEPS INTERVAL < TARGETS
// PATH goes before each target; TARGETS are one a line, and one that begins with "-" is not
// expected to answer. INTERVAL is in seconds; with 0 all targets are probed at once.
#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <mutex>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/monitoring/HttpRequest.h"
#include "tests/support/Processes.h"
#include "tests/support/TextFile.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

int number(std::string_view text) {
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// What a process has of memory, with all that came from it; of what several share, its part.
double megabytes(int pid) {
  std::istringstream file(moxsupply::testing::contentOf(fmt::format("/proc/{}/smaps_rollup", pid)));
  double bytes = 0;
  for (std::string word; file >> word;) {
    if (word != "Pss:") continue;
    file >> bytes;
    break;
  }
  double sum = bytes * 1024 / 1e6;
  for (const pid_t child : moxsupply::testing::childrenOf(pid)) sum += megabytes(child);
  return sum;
}

std::ptrdiff_t descriptors(int pid) {
  const std::filesystem::directory_iterator folder(fmt::format("/proc/{}/fd", pid));
  return std::distance(begin(folder), end(folder));
}

struct Probe {
  bool isExpected;
  bool hasFailed;
  double time;
};

// A quantile of sorted times, in milliseconds.
double quantile(const std::vector<double>& sorted, double part) {
  if (sorted.empty()) return 0;
  const auto place = static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1));
  return 1000 * sorted.at(place);
}

std::vector<Probe> sweep(int port, const std::string& path, const std::string& proof,
                         const std::vector<std::string>& targets, Seconds interval) {
  std::vector<Probe> probes;
  std::mutex mutex;
  std::vector<std::thread> threads;
  const auto begin = Clock::now();
  for (std::size_t i = 0; i < targets.size(); ++i) {
    const double part = static_cast<double>(i) / static_cast<double>(targets.size());
    std::this_thread::sleep_until(begin +
                                  std::chrono::duration_cast<Clock::duration>(interval * part));
    threads.emplace_back([&, i] {
      const std::string& target = targets[i];
      const bool isExpected = !target.starts_with('-');
      const auto start = Clock::now();
      const auto answer = moxsupply::testing::get(
          port, path + (isExpected ? target : target.substr(1)),
          "Connection: close\r\nX-Prometheus-Scrape-Timeout-Seconds: 10\r\n");
      const Seconds time = Clock::now() - start;
      const std::lock_guard lock(mutex);
      const bool hasProof = !isExpected || answer.body.find(proof) != std::string::npos;
      probes.push_back({isExpected, answer.status != 200 || !hasProof, time.count()});
    });
  }
  for (std::thread& thread : threads) thread.join();
  return probes;
}

}  // namespace

int main(int argc, char** argv) {
  const std::span<char*> arguments(argv, static_cast<std::size_t>(argc));
  if (argc != 7) {
    fmt::print(stderr, "usage: probe-sweeps PORT PATH PROOF PID SWEEPS INTERVAL < TARGETS\n");
    return 1;
  }
  const int port = number(arguments[1]);
  const int pid = number(arguments[4]);
  const Seconds interval(number(arguments[6]));
  std::vector<std::string> targets;
  for (std::string line; std::getline(std::cin, line);) targets.push_back(line);
  // Neighbours in the list are not neighbours in time.
  std::ranges::sort(targets, {}, std::hash<std::string>());

  for (int round = 1; round <= number(arguments[5]); ++round) {
    const Seconds processorBefore = moxsupply::testing::processorTime(pid);
    const auto begin = Clock::now();
    const std::vector<Probe> probes = sweep(port, arguments[2], arguments[3], targets, interval);
    const Seconds time = Clock::now() - begin;
    std::vector<double> healthy;
    std::vector<double> silent;
    for (const Probe& probe : probes) (probe.isExpected ? healthy : silent).push_back(probe.time);
    std::ranges::sort(healthy);
    std::ranges::sort(silent);
    const auto bad = std::ranges::count_if(probes, &Probe::hasFailed);
    fmt::print(
        "{:5}  {:6.1f} s  {:6.0f} {:6.0f} {:6.0f}  {:7.0f}  {:6}  {:7.1f} MB  {:5}  {:7.2f} ms\n",
        round, time.count(), quantile(healthy, 0.5), quantile(healthy, 0.99), quantile(healthy, 1),
        quantile(silent, 1), bad, megabytes(pid), descriptors(pid),
        1000 * (moxsupply::testing::processorTime(pid) - processorBefore).count() /
            static_cast<double>(probes.size()));
    std::cout.flush();
    std::this_thread::sleep_until(begin + std::chrono::duration_cast<Clock::duration>(interval));
  }
}
