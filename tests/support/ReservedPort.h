#pragma once

#include <string>

#include "system/FileDescriptor.h"

namespace moxsupply::testing {

// A TCP port of this machine that stays the test's own. Nobody listens there, so connections are
// refused, until some server of the test's choice does; when that goes, another may take its place.
class ReservedPort {
 public:
  ReservedPort();

  [[nodiscard]] int number() const { return mNumber; }
  [[nodiscard]] std::string address() const;    // 127.0.0.1:PORT
  [[nodiscard]] std::string deviceUri() const;  // socket://127.0.0.1:PORT/

 private:
  FileDescriptor mSocket;
  int mNumber = 0;
};

// A socket that listens on that port and does not block.
FileDescriptor listenOn(const ReservedPort& port);

}  // namespace moxsupply::testing
