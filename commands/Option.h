#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/Problem.h"

namespace moxsupply {

// A word that a command takes, described for the parser and for the help.
struct Option {
  std::string name;   // "-w,--warning"; one without dashes is known by its place
  std::string value;  // what stands for its value in the help; empty for a flag
  std::string help;
  bool isFlag = false;
  bool isRequired = false;
  bool isRepeated = false;                // may be given several times
  std::vector<std::string> choices = {};  // the words that it may be; empty: any text
  std::string excludes = {};              // the name of an option that does not go with it

  // Takes what was given, in its order; of a flag nothing. Called when all is known to be there.
  std::function<Result<>(const std::vector<std::string>&)> take = {};
};

// The kinds of options. `place`, where the value goes, must outlive the option.

[[nodiscard]] Option flag(std::string name, bool& place, std::string help);
[[nodiscard]] Option text(std::string name, std::string& place, std::string value,
                          std::string help);
[[nodiscard]] Option texts(std::string name, std::vector<std::string>& place, std::string value,
                           std::string help);

// A required text, known by its place.
[[nodiscard]] Option argument(std::string name, std::string& place, std::string help);

struct Bounds {
  std::uint32_t least = 0;
  std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
};
[[nodiscard]] Option wholeNumber(std::string name, std::uint32_t& place, const Bounds& bounds,
                                 std::string value, std::string help);
[[nodiscard]] Option seconds(std::string name, std::uint32_t& place, const Bounds& bounds,
                             std::string help);
[[nodiscard]] Option percentage(std::string name, int& place, std::string help,
                                const Bounds& bounds = {.most = 100});

// One of a few words, each of which means something.
template <typename Meaning>
using Choices = std::vector<std::pair<std::string_view, Meaning>>;
template <typename Meaning>
[[nodiscard]] Option choice(std::string name, Meaning& place, Choices<Meaning> choices,
                            std::string value, std::string help) {
  Option option = {.name = std::move(name), .value = std::move(value), .help = std::move(help)};
  for (const auto& [word, meaning] : choices) option.choices.emplace_back(word);
  option.take = [&place, choices = std::move(choices)](const auto& words) -> Result<> {
    for (const auto& [word, meaning] : choices) {
      if (word == words.back()) place = meaning;
    }
    return {};
  };
  return option;
}

// When to colour what goes to the terminal.
enum class Coloring : std::uint8_t { kAuto, kAlways, kNever };
[[nodiscard]] Option coloring(Coloring& place);

}  // namespace moxsupply
