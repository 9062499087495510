// The processor time of one query of a laser printer on the network, in three ways and in turn:
// a bare connection in this process, with the same requests and reads and nothing decoded; a
// process that is forked for it, as the exporter does it; a program that is started for it.
//   query-costs URI MONITORING PROGRAM [ROUNDS]   the last two: moxsupply-monitoring and moxsupply
#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "links/ConnectedQuery.h"
#include "links/TcpLink.h"
#include "system/HandedDescriptor.h"
#include "system/Pipe.h"
#include "system/Process.h"
#include "tests/support/Processes.h"

namespace {

using namespace moxsupply;
using Seconds = std::chrono::duration<double>;

// What the module sends: for the supplies, and for the model's record.
constexpr auto kSupplies = std::to_array<std::uint8_t>(
    {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4, 0x5B, 0x10, 0xEF, 0xA4, 0x5B, 0x11, 0xEE, 0x00,
     0xFF, 0x13, 0xEC, 0x2E, 0xA5, 0x00, 0x08, 0x50, 0xE0, 0x21, 0x01, 0x00, 0x00, 0x01, 0x08});
constexpr auto kModel = std::to_array<std::uint8_t>(
    {0xA5, 0x00, 0x10, 0x80, 0xA4, 0x5B, 0xA4, 0x5B, 0x10, 0xEF, 0xA4, 0x5B, 0x11, 0xEE,
     0x00, 0xFF, 0x13, 0xEC, 0x2E, 0xA5, 0x00, 0x05, 0x50, 0xE0, 0x07, 0x02, 0x00});

void check(bool isWell, const char* what) {
  if (!isWell) throw std::runtime_error(what);
}

void exchange(int link, std::span<const std::uint8_t> request) {
  check(::write(link, request.data(), request.size()) > 0, "write");
  std::array<std::uint8_t, 4096> buffer{};
  pollfd readable = {.fd = link, .events = POLLIN, .revents = 0};
  std::size_t count = 0;
  std::size_t whole = 5;  // what comes before a packet's data
  while (count < whole) {
    check(::poll(&readable, 1, 2000) == 1, "no answer");
    const ssize_t read = ::read(link, &buffer[count], whole - count);
    check(read > 0, "read");
    count += static_cast<std::size_t>(read);
    if (count == 5) whole = 3U + buffer[1] * 256U + buffer[2];
    check(whole <= buffer.size(), "a longer answer than this reads");
  }
}

void askBarely(const NetworkAddress& address) {
  const FileDescriptor link = socketFor(address, 0);
  check(connectTo(address, link) == 0, "connect");
  exchange(link.get(), kSupplies);
  exchange(link.get(), kModel);
}

void askForked(const std::string& uri, const NetworkAddress& address, int requests) {
  Pipe ends = makePacketPair();
  const std::string request = QueryRequest{uri, PrinterKind::kLaser, 30}.text();
  check(handOver(requests, request, ends.writeEnd.get()) == 0, "no query server");
  ends.writeEnd = FileDescriptor();
  while (const auto message = takeOver(ends.readEnd.get(), kLongestQueryWord)) {
    switch (QueryWord(message->text.front())) {
      case QueryWord::kConnect: {
        const FileDescriptor link = socketFor(address, 0);
        check(connectTo(address, link) == 0, "connect");
        check(handOver(ends.readEnd.get(), "+", link.get()) == 0, "hand over");
        break;
      }
      case QueryWord::kLastPart:
        return check(message->text.starts_with("R0"), "not a success");
      default:
        break;
    }
  }
  throw std::runtime_error("a query ended without a result");
}

void askByProgram(const std::string& uri, const std::string& program) {
  const FileDescriptor nowhere(
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC))));
  auto process =
      Process::start({.program = program,
                      .arguments = {program, "levels", "--format", "json", "--type", "laser", uri},
                      .descriptors = {nowhere.get(), nowhere.get(), nowhere.get()}});
  check(process.has_value(), "no program");
  process->wait();
  check(process->shellStatus() == 0, "the program failed");
}

// Of this process, and of those that came from it and have ended.
Seconds ownTime() {
  Seconds sum{};
  for (const auto whose : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    ::getrusage(whose, &usage);
    for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
      sum += std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    }
  }
  return sum;
}

int run(std::span<char*> arguments) {
  const std::string uri = arguments[1];
  const std::string program = arguments[3];
  const int rounds = arguments.size() > 4 ? std::atoi(arguments[4]) : 1000;
  const auto addresses = addressesOf(parseDeviceUri(uri).value());
  const NetworkAddress& address = addresses.value().front();
  Pipe requests = makePacketPair();
  const FileDescriptor nowhere(
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC))));
  const Process server =
      Process::start({.program = arguments[2],
                      .arguments = {arguments[2], "query-server"},
                      .environment = environmentWith({"LC_ALL=C.UTF-8", "LD_BIND_NOW=1"}),
                      .descriptors = {requests.writeEnd.get(), nowhere.get(), nowhere.get()}})
          .value();
  askForked(uri, address, requests.readEnd.get());  // it is there

  std::array<Seconds, 3> times{};
  const Seconds serverBefore = testing::processorTime(server.pid());
  for (int round = 0; round < rounds; ++round) {
    const std::array<Seconds, 4> marks = {
        ownTime(), (askBarely(address), ownTime()),
        (askForked(uri, address, requests.readEnd.get()), ownTime()),
        (askByProgram(uri, program), ownTime())};
    for (std::size_t i = 0; i < times.size(); ++i) times.at(i) += marks.at(i + 1) - marks.at(i);
  }
  times[1] += testing::processorTime(server.pid()) - serverBefore;
  constexpr std::array kWays = {"bare connection", "forked query", "program"};
  for (std::size_t i = 0; i < times.size(); ++i) {
    fmt::print("{:16} {:7.0f} us  {:6.1f} times a bare connection\n", kWays.at(i),
               1e6 * times.at(i).count() / rounds, times.at(i) / times[0]);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 4) {
    fmt::print(stderr, "usage: query-costs URI MONITORING PROGRAM [ROUNDS]\n");
    return 2;
  }
  return run({argv, static_cast<std::size_t>(argc)});
} catch (const std::exception& error) {
  fmt::print(stderr, "query-costs: {}\n", error.what());
  return 1;
}
