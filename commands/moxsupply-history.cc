#include <array>
#include <clocale>
#include <exception>
#include <span>

#include "commands/Command.h"
#include "commands/CommandLine.h"
#include "commands/ForecastCommand.h"
#include "commands/HistoryCommand.h"
#include "commands/OrdersCommand.h"

// The commands of `moxsupply` that deal with what is remembered. It stands where moxsupply finds
// it, and speaks in its name.
int main(int argc, char** argv) try {
  using namespace moxsupply;
  std::setlocale(LC_CTYPE, "");  // what the terminal can show

  const std::array<Program::Subcommand, 3> commands = {{
      {"history", historyCommand},
      {"forecast", forecastCommand},
      {"orders", ordersCommand},
  }};
  return runCommandLine({"Remember what printers answered.", "", commands},
                        {argv, static_cast<std::size_t>(argc)});
} catch (const std::exception& error) {
  return moxsupply::complainOfEnd(error);
}
