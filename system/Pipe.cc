#include "system/Pipe.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace moxsupply {

namespace {

Pipe outOfTheWay(const std::array<int, 2>& ends) {
  return {aboveFilterDescriptors(FileDescriptor(ends[0])),
          aboveFilterDescriptors(FileDescriptor(ends[1]))};
}

Pipe makePairOf(int type) {
  std::array<int, 2> ends{};
  const int result = ::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data());
  return result == 0 ? outOfTheWay(ends) : Pipe{};
}

}  // namespace

Pipe makePipe(Blocking blocking) {
  std::array<int, 2> ends{};
  const int flags = O_CLOEXEC | (blocking == Blocking::kYes ? 0 : O_NONBLOCK);
  return ::pipe2(ends.data(), flags) == 0 ? outOfTheWay(ends) : Pipe{};
}

Pipe makeSocketPair() { return makePairOf(SOCK_STREAM); }

Pipe makePacketPair() { return makePairOf(SOCK_SEQPACKET); }

}  // namespace moxsupply
