#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace moxsupply::fuzzing {

// What a target does with one input, any bytes of any length. Each file that defines it is one
// target; fuzz/CMakeLists.txt has a line for each.
void tryInput(std::span<const std::uint8_t> input);

// What must hold of any input. When it does not, the program ends, and the input is a finding.
inline void promise(bool holds, const char* text) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", text);
  std::abort();
}

}  // namespace moxsupply::fuzzing
