#pragma once

#include <string>
#include <string_view>

namespace moxsupply {

// A device URI, or a host, without the user and the password that may stand before it: for all that
// is shown, written down or seen by others.
std::string shownUri(std::string_view uri);

}  // namespace moxsupply
