#pragma once

#include <cstdint>
#include <span>

#include "values/Export.h"
#include "values/Status.h"

// The module's only contact with the printer. Inside a CUPS filter chain, standard output leads
// to the backend and on to the printer, and descriptor 3 is the back channel, on which the backend
// passes back what the printer sends. Holds no state.
class MOXSUPPLY_EXPORT MoxFilterComm {
 public:
  // Writes the first `withSize` bytes of `buffer` to standard output, unchanged and as one item,
  // and flushes it. Blocks as long as standard output does.
  //   kSuccess     standard output took them all
  //   kWriteError  it took less; also for a size of 0 and for a size beyond the buffer's end
  // What the flush says is not looked at: with a buffered standard output, bytes that the link
  // refuses only then count as written. A host that wants to know makes its standard output
  // unbuffered. A link that has gone away raises no SIGPIPE.
  moxsupply::Status writeData(std::span<const std::uint8_t> buffer,
                              std::uint32_t withSize) const noexcept;

  // Reads up to `withSize` bytes from the back channel into `buffer`, in one read, and sets
  // `withSize` to the number that came (fewer is no error). Waits at most `andTimeout` seconds for
  // the first byte (0 takes only what is there), whether descriptor 3 blocks or not.
  //   kSuccess          1 to `withSize` bytes came
  //   kReadError        none came in time, a signal arrived, or descriptor 3 is closed or failed
  //   kNothingReceived  the end: nothing more will come
  // On failure `withSize` stays as it was.
  moxsupply::Status readData(std::span<std::uint8_t> buffer, std::uint32_t& withSize,
                             std::uint32_t andTimeout) const noexcept;
};
