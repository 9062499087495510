#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

#include "http/HostNames.h"

namespace moxsupply::testing {
namespace {

TEST(HostNames, OfAnAddressAreThatAddress) {
  const HostNames names("192.0.2.7:9871", {});
  EXPECT_TRUE(names.contain("192.0.2.7"));
  EXPECT_TRUE(names.contain("192.0.2.7:9871"));
  EXPECT_TRUE(names.contain("192.0.2.7:80"));  // behind a proxy
  for (const char* other :
       {"", "192.0.2.8", "localhost", "evil.example", "192.0.2.7.evil.example",
        "192.0.2.7@evil.example", "[192.0.2.7]x", "[192.0.2.7", ":9871", "[", "192.0.2.7:x",
        "192.0.2.7:80x", "192.0.2.7:80:80", "[]", "[192.0.2.7.", ":", "."}) {
    EXPECT_FALSE(names.contain(other)) << other;
  }
}

TEST(HostNames, OfThisMachineAloneAreLocalhostToo) {
  const HostNames names("127.0.0.1:9871", {});
  EXPECT_TRUE(names.contain("127.0.0.1:9871"));
  EXPECT_TRUE(names.contain("localhost:9871"));
  EXPECT_TRUE(names.contain("LocalHost."));
  EXPECT_FALSE(names.contain("localhost.evil.example"));
  EXPECT_FALSE(names.contain("127.0.0.2"));
  EXPECT_TRUE(HostNames("[::1]:9871", {}).contain("[::1]:9871"));
  EXPECT_TRUE(HostNames("[::1]:9871", {}).contain("[0:0:0:0:0:0:0:1]"));
  EXPECT_TRUE(HostNames("[::1]:9871", {}).contain("localhost"));
}

TEST(HostNames, OfAllAddressesAreEveryAddressAndTheMachinesName) {
  std::array<char, 256> machine{};
  ASSERT_EQ(::gethostname(machine.data(), machine.size()), 0);
  for (const char* everywhere : {"0.0.0.0:9871", "[::]:9871"}) {
    const HostNames names(everywhere, {});
    for (const char* host : {"192.0.2.7", "10.1.2.3:9871", "[2001:db8::7]:9871", "::1", "localhost",
                             static_cast<const char*>(machine.data())}) {
      EXPECT_TRUE(names.contain(host)) << host;
    }
    EXPECT_FALSE(names.contain("evil.example"));
    EXPECT_FALSE(names.contain("192.0.2.7.evil.example"));
  }
}

TEST(HostNames, AreThoseThatAreGivenAsWell) {
  const HostNames names("127.0.0.1:9871", {"Printers.Example", "192.0.2.7"});
  EXPECT_TRUE(names.contain("printers.example"));
  EXPECT_TRUE(names.contain("printers.example:443"));
  EXPECT_TRUE(names.contain("192.0.2.7"));
  EXPECT_FALSE(names.contain("www.printers.example"));
}

TEST(HostNames, TellWhereAPageComesFrom) {
  const HostNames names("127.0.0.1:9871", {"printers.example"});
  EXPECT_TRUE(names.containOrigin("http://127.0.0.1:9871"));
  EXPECT_TRUE(names.containOrigin("https://printers.example"));
  EXPECT_FALSE(names.containOrigin("https://evil.example"));
  EXPECT_FALSE(names.containOrigin("null"));
  EXPECT_FALSE(names.containOrigin("printers.example"));
}

}  // namespace
}  // namespace moxsupply::testing
