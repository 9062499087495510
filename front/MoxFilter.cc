#include "front/MoxFilter.h"

#include <algorithm>
#include <array>
#include <utility>

#include "front/InkjetReport.h"
#include "front/LaserReport.h"
#include "front/SupplyNames.h"

using moxsupply::Dictionary;
using moxsupply::Status;
using moxsupply::SupplyNames;

namespace {

constexpr std::array<std::string_view, 4> kTransports = {"usb", "socket", "mdns", "dnssd"};

}  // namespace

MoxFilter::MoxFilter(PrinterType printerType, std::string_view transport, std::uint32_t timeout)
    : mNPAUtility(std::make_unique<MoxNPAUtilityCommand>()),
      mPrinterType(printerType),
      mTransport(transport),
      mTimeout(timeout) {}

std::unique_ptr<MoxFilter> MoxFilter::initWithPrinterType(
    std::optional<std::string_view> printerType, std::optional<std::string_view> andTransport,
    std::uint32_t withTimeout) noexcept try {
  if (!printerType || !andTransport) return nullptr;
  if (std::ranges::find(kTransports, *andTransport) == kTransports.end()) return nullptr;
  if (*printerType == "Laser") {
    return std::unique_ptr<MoxFilter>(
        new MoxFilter(PrinterType::kLaser, *andTransport, withTimeout));
  }
  if (*printerType == "Inkjet") {
    return std::unique_ptr<MoxFilter>(
        new MoxFilter(PrinterType::kInkjet, *andTransport, withTimeout));
  }
  return nullptr;
} catch (...) {
  return nullptr;
}

Status MoxFilter::inkStatusQuery(Dictionary* report) noexcept try {
  if (report == nullptr) return Status::kNoDictionary;
  switch (mPrinterType) {
    case PrinterType::kLaser:
      return queryPSSDInkLevels(*report);
    case PrinterType::kInkjet:
      return queryCPDInkLevels(*report);
  }
  return Status::kSuccess;
} catch (...) {
  return Status::kUndecodable;
}

Status MoxFilter::queryPSSDInkLevels(Dictionary& report) {
  if (!mNPAUtility) return Status::kNoCommand;
  Dictionary supplies;
  if (const Status status = mNPAUtility->pssdQueryAll(supplies, mTimeout);
      status != Status::kSuccess) {
    return status;
  }
  return moxsupply::addLaserReport(std::move(supplies), report);
}

Status MoxFilter::queryCPDInkLevels(Dictionary& report) {
  const SupplyNames names;
  if (!mNPAUtility) return Status::kNoCommand;

  // Over the network the printer wants the loop-back request first.
  if (mTransport == "socket" || mTransport == "dnssd") {
    if (const Status status = mNPAUtility->sendDataLoopBack(); status != Status::kSuccess) {
      return status;
    }
  }

  Dictionary items;
  if (const Status status = mNPAUtility->cpdQueryAll(items, mTimeout); status != Status::kSuccess) {
    return status;
  }
  return moxsupply::addInkjetReport(std::move(items), names, report);
}
