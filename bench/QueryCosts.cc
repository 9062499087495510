// The processor time of one query of a laser printer on the network, in four ways and in turn:
// a bare connection in this process, with the same requests and reads and nothing decoded; a
// process of the exporter's that has had others before; one that is forked for it; a program that
// is started for it.
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
#include <functional>
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

std::string requestFor(const std::string& uri) {
  return QueryRequest{.uri = uri, .kind = PrinterKind::kLaser, .deadline = 30}.text();
}

// Makes the connection that the process at the other end wants, and hears it out.
void serve(const FileDescriptor& process, const NetworkAddress& address) {
  while (const auto message = takeOver(process.get(), kLongestQueryWord)) {
    switch (QueryWord(message->text.front())) {
      case QueryWord::kConnect: {
        const FileDescriptor link = socketFor(address, 0);
        check(connectTo(address, link) == 0, "connect");
        check(handOver(process.get(), "+", link.get()) == 0, "hand over");
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

// Returns its process, which waits for the next.
FileDescriptor askForked(const std::string& uri, const NetworkAddress& address, int requests) {
  Pipe ends = makePacketPair();
  check(handOver(requests, requestFor(uri), ends.writeEnd.get()) == 0, "no query server");
  ends.writeEnd = FileDescriptor();
  serve(ends.readEnd, address);
  return std::move(ends.readEnd);
}

void askAgain(const std::string& uri, const NetworkAddress& address,
              const FileDescriptor& process) {
  check(handOver(process.get(), requestFor(uri), -1) == 0, "no process");
  serve(process, address);
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

// A process from which queries are forked.
struct Server {
  explicit Server(const std::string& monitoring)
      : process(
            Process::start({.program = monitoring,
                            .arguments = {monitoring, "query-server"},
                            .environment = environmentWith({"LC_ALL=C.UTF-8", "LD_BIND_NOW=1"}),
                            .descriptors = {requests.writeEnd.get(), nowhere.get(), nowhere.get()}})
                .value()) {}

  FileDescriptor nowhere{
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)))};
  Pipe requests = makePacketPair();
  Process process;
};

int run(std::span<char*> arguments) {
  const std::string uri = arguments[1];
  const std::string program = arguments[3];
  const int rounds = arguments.size() > 4 ? std::atoi(arguments[4]) : 1000;
  const auto addresses = addressesOf(parseDeviceUri(uri).value());
  const NetworkAddress& address = addresses.value().front();
  const Server forking(arguments[2]);
  const Server serving(arguments[2]);
  askForked(uri, address, forking.requests.readEnd.get());  // it is there
  const FileDescriptor process = askForked(uri, address, serving.requests.readEnd.get());

  struct Way {
    const char* name;
    std::function<void()> ask;
    const Server* server;  // what it does is this way's, too
    Seconds time{};
  };
  std::array<Way, 4> ways = {{
      {"bare connection", [&] { askBarely(address); }, nullptr},
      {"process used again", [&] { askAgain(uri, address, process); }, &serving},
      {"forked process", [&] { askForked(uri, address, forking.requests.readEnd.get()); },
       &forking},
      {"program", [&] { askByProgram(uri, program); }, nullptr},
  }};
  for (Way& way : ways) {
    if (way.server != nullptr) way.time -= testing::processorTime(way.server->process.pid());
  }
  for (int round = 0; round < rounds; ++round) {
    for (Way& way : ways) {
      const Seconds before = ownTime();
      way.ask();
      way.time += ownTime() - before;
    }
  }
  for (Way& way : ways) {
    if (way.server != nullptr) way.time += testing::processorTime(way.server->process.pid());
    fmt::print("{:18} {:7.0f} us  {:6.1f} times a bare connection\n", way.name,
               1e6 * way.time.count() / rounds, way.time / ways.front().time);
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
