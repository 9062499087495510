#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/Problem.h"

namespace moxsupply::simulator {

// What is wrong with a printer. Bytes are counted over all that it sends on one connection.
struct Faults {
  enum class Flood : std::uint8_t { kBytes, kPackets };

  // What the length of a packet is said to be.
  struct Length {
    std::int32_t value = 0;   // -65535 to 65535
    bool isRelative = false;  // added to the true one, modulo 65536
  };

  // It ends after so many bytes, the first of these that is reached:
  std::optional<std::size_t> cut{};     // it hangs up
  std::optional<std::size_t> reset{};   // it resets the connection
  std::optional<std::size_t> silent{};  // it stays, and says no more

  std::optional<std::chrono::milliseconds> drip{};  // the bytes come singly, so far apart
  std::optional<Flood>
      flood{};  // instead of an answer, bytes without end; with none of those above
  std::optional<Length> length{};    // of the first packet of each answer
  std::vector<std::size_t> flips{};  // bits that are wrong; 0 is the highest of the first byte
  std::chrono::milliseconds wake{};  // from a connection until it takes anything from there
  bool twice = false;                // each answer comes twice
  bool wrongRequest = false;         // each answer is said to be that to another request
  bool neverClose = false;           // it stays when the host has hung up

  // Adds the fault that VERB or VERB=VALUE names. What is wrong with it begins with VERB.
  [[nodiscard]] Result<> add(std::string_view text);
};

// A line about each verb, for people.
std::string describeFaults();

}  // namespace moxsupply::simulator
