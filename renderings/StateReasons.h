#pragma once

#include <array>
#include <set>
#include <string>
#include <string_view>

#include "supplies/Attention.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// The registered printer-state-reasons that hold for these supplies.
std::set<std::string_view> stateReasons(const Supplies& supplies, const Measure& measure = {});

// The reason that holds when a printer gives no answer, or none that can be used.
constexpr std::string_view kDoesNotAnswer = "timed-out-report";

// The reason that holds when a cartridge is missing.
constexpr std::string_view kCartridgeMissing = "marker-supply-missing-warning";

// Every reason of ours, and what desktops show for it that have no words of their own: they look
// for these in the queue's PPD file.
struct ReasonWords {
  std::string_view reason;
  std::string_view words;  // at most 80 characters of ASCII
};
constexpr std::array<ReasonWords, 7> kReasonWords = {{
    {"toner-low-report", "Toner is low"},
    {"toner-empty-warning", "Toner is empty"},
    {"marker-supply-low-report", "Ink is low"},
    {"marker-supply-empty-warning", "Ink is empty"},
    {kCartridgeMissing, "A cartridge is missing"},
    {"subunit-recoverable-failure-warning", "A cartridge is the wrong one"},
    {kDoesNotAnswer, "The printer gives no levels"},
}};

// The lines that make `holding` hold at the print server and clear every other reason of ours: they
// persist there until somebody clears them. Reasons of others stay.
std::string stateLines(const std::set<std::string_view>& holding);

// The line that adds one reason and leaves all others as they are.
std::string stateLineAdding(std::string_view reason);

}  // namespace moxsupply
