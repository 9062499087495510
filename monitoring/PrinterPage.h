#pragma once

#include <string>
#include <string_view>

#include "monitoring/PageMemory.h"
#include "monitoring/Prober.h"

namespace moxsupply {

// One printer for people, as HTML without scripts: its supplies with the curves of their levels,
// what identifies them, their forecasts, and what happened to them, the newest first. `token`: what
// its form sends, to have the printer asked. All text is escaped.
[[nodiscard]] std::string printerPage(const Prober::Printer& printer, std::string_view token,
                                      const PageMemory& memory, Prober::Clock::time_point now);

}  // namespace moxsupply
