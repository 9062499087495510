// What a query and whoever connects for it say to each other.
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstring>

#include "links/ConnectedQuery.h"
#include "links/TcpLink.h"
#include "system/HandedDescriptor.h"
#include "system/Pipe.h"
#include "system/Process.h"
#include "text/Written.h"

namespace moxsupply::testing {
namespace {

std::string word(const FileDescriptor& socket) {
  return takeOver(socket.get(), kLongestQueryWord).value_or(HandedDescriptor{"the end", {}}).text;
}

TEST(AQueryRequest, ComesAsItWasSent) {
  for (const auto kind : {std::optional(PrinterKind::kLaser), std::optional(PrinterKind::kInkjet),
                          std::optional<PrinterKind>()}) {
    for (const auto task : {QueryTask::kFind, QueryTask::kAsk}) {
      const auto request =
          QueryRequest::from(QueryRequest{task, "socket://192.0.2.7", kind, 30}.text());
      ASSERT_TRUE(request);
      EXPECT_EQ(request->task, task);
      EXPECT_EQ(request->uri, "socket://192.0.2.7");
      EXPECT_EQ(request->kind, kind);
      EXPECT_EQ(request->deadline, 30U);
    }
  }
  for (const char* wrong : {"", "ask", "ask Laser", "ask Laser 30", "ask Matrix 30 socket://a",
                            "ask - x socket://a", "seek - 30 socket://a", "- 30 socket://a"}) {
    EXPECT_FALSE(QueryRequest::from(wrong)) << wrong;
  }
}

TEST(AConnectedQuery, SaysWhereItsPrinterIsAndTakesAConnection) {
  Pipe ends = makePacketPair();
  const ConnectedQuery query(std::move(ends.writeEnd));
  ASSERT_TRUE(query.sayWhere(parseDeviceUri("socket://192.0.2.7:9101").value()));
  const std::string addresses = word(ends.readEnd);
  ASSERT_EQ(addresses.size(), 1 + sizeof(NetworkAddress));
  EXPECT_EQ(addresses.front(), static_cast<char>(QueryWord::kAddresses));
  NetworkAddress address{};
  std::memcpy(&address, addresses.data() + 1, sizeof address);
  sockaddr_in place{};
  std::memcpy(&place, &address.address, sizeof place);
  EXPECT_EQ(ntohl(place.sin_addr.s_addr), 0xC0000207U);
  EXPECT_EQ(ntohs(place.sin_port), 9101);

  ASSERT_EQ(handOver(ends.readEnd.get(), "+", STDIN_FILENO), 0);
  EXPECT_TRUE(query.connect());
  EXPECT_EQ(word(ends.readEnd), "C");
  ends.readEnd = FileDescriptor();
}

TEST(AConnectedQuery, SaysThatAHostIsNotThere) {
  Pipe ends = makePacketPair();
  const ConnectedQuery query(std::move(ends.writeEnd));
  const auto said = query.sayWhere(parseDeviceUri("socket://printer.invalid").value());
  ASSERT_FALSE(said);
  EXPECT_TRUE(said.error().what.starts_with("cannot find the host \"printer.invalid\""));
}

TEST(AConnectedQuery, SaysLongResultsInParts) {
  Pipe ends = makePacketPair();
  const std::string longText(3 * kLongestQueryWord, 'x');
  auto process = Process::fork([&] {
    ends.readEnd = FileDescriptor();
    ConnectedQuery(std::move(ends.writeEnd)).finish(longText);
  });
  ASSERT_TRUE(process);
  ends.writeEnd = FileDescriptor();
  std::string heard;
  std::string part;
  do {
    part = word(ends.readEnd);
    heard += part.substr(1);
  } while (part.front() == static_cast<char>(QueryWord::kPart));
  EXPECT_EQ(part.front(), static_cast<char>(QueryWord::kLastPart));
  EXPECT_EQ(heard, longText);
  EXPECT_EQ(word(ends.readEnd), "the end");
}

TEST(AConnectedQuery, TakesOneAfterTheOtherUntilNobodyAsks) {
  Pipe ends = makePacketPair();
  const ConnectedQuery query(std::move(ends.writeEnd));
  const QueryRequest wanted = {QueryTask::kAsk, "socket://192.0.2.7", PrinterKind::kLaser, 30};
  ASSERT_EQ(handOver(ends.readEnd.get(), wanted.text(), -1), 0);
  const auto next = query.next();
  ASSERT_TRUE(next);
  EXPECT_EQ(next->text(), wanted.text());
  ASSERT_EQ(handOver(ends.readEnd.get(), "what is no request", -1), 0);
  EXPECT_FALSE(query.next());
  ends.readEnd = FileDescriptor();
  EXPECT_FALSE(query.next());
}

TEST(AnAddress, OfAHostThatIsGivenAsOneIsNotLookedUp) {
  for (const char* numeric : {"socket://192.0.2.7", "socket://[::1]:9101"}) {
    const auto uri = parseDeviceUri(numeric).value();
    const auto address = numericAddressOf(uri);
    ASSERT_TRUE(address) << numeric;
    EXPECT_EQ(address->size, addressesOf(uri).value().front().size);
  }
  EXPECT_FALSE(numericAddressOf(parseDeviceUri("socket://localhost").value()));
}

TEST(WhatACommandHasWritten, ComesAsItWasSent) {
  const auto written = unpacked(packed({2, "output\n", "errors\n"}));
  ASSERT_TRUE(written);
  EXPECT_EQ(written->exitStatus, 2);
  EXPECT_EQ(written->output, "output\n");
  EXPECT_EQ(written->errors, "errors\n");
  for (const std::string& wrong : {std::string(), std::string("2output"), std::string(1, '\0')}) {
    EXPECT_FALSE(unpacked(wrong)) << wrong;
  }
}

}  // namespace
}  // namespace moxsupply::testing
