#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace moxsupply {

// The one name of a printer, for every way to write its device URI: without user and password, as
// socket:// where there is no scheme, without the port that socket:// has anyway, and without a
// slash at the end. Nothing for what can be no device URI.
[[nodiscard]] std::optional<std::string> printerName(std::string_view uri);

}  // namespace moxsupply
