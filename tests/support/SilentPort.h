#pragma once

#include <poll.h>
#include <sys/socket.h>

#include "system/FileDescriptor.h"
#include "tests/support/ReservedPort.h"

namespace moxsupply::testing {

// A port at which connections are taken, and nothing is ever said.
//
// Use it where a host is to wait in vain, or where the test itself takes the connection and is the
// printer, byte by byte. Where nobody is to listen, ReservedPort; where a printer is to answer, or
// to fall silent later, SimulatedPrinter.
class SilentPort : public ReservedPort {
 public:
  // Takes one connection; empty when none comes within ten seconds.
  [[nodiscard]] FileDescriptor accept() const {
    pollfd waiting = {.fd = mListener.get(), .events = POLLIN, .revents = 0};
    ::poll(&waiting, 1, 10'000);
    return FileDescriptor(::accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  }

  // To see whether somebody has connected.
  [[nodiscard]] int listener() const { return mListener.get(); }

 private:
  FileDescriptor mListener = listenOn(*this);
};

}  // namespace moxsupply::testing
