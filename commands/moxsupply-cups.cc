#include <array>
#include <clocale>
#include <exception>
#include <span>

#include "commands/Command.h"
#include "commands/CommandLine.h"
#include "commands/DisableCommand.h"
#include "commands/DoctorCommand.h"
#include "commands/EnableCommand.h"
#include "commands/QueuesCommand.h"
#include "commands/RefreshCommand.h"

// The commands of `moxsupply` for the print queues of a print server. It stands where moxsupply
// finds it, and speaks in its name.
int main(int argc, char** argv) try {
  using namespace moxsupply;
  std::setlocale(LC_CTYPE, "");     // what the terminal can show
  std::setlocale(LC_MESSAGES, "");  // the language of the supplies' names

  const std::array<Program::Subcommand, 5> commands = {{
      {"queues", queuesCommand},
      {"refresh", refreshCommand},
      {"enable", enableCommand},
      {"disable", disableCommand},
      {"doctor", doctorCommand},
  }};
  return runCommandLine({"Let print queues show their printers' supplies.", "", commands},
                        {argv, static_cast<std::size_t>(argc)});
} catch (const std::exception& error) {
  return moxsupply::complainOfEnd(error);
}
