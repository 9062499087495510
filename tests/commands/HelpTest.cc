// What `--help` says, whole, as it is kept in tests/data/help. After a change of it:
//   for command in levels check ...; do
//     build/bin/moxsupply $command --help >tests/data/help/$command.txt
//   done
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Run.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

std::string kept(const std::string& command) {
  return contentOf(std::filesystem::path(MOXSUPPLY_HELP) / (command + ".txt"));
}

// Those that the program's own help names.
std::vector<std::string> commandsIn(const std::string& help) {
  std::istringstream lines(help.substr(help.find("Subcommands:\n")));
  std::vector<std::string> commands;
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line) && line.starts_with("  ")) {
    commands.push_back(line.substr(2, line.find(' ', 2) - 2));
  }
  return commands;
}

TEST(Help, IsWhatIsKept) {
  const std::string help = run({MOXSUPPLY_PROGRAM, "--help"}).output;
  EXPECT_EQ(help, kept("moxsupply"));
  const auto commands = commandsIn(help);
  ASSERT_GE(commands.size(), 14U);
  for (const std::string& command : commands) {
    EXPECT_EQ(run({MOXSUPPLY_PROGRAM, command, "--help"}).output, kept(command)) << command;
  }
}

}  // namespace
}  // namespace moxsupply::testing
