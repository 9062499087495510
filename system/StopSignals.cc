#include "system/StopSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace moxsupply {

StopSignals::StopSignals(std::initializer_list<int> others) {
  ::sigemptyset(&mSignals);
  for (const int number : {SIGINT, SIGTERM}) ::sigaddset(&mSignals, number);
  for (const int number : others) ::sigaddset(&mSignals, number);
  ::sigprocmask(SIG_BLOCK, &mSignals, nullptr);
  mDescriptor = FileDescriptor(::signalfd(-1, &mSignals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!mDescriptor) throw std::system_error(errno, std::generic_category(), "signalfd");
}

int StopSignals::take() const {
  signalfd_siginfo info{};
  if (::read(descriptor(), &info, sizeof info) != static_cast<ssize_t>(sizeof info)) return 0;
  return static_cast<int>(info.ssi_signo);
}

void StopSignals::letThrough() const { ::sigprocmask(SIG_UNBLOCK, &mSignals, nullptr); }

}  // namespace moxsupply
