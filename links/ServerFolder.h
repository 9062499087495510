#pragma once

#include <string>

namespace moxsupply {

// Where CUPS has its programs, in the folders "backend", "filter" and others. CUPS's own
// environment variable CUPS_SERVERBIN moves it.
std::string serverFolder();

}  // namespace moxsupply
