#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// What /proc tells of processes.
namespace moxsupply::testing {

// Whether, at the latest after so long, no process but this one has `word` in its command line.
bool areGoneWithin(std::chrono::milliseconds patience, const std::string& word);

// A process other than this one that has `word` in its command line.
std::optional<pid_t> processWithWord(const std::string& word);

// The children of a process that run now.
std::vector<pid_t> childrenOf(pid_t process);

// The processor time that a process has used so far, with all that came from it.
std::chrono::duration<double> processorTime(pid_t process);

// How many descriptors this process has open.
std::size_t openDescriptors();

}  // namespace moxsupply::testing
