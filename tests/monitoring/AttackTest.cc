// Everything that clients have been seen to do wrong, all of it at once, for a while: a good client
// is served all the time, and in the end the exporter has no more memory and descriptors than
// before.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/monitoring/ExporterProcess.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/support/SilentPort.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

// With the sanitizers, which see what is overrun or lost, for a minute.
constexpr seconds kTime(MOXSUPPLY_SLOW_BUILD != 0 ? 60 : 6);

// How soon a good client is served.
constexpr double kSoon = 2;  // seconds

constexpr std::size_t kMegabyte = std::size_t{1} << 20U;

// An attacker has a number, which is the seed of what it does.
class Attacker {
 public:
  Attacker(unsigned number, int port, std::string silentTarget)
      : mRandom(number), mPort(port), mSilentTarget(std::move(silentTarget)) {}

  void attackOnce() {
    using Attack = void (Attacker::*)();
    constexpr std::array<Attack, 9> kAttacks = {
        &Attacker::mutate,  &Attacker::hangUp,    &Attacker::reset,
        &Attacker::beSlow,  &Attacker::beDeaf,    &Attacker::pipeline,
        &Attacker::askALot, &Attacker::halfClose, &Attacker::crowd};
    (this->*kAttacks.at(below(kAttacks.size())))();
  }

 private:
  std::size_t below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(mRandom);
  }

  std::string ordinary() {
    const std::array<std::string, 11> paths = {
        "/",
        "/metrics",
        "/-/healthy",
        "/style.css",
        probeOf(mSilentTarget),
        probeOf("192.0.2.77"),
        fmt::format("/?find={}&page={}&order=place", below(100), below(1000)),
        "/printer?target=" + mSilentTarget,
        fmt::format("/orders?within={}", below(400)),
        fmt::format("/orders.csv?within={}", below(400)),
        "/nothing"};
    const std::array<std::string, 7> headers = {
        "",
        "Accept-Encoding: gzip\r\n",
        "Connection: close\r\n",
        "X-Prometheus-Scrape-Timeout-Seconds: 1\r\n",
        "Range: bytes=0-1,0-1,-,-\r\n",
        "Sec-Fetch-Site: cross-site\r\nOrigin: http://evil.example\r\n",
        "X-Prometheus-Scrape-Timeout-Seconds: 1\nRange: bytes=-,-,-\r\n"};
    if (below(8) == 0) {  // a form, sometimes longer than it says, or shorter
      const std::string form = fmt::format("target={}&token={}", mSilentTarget, below(1000));
      return fmt::format("POST /ask HTTP/1.1\r\n{}Content-Length: {}\r\n\r\n{}", kHost,
                         form.size() + below(3) - 1, form);
    }
    return getting(paths.at(below(paths.size())), headers.at(below(headers.size())));
  }

  // Bytes of a request changed, left out, or there many times.
  void mutate() {
    std::string bytes = ordinary();
    for (std::size_t i = below(8); i > 0; --i) {
      const std::size_t place = below(bytes.size());
      switch (below(4)) {
        case 0:
          bytes[place] = static_cast<char>(below(256));
          break;
        case 1:
          bytes.erase(place, below(16));
          break;
        case 2:
          bytes.insert(place, std::string(below(9000), static_cast<char>(below(256))));
          break;
        default:
          bytes.insert(place, bytes.substr(below(bytes.size())));
      }
    }
    const FileDescriptor client = connectAndSend(mPort, bytes);
    takeSome(client);
  }

  void hangUp() {
    for (int i = 0; i < 50; ++i) connectAndSend(mPort, getting(probeOf(mSilentTarget)));
  }

  void reset() {
    const FileDescriptor client = connectAndSend(mPort, ordinary());
    const linger atOnce = {.l_onoff = 1, .l_linger = 0};
    ::setsockopt(client.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  }

  void beSlow() {
    const FileDescriptor client = connectAndSend(mPort, "GET / HT");
    for (std::size_t i = below(50); i > 0; --i) {
      if (::send(client.get(), "x", 1, MSG_NOSIGNAL) < 0) return;
      std::this_thread::sleep_for(milliseconds(10));
    }
  }

  // Asks for much, and takes none of it.
  void beDeaf() {
    std::string bytes;
    for (int i = 0; i < 200; ++i) bytes += getting("/style.css");
    const FileDescriptor client = connectAndSend(mPort, bytes);
    std::this_thread::sleep_for(milliseconds(below(500)));
  }

  void pipeline() {
    std::string bytes;
    for (std::size_t i = 0; i < 20; ++i) bytes += ordinary();
    const FileDescriptor client = connectAndSend(mPort, bytes);
    takeSome(client);
  }

  void askALot() {
    const FileDescriptor client = connectAndSend(mPort, "GET /" + std::string(below(20'000), '('));
    takeSome(client);
  }

  void halfClose() {
    const FileDescriptor client = connectAndSend(mPort, ordinary());
    ::shutdown(client.get(), SHUT_WR);
    takeSome(client);
  }

  void crowd() {
    std::vector<FileDescriptor> clients(100);
    std::ranges::generate(clients, [this] { return connectAndSend(mPort, ordinary()); });
  }

  // Some of the answer, for not too long.
  static void takeSome(const FileDescriptor& client) {
    const timeval patience = {.tv_sec = 0, .tv_usec = 200'000};
    ::setsockopt(client.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    std::array<char, 65536> buffer{};
    ::recv(client.get(), buffer.data(), buffer.size(), 0);
  }

  std::mt19937 mRandom;
  int mPort;
  std::string mSilentTarget;
};

std::size_t descriptorsOf(pid_t process) {
  const std::filesystem::directory_iterator all(fmt::format("/proc/{}/fd", process));
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::size_t memoryOf(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/status", process));
  constexpr std::string_view kResident = "VmRSS:";
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(kResident)) return std::stoul(line.substr(kResident.size())) * 1024;
  }
  return 0;
}

TEST(AnAttackFromAllSides, ChangesNothing) {
  // The sanitizer would keep what has been given back, and that is what is measured here.
  ::setenv("ASAN_OPTIONS", "quarantine_size_mb=1", 1);
  const SimulatedPrinter printer("laser-colour-full");
  const SilentPort silent;
  const std::string list = listOf({printer.uri(), silent.uri()}, "laser");
  ExporterProcess exporter(list, {"--min-interval=1", "--deadline=2"},
                           {"prlimit", "--nofile=1024"});

  // With its store open, which may take a moment on a busy disk, and what forks its queries.
  EXPECT_EQ(get(exporter.port(), probeOf(printer.uri())).status, 200);
  std::this_thread::sleep_for(seconds(1));
  const std::size_t descriptors = descriptorsOf(exporter.pid());

  std::atomic<bool> isOver = false;
  std::vector<std::thread> attackers;
  for (unsigned number = 0; number < 6; ++number) {
    attackers.emplace_back([&, number] {
      Attacker attacker(number, exporter.port(), silent.uri());
      while (!isOver) attacker.attackOnce();
    });
  }
  attackers.emplace_back([&] {
    for (bool isGood = false; !isOver; isGood = !isGood) {
      exporter.replaceList(isGood ? list : std::string(100'000, '['));
      ::kill(exporter.pid(), SIGHUP);
      std::this_thread::sleep_for(milliseconds(300));
    }
    exporter.replaceList(list);
  });

  double longest = 0;
  std::size_t served = 0;
  std::size_t memoryEarly = 0;
  const auto begin = Clock::now();
  while (Clock::now() - begin < kTime) {
    for (const std::string& path : {std::string("/-/healthy"), std::string("/"),
                                    std::string("/metrics"), probeOf(printer.uri())}) {
      const HttpAnswer answer = get(exporter.port(), path);
      EXPECT_EQ(answer.status, 200) << path;
      longest = std::max(longest, answer.time.count());
      ++served;
    }
    if (memoryEarly == 0 && Clock::now() - begin > kTime / 3) {
      memoryEarly = memoryOf(exporter.pid());
    }
    std::this_thread::sleep_for(milliseconds(20));
  }
  isOver = true;
  for (std::thread& attacker : attackers) attacker.join();
  EXPECT_LT(longest, kSoon);

  // All clients are gone; the query of the silent printer ends at its deadline.
  for (const auto end = Clock::now() + seconds(10);
       descriptorsOf(exporter.pid()) > descriptors && Clock::now() < end;) {
    std::this_thread::sleep_for(milliseconds(50));
  }
  EXPECT_LE(descriptorsOf(exporter.pid()), descriptors);
  const std::size_t memory = memoryOf(exporter.pid());
  EXPECT_LT(memory, memoryEarly + 16 * kMegabyte);
  std::printf(
      "%zu answers, the slowest after %.3f s; %zu MB after a third of the time, %zu at its end\n",
      served, longest, memoryEarly / kMegabyte, memory / kMegabyte);
  const auto ending = exporter.terminate();
  EXPECT_EQ(ending.exitStatus, 0) << exporter.log();
  EXPECT_EQ(exporter.log().find("ERROR"), std::string::npos) << exporter.log();
}

}  // namespace
}  // namespace moxsupply::testing
