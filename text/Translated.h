#pragma once

#include <fmt/core.h>

#include <string>
#include <string_view>

namespace moxsupply {

// Messages for people, in their language. They stand in the sources in English, with the
// placeholders of {fmt}, and in messages/*.po in the others. What programs read is not translated,
// and neither is what whoever has a program read it is told besides.

// From now on messages are in the language that the environment asks for: that of LC_ALL,
// LC_MESSAGES or LANG, unless LANGUAGE names others first, as gettext has it. Without this call, in
// English, and in a language without a catalog they stay as they are. To be called while there is
// one thread.
void translateMessages();

// Marks a message that is translated where it is shown.
[[nodiscard]] constexpr std::string_view translatable(std::string_view message) { return message; }

// A message that was marked, or has no placeholders.
[[nodiscard]] std::string translated(std::string_view message);

// A message with placeholders, which a translation may have in another order.
template <typename First, typename... Others>
[[nodiscard]] std::string translated(fmt::format_string<const First&, const Others&...> message,
                                     const First& first, const Others&... others);

// The same of one, where there is one, or of several.
template <typename... Arguments>
[[nodiscard]] std::string translatedCount(std::size_t count,
                                          fmt::format_string<const Arguments&...> one,
                                          fmt::format_string<const Arguments&...> several,
                                          const Arguments&... arguments);

namespace detail {

// A message, and how it is said of several; the latter empty where that is no question.
struct Message {
  std::string_view one;
  std::string_view several = {};
  std::size_t count = 1;
};

// Translated, and filled in. A translation whose placeholders are wrong gives way to the original.
std::string filledIn(const Message& message, fmt::format_args arguments);

inline std::string_view textOf(fmt::string_view message) {
  return {message.data(), message.size()};
}

}  // namespace detail

template <typename First, typename... Others>
std::string translated(fmt::format_string<const First&, const Others&...> message,
                       const First& first, const Others&... others) {
  return detail::filledIn({.one = detail::textOf(message)},
                          fmt::make_format_args(first, others...));
}

template <typename... Arguments>
std::string translatedCount(std::size_t count, fmt::format_string<const Arguments&...> one,
                            fmt::format_string<const Arguments&...> several,
                            const Arguments&... arguments) {
  return detail::filledIn(
      {.one = detail::textOf(one), .several = detail::textOf(several), .count = count},
      fmt::make_format_args(arguments...));
}

}  // namespace moxsupply
