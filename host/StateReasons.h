#pragma once

#include <set>
#include <string>
#include <string_view>

#include "host/Supplies.h"

namespace moxsupply {

// The registered printer-state-reasons that hold for these supplies. Cartridges only: no two makers
// mean the same by the level of a fuser or a container.
std::set<std::string_view> stateReasons(const Supplies& supplies);

// The reason that holds when a printer is connected but does not answer.
constexpr std::string_view kDoesNotAnswer = "timed-out-report";

// The lines that make `holding` hold at the print server and clear every other reason of ours: they
// persist there until somebody clears them. Reasons of others stay.
std::string stateLines(const std::set<std::string_view>& holding);

// The lines that make it hold that the printer does not answer, or that it does, and leave all
// other reasons as they are.
std::string stateLineForAnswering(bool doesAnswer);

}  // namespace moxsupply
