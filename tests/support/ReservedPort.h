#pragma once

#include <string>

#include "system/FileDescriptor.h"

namespace moxsupply::testing {

// A TCP port of this machine that stays the test's own.
//
// Use it alone where nobody is to listen, so that connections are refused; or with `listenOn`,
// where servers of the test's own are to follow one another on it. Where one is to take connections
// and say nothing, SilentPort; where a printer is to answer, SimulatedPrinter.
class ReservedPort {
 public:
  ReservedPort();

  [[nodiscard]] int number() const { return mNumber; }
  [[nodiscard]] std::string address() const;  // 127.0.0.1:PORT
  [[nodiscard]] std::string uri() const;      // socket://127.0.0.1:PORT

 private:
  FileDescriptor mSocket;
  int mNumber = 0;
};

// A socket that listens on that port and does not block.
FileDescriptor listenOn(const ReservedPort& port);

}  // namespace moxsupply::testing
