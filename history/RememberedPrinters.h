#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "history/Moment.h"
#include "history/Prospect.h"
#include "history/Store.h"
#include "text/Problem.h"

namespace moxsupply {

// Calls `take` with what is to be expected of each printer that has readings until `at`, by the
// printers' names; or of one. A long work shows how far it has come.
[[nodiscard]] Result<> forEachRemembered(
    Store& store, const std::optional<std::string>& printer, Moment at,
    const std::function<void(const PrinterProspects& prospects)>& take);

// `at`, or now.
[[nodiscard]] Moment momentOrNow(const std::optional<Moment>& at);

}  // namespace moxsupply
