#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <optional>
#include <string>

#include "system/Listener.h"
#include "tests/support/Client.h"

namespace moxsupply::testing {
namespace {

// Why nobody can listen there; none when one can.
std::optional<int> whyNot(const std::string& addressAndPort) {
  const auto listener = listenOn(addressAndPort);
  if (listener) return std::nullopt;
  return listener.error();
}

TEST(Listener, HasAFreePortWhenItAsksForZero) {
  const FileDescriptor listener = listenOn("127.0.0.1:0").value();
  const std::string address = addressOf(listener.get());
  EXPECT_EQ(address.find("127.0.0.1:"), 0U) << address;
  EXPECT_NE(address, "127.0.0.1:0");
  const Client client("socket://" + address);
  EXPECT_TRUE(FileDescriptor(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC)));
}

TEST(Listener, TakesIpv6InBrackets) {
  if (!FileDescriptor(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0))) GTEST_SKIP();
  const FileDescriptor listener = listenOn("[::1]:0").value();
  const std::string address = addressOf(listener.get());
  EXPECT_EQ(address.find("[::1]:"), 0U) << address;
  const Client client("socket://" + address);
}

TEST(Listener, NeitherBlocksNorIsInherited) {
  const FileDescriptor listener = listenOn("127.0.0.1:0").value();
  EXPECT_NE(::fcntl(listener.get(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(::fcntl(listener.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(Listener, TellsThatAnAddressIsTaken) {
  const FileDescriptor first = listenOn("127.0.0.1:0").value();
  EXPECT_EQ(whyNot(addressOf(first.get())), EADDRINUSE);
}

TEST(Listener, HasTheAddressAgainAfterAnother) {
  FileDescriptor listener = listenOn("127.0.0.1:0").value();
  const std::string address = addressOf(listener.get());
  {
    const Client client("socket://" + address);  // its end leaves the port in a state of waiting
    listener = FileDescriptor();
  }
  EXPECT_EQ(whyNot(address), std::nullopt);
}

TEST(Listener, TellsThatAnAddressIsNotOfThisMachine) {
  EXPECT_EQ(whyNot("192.0.2.1:0"), EADDRNOTAVAIL);
}

TEST(Listener, TellsWhatIsNoAddress) {
  for (const char* text : {"", "9100", ":9100", "localhost:9100", "127.0.0.1", "127.0.0.1:",
                           "127.0.0.1:x", "127.0.0.1:1x", "127.0.0.1:-1", "127.0.0.1:65536",
                           "127.0.0.1: 1", "::1:9100", "[::1]", "[127.0.0.1]:0", "256.0.0.1:0"}) {
    EXPECT_EQ(whyNot(text), kNoAddress) << text;
  }
}

}  // namespace
}  // namespace moxsupply::testing
