#pragma once

#include <string>
#include <vector>

namespace moxsupply::testing {

// For a child process: becomes a program, which is looked for as a shell looks for it.
// `environment`: further variables, NAME=VALUE. Does not return; exits with 127 when there is no
// such program, as a shell does.
[[noreturn]] void becomeProgram(const std::vector<std::string>& command,
                                const std::vector<std::string>& environment);

}  // namespace moxsupply::testing
