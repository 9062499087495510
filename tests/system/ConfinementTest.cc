// A room without doors, tried from inside: each process here goes in, and tells what it could do.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "system/Apart.h"
#include "system/Confinement.h"
#include "system/ConfinementMeans.h"
#include "system/HandedDescriptor.h"
#include "system/Pipe.h"

namespace moxsupply::testing {
namespace {

// What comes of it inside: "allowed", or the errno of why not.
std::string inside(const std::function<bool()>& attempt) {
  static const Confinement confinement;
  auto apart = Apart::begin([&](const Apart::Finish& finish) {
    confinement.enter();
    errno = 0;
    finish(attempt() ? "allowed" : std::to_string(errno));
  });
  return apart.value()
      .resultBy(Apart::Clock::now() + std::chrono::seconds(20))
      .value_or("it has died");
}

const std::string kRefused = std::to_string(EPERM);

class ARoomWithoutDoors : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!ConfinementMeans::ofThisKernel().areComplete()) GTEST_SKIP() << "the kernel lacks it";
    if (!Confinement::isInForce()) GTEST_SKIP() << "sanitizers need doors";
  }
};

TEST_F(ARoomWithoutDoors, OpensNoFiles) {
  EXPECT_EQ(inside([] { return ::open("/etc/passwd", O_RDONLY) >= 0; }), kRefused);
  EXPECT_EQ(inside([] { return ::open("/tmp", O_TMPFILE | O_RDWR, 0600) >= 0; }), kRefused);
  EXPECT_EQ(inside([] { return ::syscall(SYS_openat2, AT_FDCWD, "/", nullptr, 0) >= 0; }),
            kRefused);
  EXPECT_EQ(inside([] { return ::unlink("/tmp/nothing-of-this-name") == 0; }), kRefused);
  EXPECT_EQ(inside([] { return ::rename("/tmp/nothing-of-this-name", "/tmp/x") == 0; }), kRefused);
}

TEST_F(ARoomWithoutDoors, MakesNoConnections) {
  EXPECT_EQ(inside([] { return ::socket(AF_INET, SOCK_STREAM, 0) >= 0; }), kRefused);
  EXPECT_EQ(inside([] { return ::socket(AF_UNIX, SOCK_DGRAM, 0) >= 0; }), kRefused);
  const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = {.sin_family = AF_INET,
                         .sin_port = htons(9),
                         .sin_addr = {htonl(INADDR_LOOPBACK)},
                         .sin_zero = {}};
  auto* to = reinterpret_cast<sockaddr*>(&address);
  EXPECT_EQ(inside([&] { return ::connect(socket.get(), to, sizeof address) == 0; }), kRefused);
  EXPECT_EQ(inside([&] { return ::bind(socket.get(), to, sizeof address) == 0; }), kRefused);
  EXPECT_EQ(inside([&] { return ::listen(socket.get(), 1) == 0; }), kRefused);
  // What is sent so connects, too.
  EXPECT_EQ(
      inside([&] { return ::sendto(socket.get(), "x", 1, MSG_FASTOPEN, to, sizeof address) > 0; }),
      kRefused);
  EXPECT_EQ(inside([&] {
              msghdr message{};
              message.msg_name = to;
              message.msg_namelen = sizeof address;
              return ::sendmsg(socket.get(), &message, MSG_FASTOPEN) >= 0;
            }),
            kRefused);
}

TEST_F(ARoomWithoutDoors, StartsNoPrograms) {
  EXPECT_EQ(inside([] { return ::execl("/bin/true", "true", nullptr) == 0; }), kRefused);
  EXPECT_EQ(inside([] { return ::fork() >= 0; }), kRefused);
  // NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.vfork): that it does not work is the point.
  EXPECT_EQ(inside([] { return ::vfork() >= 0; }), kRefused);
  EXPECT_EQ(inside([] { return ::syscall(SYS_clone3, nullptr, 0) >= 0; }), std::to_string(ENOSYS));
}

TEST_F(ARoomWithoutDoors, TouchesNoOtherProcess) {
  const pid_t parent = ::getpid();
  EXPECT_EQ(inside([&] { return ::kill(parent, 0) == 0; }), kRefused);
  EXPECT_EQ(inside([] { return ::kill(::getpid(), 0) == 0; }), kRefused);
  EXPECT_EQ(inside([&] { return ::ptrace(PTRACE_ATTACH, parent, 0, 0) == 0; }), kRefused);
  EXPECT_EQ(inside([] { return ::ptrace(PTRACE_TRACEME, 0, 0, 0) == 0; }), kRefused);
  EXPECT_EQ(inside([&] { return ::syscall(SYS_pidfd_open, parent, 0) >= 0; }), kRefused);
  EXPECT_EQ(inside([&] { return ::fcntl(STDIN_FILENO, F_SETOWN, parent) == 0; }), kRefused);
}

TEST_F(ARoomWithoutDoors, BringsInNoNewCode) {
  const auto pageWith = [](int protection) {
    return ::mmap(nullptr, 4096, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  };
  EXPECT_EQ(inside([&] { return pageWith(PROT_READ | PROT_EXEC) != MAP_FAILED; }), kRefused);
  EXPECT_EQ(inside([&] { return ::mprotect(pageWith(PROT_WRITE), 4096, PROT_EXEC) == 0; }),
            kRefused);
#if defined(SYS_mmap) && defined(SYS_mmap2)  // the older one's arguments stand in memory
  std::array<unsigned long, 6> page = {0, 4096, PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, ~0UL, 0};
  EXPECT_EQ(inside([&] { return ::syscall(SYS_mmap, page.data(), 0, 0) != -1; }), kRefused);
#endif
}

// Without it the filter of calls would have to name every one that takes a path.
TEST_F(ARoomWithoutDoors, IsClosedToFilesByLandlockAlone) {
  auto apart = Apart::begin([](const Apart::Finish& finish) {
    Confinement::giveUpFiles();
    finish(::open("/etc/passwd", O_RDONLY) >= 0 ? "allowed" : std::to_string(errno));
  });
  EXPECT_EQ(apart.value().resultBy(Apart::Clock::now() + std::chrono::seconds(20)),
            std::to_string(EACCES));
}

TEST_F(ARoomWithoutDoors, HasRoomForWork) {
  EXPECT_EQ(inside([] {
              const auto memory = std::make_unique<std::string>(10'000'000, 'x');
              return memory->back() == 'x';
            }),
            "allowed");
  EXPECT_EQ(inside([] {
              int done = 0;
              std::thread other([&] { done = 1; });
              other.join();
              return done == 1;
            }),
            "allowed");
  EXPECT_EQ(inside([] {
              try {
                throw std::string("caught");
              } catch (const std::string& text) {
                return text == "caught";
              }
            }),
            "allowed");
  EXPECT_EQ(inside([] {
              const Pipe pipe = makePipe(Blocking::kYes);
              pollfd readable = {.fd = pipe.readEnd.get(), .events = POLLIN, .revents = 0};
              if (::poll(&readable, 1, 10) != 0) return false;
              char byte = 0;
              return writeAll(pipe.writeEnd.get(), "x") == 0 &&
                     ::read(pipe.readEnd.get(), &byte, 1) == 1 && byte == 'x';
            }),
            "allowed");
}

TEST_F(ARoomWithoutDoors, TakesWhatItIsHanded) {
  const Pipe ends = makePacketPair();
  EXPECT_EQ(handOver(ends.writeEnd.get(), "+", STDIN_FILENO), 0);
  EXPECT_EQ(inside([&] { return bool(takeOver(ends.readEnd.get(), 1)->descriptor); }), "allowed");
}

TEST_F(ARoomWithoutDoors, IsForWhoWentIn) {
  inside([] { return true; });
  EXPECT_GE(FileDescriptor(::open("/etc/passwd", O_RDONLY | O_CLOEXEC)).get(), 0);
}

}  // namespace
}  // namespace moxsupply::testing
