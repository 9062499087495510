#include "text/ShellWord.h"

#include <fmt/format.h>

#include <algorithm>

#include "text/TerminalText.h"

namespace moxsupply {

namespace {

bool isPlain(char c) {
  const bool isLetterOrDigit =
      (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  return isLetterOrDigit || std::string_view("@%_+=:,./-").find(c) != std::string_view::npos;
}

std::string quoted(std::string_view text) {
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + '\'';
}

std::string numbered(std::string_view text) {
  std::string format;
  for (const char c : text) {
    const bool isItself = isPlain(c) && c != '%' && c != '-';
    format += isItself ? std::string(1, c) : fmt::format("\\{:03o}", static_cast<unsigned char>(c));
  }
  return fmt::format("\"$(printf '{}')\"", format);
}

}  // namespace

std::string shellWord(std::string_view text) {
  if (forTerminal(text) != text) return numbered(text);
  const bool isItself =
      !text.empty() && !text.starts_with('-') && std::ranges::all_of(text, isPlain);
  return isItself ? std::string(text) : quoted(text);
}

}  // namespace moxsupply
