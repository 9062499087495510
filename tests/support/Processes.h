#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

// What /proc tells of processes.
namespace moxsupply::testing {

// Whether, at the latest after so long, no process but this one has `word` in its command line.
bool areGoneWithin(std::chrono::milliseconds patience, const std::string& word);

// A process other than this one that has `word` in its command line.
std::optional<pid_t> processWithWord(const std::string& word);

// The processor time that a process, and those of its children that have ended, has used so far.
std::chrono::duration<double> processorTime(pid_t process);

// How many descriptors this process has open.
std::size_t openDescriptors();

}  // namespace moxsupply::testing
