#include "system/StopSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace moxsupply {

namespace {

sigset_t stopSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM}) ::sigaddset(&signals, number);
  return signals;
}

}  // namespace

StopSignals::StopSignals() {
  const sigset_t signals = stopSignals();
  ::sigprocmask(SIG_BLOCK, &signals, nullptr);
  mDescriptor = FileDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!mDescriptor) throw std::system_error(errno, std::generic_category(), "signalfd");
}

int StopSignals::take() const {
  signalfd_siginfo info{};
  if (::read(descriptor(), &info, sizeof info) != static_cast<ssize_t>(sizeof info)) return 0;
  return static_cast<int>(info.ssi_signo);
}

void StopSignals::letThrough() const {
  const sigset_t signals = stopSignals();
  ::sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace moxsupply
