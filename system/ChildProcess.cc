#include "system/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "system/FileDescriptor.h"

namespace moxsupply {

ChildProcess::ChildProcess(const std::function<void()>& body) {
  std::fflush(nullptr);  // or the child would write out what this process has not yet
  const pid_t parent = ::getpid();
  mPid = ::fork();
  if (mPid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(EXIT_FAILURE);  // it ended before the line above
    body();
    ::_exit(EXIT_SUCCESS);
  }
  constexpr int kExitedWith127 = 127 << 8;
  if (mPid < 0) mWaitStatus = kExitedWith127;
}

bool ChildProcess::waitFor(std::chrono::milliseconds patience) {
  if (mPid <= 0) return true;
  // Readable once the child has ended. (glibc 2.36 has pidfd_open, older ones the call only.)
  const FileDescriptor ending(static_cast<int>(::syscall(SYS_pidfd_open, mPid, 0)));
  pollfd ended = {.fd = ending.get(), .events = POLLIN, .revents = 0};
  if (::poll(&ended, 1, static_cast<int>(patience.count())) <= 0) return false;
  int status = 0;
  ::waitpid(std::exchange(mPid, -1), &status, 0);
  mWaitStatus = status;
  return true;
}

void ChildProcess::kill() noexcept {
  if (mPid <= 0) return;
  int status = 0;
  ::kill(mPid, SIGKILL);
  ::waitpid(std::exchange(mPid, -1), &status, 0);
  mWaitStatus = status;
}

}  // namespace moxsupply
