// The floor under `moxsupply levels socket://`: a process that links libcups, connects to the
// printer, sends the inkjet requests, reads one reply with cupsBackChannelRead, and ends. It
// decodes and shows nothing.
//   bare-exchange PORT    the printer is on this machine; without PORT nothing is asked at all

#include <arpa/inet.h>
#include <cups/sidechannel.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::array<std::uint8_t, 9> kLoopBack = {0xA5, 0x00, 0x06, 0x40, 0x03,
                                                   0x04, 0x20, 0x20, 0x20};
constexpr std::array<std::uint8_t, 8> kInkjetQuery = {0xA5, 0x00, 0x05, 0x50,
                                                      0xE0, 0x81, 0x00, 0xFF};

bool exchange(const char* port) {
  sockaddr_in printer{};
  printer.sin_family = AF_INET;
  printer.sin_port = htons(static_cast<std::uint16_t>(std::atoi(port)));
  printer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int link = ::socket(AF_INET, SOCK_STREAM, 0);
  if (::connect(link, reinterpret_cast<sockaddr*>(&printer), sizeof(printer)) != 0) return false;
  const int on = 1;
  ::setsockopt(link, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  ::dup2(link, 3);

  std::array<char, 512> buffer{};
  if (::write(link, kLoopBack.data(), kLoopBack.size()) < 0) return false;
  if (::write(link, kInkjetQuery.data(), kInkjetQuery.size()) < 0) return false;
  if (cupsBackChannelRead(buffer.data(), 5, 2.0) != 5) return false;
  const long rest =
      static_cast<unsigned char>(buffer[1]) * 256L + static_cast<unsigned char>(buffer[2]) - 2;
  if (rest < 0 || rest > static_cast<long>(buffer.size())) return false;
  return cupsBackChannelRead(buffer.data(), static_cast<std::size_t>(rest), 2.0) == rest;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 0;
  return exchange(argv[1]) ? EXIT_SUCCESS : EXIT_FAILURE;
}
