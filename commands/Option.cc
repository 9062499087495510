#include "commands/Option.h"

#include <fmt/format.h>

#include <optional>

#include "text/Decimal.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

// The option as a message names it: by its long name.
std::string_view nameIn(std::string_view names) { return names.substr(names.rfind(',') + 1); }

// `what`: "a whole number".
tl::unexpected<Problem> expected(std::string_view names, std::string_view what,
                                 const Bounds& bounds, std::string_view given) {
  return misuse(fmt::format("{}: expected {} from {} to {}, not \"{}\"", nameIn(names), what,
                            bounds.least, bounds.most, forTerminal(given)));
}

std::optional<std::uint32_t> numberWithin(const Bounds& bounds, std::string_view text) {
  const auto number = decimal(text);
  return number && *number >= bounds.least && *number <= bounds.most ? number : std::nullopt;
}

// An option that is a number; `what` it is, in a message.
template <typename Number>
Option number(std::string name, Number& place, const Bounds& bounds, std::string_view what,
              std::string value, std::string help) {
  Option option = {.name = name, .value = std::move(value), .help = std::move(help)};
  option.take = [&place, bounds, what, name = std::move(name)](const auto& words) -> Result<> {
    const auto given = numberWithin(bounds, words.back());
    if (!given) return expected(name, what, bounds, words.back());
    place = static_cast<Number>(*given);
    return {};
  };
  return option;
}

}  // namespace

Option flag(std::string name, bool& place, std::string help) {
  Option option = {.name = std::move(name), .value = {}, .help = std::move(help), .isFlag = true};
  option.take = [&place](const auto& /*words*/) -> Result<> {
    place = true;
    return {};
  };
  return option;
}

Option text(std::string name, std::string& place, std::string value, std::string help) {
  Option option = {.name = std::move(name), .value = std::move(value), .help = std::move(help)};
  option.take = [&place](const auto& words) -> Result<> {
    place = words.back();
    return {};
  };
  return option;
}

Option texts(std::string name, std::vector<std::string>& place, std::string value,
             std::string help) {
  Option option = {.name = std::move(name), .value = std::move(value), .help = std::move(help)};
  option.isRepeated = true;
  option.take = [&place](const auto& words) -> Result<> {
    place = words;
    return {};
  };
  return option;
}

Option argument(std::string name, std::string& place, std::string help) {
  Option option = text(std::move(name), place, " ", std::move(help));
  option.isRequired = true;
  return option;
}

Option wholeNumber(std::string name, std::uint32_t& place, const Bounds& bounds, std::string value,
                   std::string help) {
  return number(std::move(name), place, bounds, "a whole number", std::move(value),
                std::move(help));
}

Option seconds(std::string name, std::uint32_t& place, const Bounds& bounds, std::string help) {
  return number(std::move(name), place, bounds, "a whole number of seconds", "SECONDS",
                std::move(help));
}

Option percentage(std::string name, int& place, std::string help, const Bounds& bounds) {
  return number(std::move(name), place, bounds, "a percentage", "PERCENT", std::move(help));
}

Option coloring(Coloring& place) {
  return choice<Coloring>(
      "--color", place,
      {{"auto", Coloring::kAuto}, {"always", Coloring::kAlways}, {"never", Coloring::kNever}},
      "WHEN", "auto, always or never (auto: on a terminal)");
}

}  // namespace moxsupply
