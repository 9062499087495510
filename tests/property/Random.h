#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Hex.h"

namespace moxsupply::testing {

// Draws at random, the same on every platform: the engine and its seeding are fixed to the bit by
// the C++ standard, and the standard's distributions, which are not, stay unused. That the draws
// are a hair uneven does not matter here.
class Random {
 public:
  // Each `index` of a seed begins a sequence of its own.
  Random(std::uint64_t seed, std::uint64_t index);

  // 0 to `end` - 1.
  std::uint64_t below(std::uint64_t end) { return mEngine() % end; }

  // `least` to `most`.
  std::uint64_t within(std::uint64_t least, std::uint64_t most) {
    return least + below(most - least + 1);
  }

  bool oneIn(std::uint64_t n) { return below(n) == 0; }

  std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }

  // A number of `bytes` bytes, 1 to 4. The ends of its range, and of the signed one, are frequent.
  std::uint32_t number(std::size_t bytes);

  // One of `choices`.
  template <typename Choices>
  const auto& of(const Choices& choices) {
    return choices[below(std::size(choices))];
  }

  Bytes bytes(std::size_t count);

  // UTF-8 of at most `longest` bytes. Words of supplies are frequent in it, with the names of
  // colours whole, in other letters and as a part of something else; nothing at all is too.
  std::string text(std::size_t longest);

  template <typename Element>
  void shuffle(std::vector<Element>& elements) {
    for (std::size_t left = elements.size(); left > 1; --left) {
      std::swap(elements[left - 1], elements[below(left)]);
    }
  }

 private:
  std::mt19937_64 mEngine;
};

}  // namespace moxsupply::testing
