// What `--help` says, whole, as it is kept in tests/data/help. After a change, of `levels` say:
//   build/bin/moxsupply levels --help >tests/data/help/levels.txt
// What it says without a command is kept as moxsupply.txt.
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

TEST(Help, IsThatOfTheCommandThatItNames) {
  const Ran help = run({MOXSUPPLY_PROGRAM, "help", "levels"});
  EXPECT_EQ(help.exitStatus, 0);
  EXPECT_EQ(help.output, run({MOXSUPPLY_PROGRAM, "levels", "--help"}).output);
  EXPECT_EQ(run({MOXSUPPLY_PROGRAM, "help"}).output, run({MOXSUPPLY_PROGRAM, "--help"}).output);
  EXPECT_EQ(run({MOXSUPPLY_PROGRAM, "help", "nonsense"}).exitStatus, 2);
}

}  // namespace
}  // namespace moxsupply::testing
