#pragma once

#include <cstdint>

namespace moxsupply {

// The result of every operation that can fail: zero, or a small negative number in two's
// complement in 32 unsigned bits. -3 is not used.
enum class [[nodiscard]] Status : std::uint32_t{
    kSuccess = 0,
    kReadError = 0xFFFFFFFF,    // -1: the back channel failed, or gave fewer than 6 bytes of reply
    kWriteError = 0xFFFFFFFE,   // -2: a request did not go out whole
    kUndecodable = 0xFFFFFFFC,  // -4: a reply that cannot be decoded, or lacks what a report needs
    kNoCommand = 0xFFFFFFFB,    // -5: the filter object holds no command object
    kNothingReceived =
        0xFFFFFFFA,              // -6: no byte came, or four replies in a row were not the answer
    kNoDictionary = 0xFFFFFFF9,  // -7: the host passed no dictionary
};

// The status as people read it: 0, or -1 to -7.
constexpr std::int32_t signedNumber(Status status) noexcept {
  return static_cast<std::int32_t>(status);
}

}  // namespace moxsupply
