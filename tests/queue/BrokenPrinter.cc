#include "tests/queue/BrokenPrinter.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <utility>

#include "simulator/Printer.h"
#include "simulator/Requests.h"

namespace moxsupply::testing {

BrokenPrinter::BrokenPrinter(const ReservedPort& port, Fault fault, simulator::Model model)
    : mFault(fault),
      mModel(std::move(model)),
      mListener(listenOn(port)),
      mThread([this] { serve(); }) {}

BrokenPrinter::~BrokenPrinter() {
  mStop.writeEnd = FileDescriptor();
  mThread.join();
}

void BrokenPrinter::serve() {
  while (await(mListener.get(), POLLIN)) {
    talk(FileDescriptor(::accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC)));
  }
}

void BrokenPrinter::talk(FileDescriptor connection) {
  simulator::Printer printer(mModel, [](const simulator::Junk& /*junk*/) {});
  std::array<std::uint8_t, 4096> buffer{};
  while (await(connection.get(), POLLIN)) {
    const ssize_t count = ::recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) {
      mHeld.push_back(std::move(connection));
      return;
    }
    if (mFault == Fault::kSilent) continue;
    if (mFault == Fault::kFloods || mFault == Fault::kFloodsPackets) {
      return flood(connection.get());
    }
    const auto reply = printer.receive(std::span(buffer).first(static_cast<std::size_t>(count)));
    for (const simulator::Write& write : reply) {
      const bool breaksOff = mFault == Fault::kHangsUpMidReply;
      const std::size_t size = write.bytes.size() / (breaksOff ? 2 : 1);
      static_cast<void>(::send(connection.get(), write.bytes.data(), size, MSG_NOSIGNAL));
      if (breaksOff) return;
    }
  }
}

void BrokenPrinter::flood(int connection) {
  simulator::Bytes bytes(4096, 'x');
  if (mFault == Fault::kFloodsPackets) {
    const simulator::Bytes packet = simulator::prefixPacket();
    bytes.clear();
    while (bytes.size() < 4096) bytes.insert(bytes.end(), packet.begin(), packet.end());
  }
  std::size_t sent = 0;
  while (await(connection, POLLOUT)) {
    const ssize_t count =
        ::send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0) return;
    sent = (sent + static_cast<std::size_t>(count)) % bytes.size();
  }
}

bool BrokenPrinter::await(int descriptor, short events) const {
  std::array<pollfd, 2> sources = {{{.fd = mStop.readEnd.get(), .events = POLLIN, .revents = 0},
                                    {.fd = descriptor, .events = events, .revents = 0}}};
  ::poll(sources.data(), sources.size(), -1);
  return sources[0].revents == 0;
}

}  // namespace moxsupply::testing
