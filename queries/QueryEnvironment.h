#pragma once

#include <string>
#include <vector>

namespace moxsupply {

// The environment of a process that asks printers: this one's with `added`, but in no language.
// The names of supplies do not depend on that of whoever starts the exporter, or a series would
// change its name with it.
[[nodiscard]] std::vector<std::string> queryEnvironment(std::vector<std::string> added = {});

}  // namespace moxsupply
