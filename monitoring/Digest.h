#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "history/Moment.h"
#include "history/Store.h"

namespace moxsupply {

// How long it is, at a time, until somebody is to be told of notices: so long after the first of
// them, or nearly at once where one is urgent. Nothing: there are none.
[[nodiscard]] std::optional<std::chrono::milliseconds> untilDigest(
    const std::vector<Notice>& notices, std::chrono::seconds every, Moment now);

// The notices as one line of JSON:
//
//   {"time":"2026-11-21T08:00:00Z","site":"printers","events":[...],"silent":["socket://192.0.2.7"],
//    "back":[]}
//
// with events as `moxsupply history events` writes them. `site`: whose notices these are.
[[nodiscard]] std::string digestOf(const std::vector<Notice>& notices, const std::string& site,
                                   Moment now);

}  // namespace moxsupply
