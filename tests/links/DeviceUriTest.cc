#include <gtest/gtest.h>

#include "links/DeviceUri.h"

namespace moxsupply::testing {
namespace {

DeviceUri parsed(const std::string& text) {
  auto result = parseDeviceUri(text);
  if (!result) ADD_FAILURE() << text << ": " << result.error().what;
  return std::move(result).value_or(DeviceUri());
}

TEST(DeviceUri, HasThePrintersPortWhereNoneIsGiven) {
  const DeviceUri uri = parsed("socket://printer.example");
  EXPECT_EQ(uri.scheme, "socket");
  EXPECT_EQ(uri.host, "printer.example");
  EXPECT_EQ(uri.port, 9100);
}

TEST(DeviceUri, KeepsAGivenPortAndTheWholeText) {
  const DeviceUri uri = parsed("socket://192.0.2.7:9101/?snmp=false&waiteof=false");
  EXPECT_EQ(uri.host, "192.0.2.7");
  EXPECT_EQ(uri.port, 9101);
  EXPECT_EQ(uri.text, "socket://192.0.2.7:9101/?snmp=false&waiteof=false");
}

TEST(DeviceUri, TakesAnAddressInBrackets) {
  const DeviceUri uri = parsed("socket://[2001:db8::7]:9100");
  EXPECT_EQ(uri.host, "2001:db8::7");
  EXPECT_EQ(uri.port, 9100);
}

TEST(DeviceUri, NamesTheTransportByTheKindOfLink) {
  EXPECT_EQ(parsed("socket://h").transport(), "socket");
  EXPECT_EQ(parsed("usb://Example/Printer?serial=1").transport(), "usb");
  EXPECT_EQ(parsed("dnssd://Printer._pdl-datastream._tcp.local/").transport(), "dnssd");
  EXPECT_EQ(parsed("mdns://Printer._pdl-datastream._tcp.local/").transport(), "mdns");
  EXPECT_EQ(parsed("parallel:/dev/lp0").transport(), "usb");
  EXPECT_EQ(parsed("serial:/dev/ttyS0?baud=9600").transport(), "usb");
  EXPECT_EQ(parsed("lpd://h/queue").transport(), "socket");
}

TEST(DeviceUri, TellsWhetherAnswersComeBack) {
  for (const char* uri :
       {"socket://h", "usb://Example/Printer?serial=1", "parallel:/dev/lp0", "serial:/dev/ttyS0",
        "dnssd://Printer._pdl-datastream._tcp.local/", "mdns://Printer/", "other://h/ipp/print"}) {
    EXPECT_TRUE(bringsAnswersBack(uri)) << uri;
  }
  for (const char* uri :
       {"ipp://h/ipp/print", "ipps://h", "IPP://h", "lpd://h/queue", "http://h:631/", "https://h/",
        "file:/dev/null", "implicitclass://office/", "dnssd://Printer._ipp._tcp.local/?uuid=1",
        "dnssd://Printer._IPPS._TCP.local/", "mdns://Printer._printer._tcp.local/", ""}) {
    EXPECT_FALSE(bringsAnswersBack(uri)) << uri;
  }
}

TEST(AHost, IsAnAddressOrANameWithADot) {
  for (const char* text : {"192.0.2.7", "192.0.2.7:9101", "printer.example", "printer.example:9100",
                           "[2001:db8::7]", "[::1]:9100"}) {
    EXPECT_TRUE(looksLikeHost(text)) << text;
  }
  for (const char* text :
       {"", "office", "office:9100", "2001:db8::7", "[192.0.2.7]", "[::1", "[", "]", "[::1]x",
        "a.b:", "a.b:x", "a.b:9100/", "-a.b", ".b", "a b.c", "a.b;c", "socket://a.b", "usb:/x.y"}) {
    EXPECT_FALSE(looksLikeHost(text)) << text;
  }
}

TEST(DeviceUri, TellsItsLinkInAWord) {
  EXPECT_EQ(linkOf("lpd://h/queue"), "lpd://");
  EXPECT_EQ(linkOf("dnssd://Printer._ipp._tcp.local/"), "dnssd://..._ipp._tcp");
  EXPECT_EQ(linkOf("dnssd://Printer._pdl-datastream._tcp.local/"), "dnssd://");
}

TEST(DeviceUri, IsShownWithoutUserAndPassword) {
  EXPECT_EQ(shownUri("ipp://jane:secret@h:631/ipp/print"), "ipp://h:631/ipp/print");
  EXPECT_EQ(shownUri("ipp://jane@h/"), "ipp://h/");
  EXPECT_EQ(shownUri("ipp://jane:s%40%2Fcret@h"), "ipp://h");
  EXPECT_EQ(shownUri("ipp://jane:s@cret@[2001:db8::7]:631/"), "ipp://[2001:db8::7]:631/");
  EXPECT_EQ(shownUri("jane:secret@h:9100"), "h:9100");
  EXPECT_EQ(shownUri("ipp://jane:s/cret@h/x"), "ipp://h/x");
}

TEST(DeviceUri, IsShownWholeWithoutUserAndPassword) {
  for (const char* uri :
       {"socket://h:9100/?waiteof=false", "usb://Example/Printer?serial=a@b", "ipp://h:631/a@b",
        "ipp://[2001:db8::7]/a@b", "ipp://h:/a@b", "serial:/dev/ttyS0?baud=9600", "h", "h:9100", "",
        "://", "file:/dev/null"}) {
    EXPECT_EQ(shownUri(uri), uri);
  }
}

TEST(DeviceUri, RefusesWhatIsNone) {
  for (const char* text : {"", "printer", "192.0.2.7", "socket", "socket://", "socket:///",
                           "://host", "socket://host:port"}) {
    const auto result = parseDeviceUri(text);
    ASSERT_FALSE(result) << text;
    const Problem& problem = result.error();
    EXPECT_TRUE(problem.isMisuse) << text;
    EXPECT_NE(problem.what.find(std::string("\"") + text + "\""), std::string::npos)
        << problem.what;
    EXPECT_FALSE(problem.advice.empty()) << text;
  }
}

TEST(DeviceUri, IsNotShownRawWhenItIsRefused) {
  const auto result = parseDeviceUri("\x1B[2J");
  EXPECT_EQ(result.error().what.find('\x1B'), std::string::npos);
}

}  // namespace
}  // namespace moxsupply::testing
