#pragma once

#include <string_view>

#include "commands/Command.h"

namespace moxsupply {

// A program of ours that has commands whose libraries would make every start of this one slower, or
// that not everybody wants installed. It takes the same arguments, and speaks in the name of
// moxsupply.
struct OtherProgram {
  std::string_view path;     // from the folder of this program
  std::string_view missing;  // what to say where it is not installed
};
extern const OtherProgram kCupsProgram;
extern const OtherProgram kHistoryProgram;
extern const OtherProgram kMonitoringProgram;

// Becomes that program. Returns, with the exit status and after a word on standard error, only when
// it is not there.
int become(const OtherProgram& program, char* const* argv);

// A command of that program; `about` stands in the list of commands.
Command commandOf(const OtherProgram& program, std::string_view name, std::string_view about,
                  char* const* argv);

}  // namespace moxsupply
