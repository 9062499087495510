#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace moxsupply::testing {

// What a program left behind.
struct Ran {
  int exitStatus = -1;  // -1 when it was ended by a signal
  std::string output;   // what it wrote to standard output
  std::string errors;   // what it wrote to standard error
  std::chrono::duration<double> time{};
};

// Runs a program to its end. `environment`: further variables, NAME=VALUE. One that takes longer
// than `patience` fails the test and is killed.
//
// Use it where only what comes out in the end counts. Where the test deals with the program while
// it runs, FilterProcess.
Ran run(const std::vector<std::string>& command, const std::vector<std::string>& environment = {},
        std::chrono::seconds patience = std::chrono::seconds(30));

}  // namespace moxsupply::testing
