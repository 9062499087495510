#include <cstddef>

#include "fuzz/Target.h"

// What libFuzzer, and Replay.cc in its place, calls for each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  moxsupply::fuzzing::tryInput({bytes, size});
  return 0;
}
