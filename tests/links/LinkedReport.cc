#include "tests/links/LinkedReport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "system/MemoryFile.h"
#include "system/Pipe.h"
#include "system/ReadFile.h"

namespace moxsupply::testing {

namespace {

constexpr std::size_t kMostRead = std::size_t{1} << 20U;

constexpr int kBackChannel = 3;

// Both ends of a TCP connection; reading from it does not block.
Pipe tcpConnection() {
  const FileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  FileDescriptor host(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (::bind(listener.get(), generic, size) != 0 || ::listen(listener.get(), 1) != 0 ||
      ::getsockname(listener.get(), generic, &size) != 0 ||
      ::connect(host.get(), generic, size) != 0) {
    std::abort();
  }
  FileDescriptor printer(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  return {aboveFilterDescriptors(std::move(host)), aboveFilterDescriptors(std::move(printer))};
}

[[noreturn]] void becomeReport(const Golden& exchange, const char* timeout) {
  const bool isLaser = exchange.kind == Golden::Kind::kLaser;
  ::setenv("LC_ALL", "C", 1);
  ::execl(MOXSUPPLY_PROGRAM, MOXSUPPLY_PROGRAM, "report", "--printer-type",
          isLaser ? "Laser" : "Inkjet", "--transport", exchange.transport.c_str(), "--timeout",
          timeout, nullptr);
  ::_exit(127);
}

}  // namespace

LinkedReport::LinkedReport(const Golden& exchange, const char* timeout, std::vector<Talk> talk,
                           Fault fault)
    : mTalk(std::move(talk)), mFault(fault), mErrors(memoryFile("")) {
  FileDescriptor output;
  FileDescriptor backChannel;
  if (fault == Fault::kReset) {
    auto [host, printer] = tcpConnection();
    backChannel = aboveFilterDescriptors(FileDescriptor(::fcntl(host.get(), F_DUPFD_CLOEXEC, 0)));
    output = std::move(host);
    mReplies = FileDescriptor(::fcntl(printer.get(), F_DUPFD_CLOEXEC, 0));
    mRequests = std::move(printer);
  } else {
    Pipe requests = makePipe(Blocking::kYes);
    Pipe replies = makePipe(Blocking::kNo);
    output = std::move(requests.writeEnd);
    backChannel = std::move(replies.readEnd);
    mRequests = std::move(requests.readEnd);
    mReplies = std::move(replies.writeEnd);
  }
  // Whatever the report starts has the other end of this one, too, and keeps it from its end.
  Pipe life = makePipe(Blocking::kYes);
  mEnd = std::move(life.readEnd);
  mProcess = ChildProcess([&] {
    ::dup2(output.get(), STDOUT_FILENO);
    ::dup2(mErrors.get(), STDERR_FILENO);
    ::dup2(backChannel.get(), kBackChannel);
    ::fcntl(life.writeEnd.get(), F_SETFD, 0);
    becomeReport(exchange, timeout);
  });
}

void LinkedReport::proceed() {
  if (!mStart) mStart = Clock::now();
  std::array<char, 256> buffer{};
  const ssize_t count = ::read(mRequests.get(), buffer.data(), buffer.size());
  if (count <= 0) {
    mRequests = FileDescriptor();
    return;
  }
  mReceived += static_cast<std::size_t>(count);
  if (mAnswered < mTalk.size() && mReceived >= mTalk[mAnswered].requestSize) answer();
}

void LinkedReport::answer() {
  mReceived -= mTalk[mAnswered].requestSize;
  const Bytes& replies = mTalk[mAnswered].replies;
  const std::string_view text(reinterpret_cast<const char*>(replies.data()), replies.size());
  EXPECT_EQ(writeAll(mReplies.get(), text), 0);
  ++mAnswered;
  const bool isLast = mAnswered == mTalk.size() || mTalk[mAnswered].replies.empty();
  if (isLast) fail();
}

void LinkedReport::fail() {
  if (mFault == Fault::kSilent) return;
  if (mFault == Fault::kReset) {
    const linger atOnce = {.l_onoff = 1, .l_linger = 0};
    ::setsockopt(mReplies.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  }
  mReplies = FileDescriptor();
  mRequests = FileDescriptor();
}

LinkedReport::Ending LinkedReport::finish() {
  Ending ending;
  ending.life = Clock::now() - mBirth;
  ending.time = mStart ? Clock::now() - *mStart : ending.life;
  if (!mProcess.waitFor(std::chrono::seconds(10))) ADD_FAILURE() << "it let go, but did not end";
  const int status = mProcess.waitStatus().value_or(-1);
  if (WIFEXITED(status)) ending.exitStatus = WEXITSTATUS(status);
  ending.result = readFile(mErrors.get(), kMostRead).value();
  return ending;
}

}  // namespace moxsupply::testing
