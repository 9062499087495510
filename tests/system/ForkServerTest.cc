// A process from which others are forked: what reaches them, what does not, and how they end.
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>

#include "system/ForkServer.h"
#include "system/HandedDescriptor.h"
#include "system/Pipe.h"
#include "system/Process.h"
#include "tests/support/Processes.h"

namespace moxsupply::testing {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

void say(const FileDescriptor& socket, const std::string& text) {
  static_cast<void>(writeAll(socket.get(), text));
}

// What is asked for here.
void serve(const std::string& request, const FileDescriptor& socket) {
  if (request == "sleep") {
    say(socket, "asleep");
    ::sleep(60);
  }
  if (request == "die") std::raise(SIGKILL);
  if (request == "throw") throw std::runtime_error("so");
  if (request == "descriptors") return say(socket, std::to_string(openDescriptors() - 1));
  say(socket, request + " back");
}

class ForkServerTest : public ::testing::Test {
 protected:
  // The other end of the socket of a piece of work.
  [[nodiscard]] FileDescriptor begin(const std::string& request) const {
    Pipe ends = makePacketPair();
    EXPECT_EQ(handOver(requests.writeEnd.get(), request, ends.writeEnd.get()), 0);
    return std::move(ends.readEnd);
  }

  static std::string hear(const FileDescriptor& socket) {
    return takeOver(socket.get(), 100).value_or(HandedDescriptor{"the end", {}}).text;
  }

  [[nodiscard]] bool hasChildrenSoon(std::size_t count) const {
    for (const auto end = Clock::now() + std::chrono::seconds(10); Clock::now() < end;) {
      if (childrenOf(server.pid()).size() == count) return true;
      std::this_thread::sleep_for(milliseconds(5));
    }
    return false;
  }

  Pipe requests = makePacketPair();
  Process server = Process::fork([this] {
                     requests.writeEnd = FileDescriptor();
                     serveForks(requests.readEnd.get(), serve);
                   }).value();
};

TEST_F(ForkServerTest, HasEachPieceOfWorkDoneByAProcess) {
  for (const char* request : {"one", "two"}) {
    const FileDescriptor socket = begin(request);
    EXPECT_EQ(hear(socket), std::string(request) + " back");
    EXPECT_EQ(hear(socket), "the end");
  }
  EXPECT_TRUE(hasChildrenSoon(0)) << "what has ended has a place in the process table";
}

TEST_F(ForkServerTest, LeavesThemNothingButTheirOwn) {
  const FileDescriptor other = begin("sleep");
  EXPECT_EQ(hear(other), "asleep");
  EXPECT_EQ(hear(begin("descriptors")), "4");  // three that lead nowhere, and the socket
}

TEST_F(ForkServerTest, KillsWhatIsNotWantedAnyMore) {
  FileDescriptor socket = begin("sleep");
  EXPECT_EQ(hear(socket), "asleep");
  EXPECT_TRUE(hasChildrenSoon(1));
  socket = FileDescriptor();
  EXPECT_TRUE(hasChildrenSoon(0));
}

TEST_F(ForkServerTest, KillsNoOtherThanThat) {
  std::array<FileDescriptor, 3> sockets;
  for (FileDescriptor& socket : sockets) {
    socket = begin("sleep");
    EXPECT_EQ(hear(socket), "asleep");
  }
  EXPECT_TRUE(hasChildrenSoon(3));
  sockets[1] = FileDescriptor();
  EXPECT_TRUE(hasChildrenSoon(2));
  for (const std::size_t other : {0U, 2U}) {
    pollfd end = {.fd = sockets.at(other).get(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&end, 1, 0), 0) << other;
  }
}

TEST_F(ForkServerTest, OutlivesThem) {
  EXPECT_EQ(hear(begin("die")), "the end");
  EXPECT_EQ(hear(begin("throw")), "the end");
  EXPECT_EQ(hear(begin("three")), "three back");
}

TEST_F(ForkServerTest, ForksNothingForARequestWithoutASocket) {
  EXPECT_EQ(handOver(requests.writeEnd.get(), "one", -1), 0);
  EXPECT_EQ(hear(begin("two")), "two back");
}

TEST_F(ForkServerTest, EndsWithThem) {
  const FileDescriptor socket = begin("sleep");
  EXPECT_EQ(hear(socket), "asleep");
  requests.writeEnd = FileDescriptor();
  requests.readEnd = FileDescriptor();
  EXPECT_TRUE(server.waitFor(std::chrono::seconds(10)));
  EXPECT_EQ(hear(socket), "the end");
}

}  // namespace
}  // namespace moxsupply::testing
