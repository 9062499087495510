#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <thread>

#include "system/FileDescriptor.h"
#include "tests/support/ReservedPort.h"

namespace moxsupply::testing {

// Every place of its queue is taken, so the network takes no further connection.
class PortWithoutConnections : public ReservedPort {
 public:
  PortWithoutConnections() {
    ::listen(mListener.get(), 0);
    for (FileDescriptor& connection : mConnections) connection = connectWithoutWaiting();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }

 private:
  [[nodiscard]] FileDescriptor connectWithoutWaiting() const {
    FileDescriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const sockaddr_in address = {.sin_family = AF_INET,
                                 .sin_port = htons(static_cast<std::uint16_t>(number())),
                                 .sin_addr = {htonl(INADDR_LOOPBACK)},
                                 .sin_zero = {}};
    static_cast<void>(
        ::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    return connection;
  }

  FileDescriptor mListener = listenOn(*this);
  std::array<FileDescriptor, 4> mConnections;
};

}  // namespace moxsupply::testing
