#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>

#include "front/MoxFilter.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "simulator/InkjetReply.h"
#include "simulator/Packets.h"
#include "tests/property/DrawnPrinters.h"
#include "tests/property/FilterQueries.h"
#include "tests/property/InkjetExpectation.h"
#include "tests/property/RandomPrinter.h"

namespace moxsupply::testing {
namespace {

using simulator::InkjetModel;
using simulator::Request;

const InkjetModel& inkjetOf(const DrawnPrinter& printer) {
  return std::get<InkjetModel>(printer.model.printer);
}

std::string transportOf(const DrawnPrinter& printer) {
  constexpr std::array<const char*, 4> kTransports = {"usb", "socket", "mdns", "dnssd"};
  return kTransports[printer.index % kTransports.size()];
}

TEST(InkjetPrinters, HaveTheirItemsDecoded) {
  checkEachPrinter(randomInkjet, [](const DrawnPrinter& printer) -> std::string {
    const auto& sizes = printer.model.replyTo(Request::kInkjetQuery).packets;
    const Bytes reply = simulator::joinPackets(simulator::inkjetReply(inkjetOf(printer), sizes));
    const auto items = MoxNPAUtilityCommand().parseCPDQueryResponse(
        reply, static_cast<std::uint32_t>(reply.size()));
    if (!items) return "no items";
    return difference(itemsOf(inkjetOf(printer)), *items);
  });
}

TEST(InkjetPrinters, TellAllTheirItemsToAQuery) {
  const auto query = [](const DrawnPrinter& /*printer*/) {
    return std::vector{Request::kInkjetQuery};
  };
  queryEachPrinter(randomInkjet, query, [](const DrawnPrinter& printer) {
    Dictionary items;
    const Status status = MoxNPAUtilityCommand().cpdQueryAll(items, kPatience);
    if (status != Status::kSuccess) return fmt::format("status {}", signedNumber(status));
    return difference(itemsOf(inkjetOf(printer)), items);
  });
}

TEST(InkjetPrinters, AreReportedToTheHost) {
  const auto query = [](const DrawnPrinter& printer) {
    const std::string transport = transportOf(printer);
    if (transport == "usb" || transport == "mdns") return std::vector{Request::kInkjetQuery};
    return std::vector{Request::kLoopBack, Request::kInkjetQuery};
  };
  queryEachPrinter(randomInkjet, query, [](const DrawnPrinter& printer) {
    const auto expected = reportOf(inkjetOf(printer));
    Dictionary report;
    const Status status = MoxFilter::initWithPrinterType("Inkjet", transportOf(printer), kPatience)
                              ->inkStatusQuery(&report);
    if (status != expected.status) return fmt::format("status {}", signedNumber(status));
    return difference(expected.report, report);
  });
}

}  // namespace
}  // namespace moxsupply::testing
