// A printer with eight supplies, and a print server with a queue for it that shows their levels,
// for as long as a command runs.
//   office SUPPLIES COMMAND [ARGUMENT...]
// SUPPLIES is a file, a line a supply: its level and its name. The command finds in its environment
// DEVICE_URI, the printer; CUPS_SERVER and QUEUE_URI, the print server and the queue.

#include <fmt/core.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/queue/Drivers.h"
#include "tests/queue/PrintTools.h"
#include "tests/queue/PrivatePrintServer.h"
#include "tests/support/Models.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply {
namespace {

std::vector<testing::Toner> readSupplies(const std::string& path) {
  std::ifstream file(path);
  std::vector<testing::Toner> supplies;
  std::uint32_t level = 0;
  for (std::string name; file >> level && std::getline(file >> std::ws, name);) {
    supplies.push_back({name, level});
  }
  if (supplies.empty()) throw std::runtime_error(path + " names no supplies");
  return supplies;
}

int runToItsEnd(char** command) {
  pid_t child = 0;
  if (::posix_spawnp(&child, *command, nullptr, nullptr, command, environ) != 0) {
    throw std::runtime_error(std::string("cannot start ") + *command);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

int run(const std::string& supplies, char** command) {
  const testing::PrivatePrintServer cups;
  const testing::ReservedPort port;
  const testing::SimulatedPrinter printer(port, testing::laserPrinter(readSupplies(supplies)));
  testing::addQueue(cups, "office", port.uri(), testing::postScriptDriver());
  for (const auto& step : {std::vector<std::string>{"enable", "office", "--type", "laser"},
                           std::vector<std::string>{"refresh", "office"}}) {
    if (const auto ran = cups.moxsupply(step); ran.exitStatus != 0) {
      throw std::runtime_error(ran.errors);
    }
  }
  ::setenv("DEVICE_URI", port.uri().c_str(), 1);
  ::setenv("QUEUE_URI", cups.printerUri("office").c_str(), 1);
  ::setenv("CUPS_SERVER", (cups.folder() / "cups.sock").c_str(), 1);
  return runToItsEnd(command);
}

}  // namespace
}  // namespace moxsupply

int main(int argc, char** argv) try {
  if (argc < 3) {
    fmt::print(stderr, "usage: office SUPPLIES COMMAND [ARGUMENT...]\n");
    return 2;
  }
  return moxsupply::run(argv[1], &argv[2]);
} catch (const std::exception& error) {
  fmt::print(stderr, "office: {}\n", error.what());
  return 2;
}
