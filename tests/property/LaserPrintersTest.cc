#include <fmt/format.h>
#include <gtest/gtest.h>

#include "front/MoxFilter.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "simulator/LaserReply.h"
#include "simulator/Packets.h"
#include "tests/property/DrawnPrinters.h"
#include "tests/property/FilterQueries.h"
#include "tests/property/LaserExpectation.h"
#include "tests/property/RandomPrinter.h"

namespace moxsupply::testing {
namespace {

using simulator::joinPackets;
using simulator::LaserModel;
using simulator::Request;

const LaserModel& laserOf(const DrawnPrinter& printer) {
  return std::get<LaserModel>(printer.model.printer);
}

std::string differenceOf(const std::optional<Dictionary>& expected,
                         const std::optional<Dictionary>& found) {
  if (!expected || !found) {
    return expected.has_value() == found.has_value() ? "" : "a dictionary, and none";
  }
  return difference(*expected, *found);
}

std::string about(std::string_view what, const std::string& wrong) {
  return wrong.empty() ? wrong : fmt::format("{}: {}", what, wrong);
}

std::uint32_t sizeOf(const Bytes& bytes) { return static_cast<std::uint32_t>(bytes.size()); }

// The decoder of the record's type.
std::optional<Dictionary> decodedRecord(const MoxNPAUtilityCommand& npa,
                                        const LaserModel& printer) {
  const Bytes record = simulator::familyRecord(printer);
  if (std::holds_alternative<simulator::SingleSupplyRecord>(printer.record)) {
    return npa.parseKelvoS(record, sizeOf(record));
  }
  if (std::holds_alternative<simulator::PagesRecord>(printer.record)) {
    return npa.parseKelvoSC(record, sizeOf(record));
  }
  if (std::holds_alternative<simulator::DotsRecord>(printer.record)) {
    return npa.parseKelvoColor(record, sizeOf(record));
  }
  return std::nullopt;
}

std::vector<Request> bothQueries(const DrawnPrinter& /*printer*/) {
  return {Request::kDeviceQuery, Request::kSuppliesQuery};
}

TEST(LaserPrinters, HaveTheirSuppliesTableDecoded) {
  checkEachPrinter(randomLaser, [](const DrawnPrinter& printer) {
    const MoxNPAUtilityCommand npa;
    const LaserModel& laser = laserOf(printer);
    const Dictionary expected = tableOf(laser);

    Bytes table = simulator::suppliesTable(laser);
    const auto decoded = npa.extractSuppliesResponse(table, sizeOf(table));
    std::string wrong = differenceOf(expected, decoded);
    if (!wrong.empty()) return wrong;

    const auto& sizes = printer.model.replyTo(Request::kDeviceQuery).packets;
    const Bytes reply = joinPackets(simulator::deviceReply(laser, sizes));
    const auto decodedFromPackets = npa.parsePSSDDeviceResponse(reply, sizeOf(reply));
    return about("from packets", differenceOf(expected, decodedFromPackets));
  });
}

TEST(LaserPrinters, HaveTheirFamilyRecordDecoded) {
  checkEachPrinter(randomLaser, [](const DrawnPrinter& printer) {
    const MoxNPAUtilityCommand npa;
    const LaserModel& laser = laserOf(printer);
    const auto expected = recordOf(laser);

    const auto decoded = decodedRecord(npa, laser);
    std::string wrong = differenceOf(expected, decoded);
    if (!wrong.empty()) return wrong;

    const auto& sizes = printer.model.replyTo(Request::kSuppliesQuery).packets;
    const Bytes reply = joinPackets(simulator::suppliesReply(laser, sizes));
    const auto decodedFromPackets = npa.parsePSSDQueryResponse(reply, sizeOf(reply));
    return about("from packets", differenceOf(expected, decodedFromPackets));
  });
}

TEST(LaserPrinters, TellAllTheirSuppliesToAQuery) {
  queryEachPrinter(randomLaser, bothQueries, [](const DrawnPrinter& printer) {
    Dictionary supplies;
    const Status status = MoxNPAUtilityCommand().pssdQueryAll(supplies, kPatience);
    if (status != Status::kSuccess) return fmt::format("status {}", signedNumber(status));
    return difference(suppliesOf(laserOf(printer)), supplies);
  });
}

TEST(LaserPrinters, AreReportedToTheHost) {
  queryEachPrinter(randomLaser, bothQueries, [](const DrawnPrinter& printer) {
    const auto expected = reportOf(laserOf(printer));
    Dictionary report;
    const Status status =
        MoxFilter::initWithPrinterType("Laser", "usb", kPatience)->inkStatusQuery(&report);
    if (status != expected.status) return fmt::format("status {}", signedNumber(status));
    return difference(expected.report, report);
  });
}

}  // namespace
}  // namespace moxsupply::testing
