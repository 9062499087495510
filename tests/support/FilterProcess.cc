#include "tests/support/FilterProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <limits>
#include <thread>

#include "system/Pipe.h"
#include "tests/support/BecomeProgram.h"
#include "tests/support/ReservedPort.h"

// Writes the coverage counters out. Present in coverage builds only: their preset has it linked in,
// which a weak reference alone does not do.
extern "C" __attribute__((weak)) void __gcov_dump();  // NOLINT(*-reserved-identifier,cert-*)

namespace moxsupply::testing {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(10);
constexpr int kBackChannel = 3;

Pipe madeOf(std::array<int, 2> ends) {
  return {aboveFilterDescriptors(FileDescriptor(ends[0])),
          aboveFilterDescriptors(FileDescriptor(ends[1]))};
}

Pipe makeMessageSocket() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) std::abort();
  return madeOf(ends);
}

// The filter's end is the one to read from.
Pipe makeTcpConnection() {
  const ReservedPort port;
  const FileDescriptor listener = listenOn(port);
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size);
  const int filter = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (::connect(filter, reinterpret_cast<sockaddr*>(&address), size) != 0) std::abort();
  return madeOf({filter, ::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC)});
}

Pipe makeBackChannel(BackChannel kind) {
  switch (kind) {
    case BackChannel::kNonBlockingPipe:
      return makePipe(Blocking::kNo);
    case BackChannel::kBlockingPipe:
      return makePipe(Blocking::kYes);
    case BackChannel::kSocketPair:
      return makeSocketPair();
    case BackChannel::kMessages:
      return makeMessageSocket();
    case BackChannel::kTcp:
      return makeTcpConnection();
    case BackChannel::kClosed:
      break;
  }
  return {};
}

FileDescriptor copyOf(const FileDescriptor& descriptor) {
  return FileDescriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, 5));
}

// Reads until `count` bytes have come, the end, or patience runs out.
Bytes readUpTo(int descriptor, std::size_t count) {
  Bytes bytes;
  const auto deadline = steady_clock::now() + kPatience;
  while (bytes.size() < count) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
    pollfd readable = {.fd = descriptor, .events = POLLIN, .revents = 0};
    if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) <= 0) {
      ADD_FAILURE() << "waited in vain for " << count << " bytes, had " << bytes.size();
      break;
    }
    std::array<std::uint8_t, 4096> buffer{};
    const ssize_t got =
        ::read(descriptor, buffer.data(), std::min(buffer.size(), count - bytes.size()));
    if (got <= 0) break;
    bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + got);
  }
  return bytes;
}

std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

constexpr std::size_t kUntilTheEnd = std::numeric_limits<std::size_t>::max();

}  // namespace

void awaitBackChannel() {
  pollfd readable = {.fd = kBackChannel, .events = POLLIN, .revents = 0};
  ::poll(&readable, 1, static_cast<int>(milliseconds(kPatience).count()));
}

Bytes restOfBackChannel() { return readUpTo(kBackChannel, kUntilTheEnd); }

FilterProcess::FilterProcess(BackChannel backChannel, const std::function<std::string()>& body) {
  start(backChannel, [&](int resultDescriptor) {
    const std::string result = body();
    static_cast<void>(writeAll(resultDescriptor, result));
  });
}

FilterProcess::FilterProcess(BackChannel backChannel, const std::vector<std::string>& command,
                             const std::vector<std::string>& environment,
                             std::span<const std::uint8_t> waiting) {
  const auto inChild = [&](int resultDescriptor) {
    ::dup2(resultDescriptor, STDERR_FILENO);
    becomeProgram(command, environment);
  };
  start(backChannel, inChild, waiting);
}

void FilterProcess::start(BackChannel backChannel, const std::function<void(int)>& inChild,
                          std::span<const std::uint8_t> waiting) {
  Pipe result = makePipe(Blocking::kYes);
  Pipe back = makeBackChannel(backChannel);
  // Written to by the filter, read from here.
  Pipe output = backChannel == BackChannel::kTcp
                    ? Pipe{.readEnd = copyOf(back.writeEnd), .writeEnd = copyOf(back.readEnd)}
                    : makePipe(Blocking::kYes);
  if (writeAll(back.writeEnd.get(), textOf(waiting)) != 0) std::abort();
  ::signal(SIGPIPE, SIG_IGN);
  std::fflush(nullptr);
  const pid_t parent = ::getpid();
  mPid = ::fork();
  if (mPid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(126);
    ::signal(SIGPIPE, SIG_DFL);
    ::dup2(output.writeEnd.get(), STDOUT_FILENO);
    if (back.readEnd) {
      ::dup2(back.readEnd.get(), kBackChannel);
    } else {
      ::close(kBackChannel);
    }
    // Only the child's own ends stay open, so that an end shows when this process lets go.
    output = {};
    back = {};
    result.readEnd = {};
    inChild(result.writeEnd.get());
    if (__gcov_dump != nullptr) __gcov_dump();
    ::_exit(0);
  }
  if (mPid < 0) std::abort();
  mOutput = std::move(output.readEnd);
  mResult = std::move(result.readEnd);
  mBackChannel = std::move(back.writeEnd);
}

FilterProcess::~FilterProcess() {
  if (mPid > 0) {
    ::kill(mPid, SIGKILL);
    ::waitpid(mPid, nullptr, 0);
  }
}

void FilterProcess::send(std::span<const std::uint8_t> bytes) {
  // A filter that has ended no longer reads; what it made of the bytes before shows in its ending.
  const int error = writeAll(mBackChannel.get(), textOf(bytes));
  EXPECT_TRUE(error == 0 || error == EPIPE) << std::strerror(error);
}

void FilterProcess::awaitRead() {
  const auto deadline = steady_clock::now() + kPatience;
  for (int unread = 1; isRunning();) {
    // The bytes that wait in the pipe, or at the other end of the socket.
    if (::ioctl(mBackChannel.get(), FIONREAD, &unread) != 0) std::abort();
    int unsent = 0;
    if (::ioctl(mBackChannel.get(), TIOCOUTQ, &unsent) == 0) unread = unsent;
    if (unread == 0) return;
    if (steady_clock::now() > deadline) {
      ADD_FAILURE() << unread << " bytes on the back channel were not read";
      return;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
}

void FilterProcess::sendInPieces(const std::vector<Bytes>& pieces) {
  for (const Bytes& piece : pieces) {
    awaitRead();
    if (!isRunning()) return;
    send(piece);
  }
}

void FilterProcess::resetLink() {
  const linger atOnce = {.l_onoff = 1, .l_linger = 0};
  ::setsockopt(mBackChannel.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  closeLink();
  endBackChannel();
}

Bytes FilterProcess::receive(std::size_t count) { return readUpTo(mOutput.get(), count); }

Bytes FilterProcess::receiveSome(std::size_t most) {
  Bytes bytes(most);
  const ssize_t count = ::read(mOutput.get(), bytes.data(), bytes.size());
  return firstBytes(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
}

bool FilterProcess::isRunning() const {
  siginfo_t info{};
  return ::waitid(P_PID, static_cast<id_t>(mPid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == 0;
}

FilterProcess::Ending FilterProcess::wait() {
  Ending ending;
  if (mOutput) ending.written = readUpTo(mOutput.get(), kUntilTheEnd);
  const Bytes result = readUpTo(mResult.get(), kUntilTheEnd);
  ending.result.assign(result.begin(), result.end());
  if (mPid <= 0) return ending;  // it was waited for before
  if (::testing::Test::HasFailure()) ::kill(mPid, SIGKILL);
  int status = 0;
  rusage usage{};
  ::wait4(mPid, &status, 0, &usage);
  mPid = -1;
  if (WIFEXITED(status)) ending.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) ending.signal = WTERMSIG(status);
  const auto seconds = [](const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
  };
  ending.processorTime = seconds(usage.ru_utime) + seconds(usage.ru_stime);
  ending.peakMemory = usage.ru_maxrss;
  return ending;
}

}  // namespace moxsupply::testing
