#include "tests/support/BecomeProgram.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace moxsupply::testing {

void becomeProgram(const std::vector<std::string>& command,
                   const std::vector<std::string>& environment) {
  for (const std::string& variable : environment) {
    const std::size_t equals = variable.find('=');
    ::setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
  }
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  ::execvp(arguments[0], arguments.data());
  std::perror(arguments[0]);
  ::_exit(127);
}

}  // namespace moxsupply::testing
