#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "supplies/Attention.h"
#include "supplies/Supply.h"

namespace moxsupply {

// What a queue's PPD file says of its supplies once the command filter is on it.
struct PpdSettings {
  PrinterKind kind = PrinterKind::kLaser;
  std::uint32_t timeout = 2;    // seconds for each single read
  std::uint32_t deadline = 45;  // seconds for everything
  bool afterJobs = true;        // the printer is asked again after print jobs
  int lowLevel = kLowLevel;     // percent; kLeastLowLevel to kMostLowLevel
};

// Whether the command filter was put on this PPD by withSupplyReports.
bool hasSupplyReports(const std::string& ppd);

// Whether the printer of such a PPD is asked again after print jobs.
bool asksAfterJobs(const std::string& ppd);

// The PPD with the command filter, the commands it takes, the settings, and the print server's own
// way of asking for supplies switched off: a block of lines at the end. Lines that would contradict
// it are set aside as comments; everything else stays to the byte. A block that is there already is
// replaced.
std::string withSupplyReports(const std::string& ppd, const PpdSettings& settings);

// The same with the command to the filter that its next report is none: it publishes `levels`
// levels that are not available, and takes away what it has said beside them.
std::string withNoSupplyReports(const std::string& ppd, std::size_t levels);

// The PPD as it was before withSupplyReports, to the byte. Other changes made meanwhile stay.
std::string withoutSupplyReports(const std::string& ppd);

}  // namespace moxsupply
