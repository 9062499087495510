#include "text/TerminalText.h"

#include <fmt/format.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utf8.h>

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

int columnsOf(char32_t c) { return std::max(0, ::wcwidth(static_cast<wchar_t>(c))); }

}  // namespace

int columnsOfOutput() {
  constexpr int kOfAPage = 80;
  winsize size{};
  const bool isKnown = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : kOfAPage;
}

bool localeIsUtf8() { return std::string_view(::nl_langinfo(CODESET)) == "UTF-8"; }

std::string forTerminal(std::string_view text) {
  std::string valid;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));

  const bool asciiOnly = !localeIsUtf8();
  std::string harmless;
  for (auto at = valid.begin(); at != valid.end();) {
    const char32_t c = utf8::next(at, valid.end());
    if (isHarmful(c)) {
      harmless += fmt::format("\\u{:04x}", static_cast<std::uint32_t>(c));
    } else if (asciiOnly && c >= 0x80) {
      harmless += '?';
    } else {
      utf8::append(c, harmless);
    }
  }
  return harmless;
}

int columnsOf(std::string_view text) {
  int columns = 0;
  for (const auto* at = text.begin(); at != text.end();) {
    columns += columnsOf(utf8::next(at, text.end()));
  }
  return columns;
}

std::string cutToColumns(std::string_view text, int columns) {
  if (columnsOf(text) <= columns) return std::string(text);
  const std::string_view ellipsis = localeIsUtf8() ? "…" : "...";
  int room = columns - columnsOf(ellipsis);
  std::string cut;
  for (const auto* at = text.begin(); at != text.end();) {
    const auto* const start = at;
    room -= columnsOf(utf8::next(at, text.end()));
    if (room < 0) break;
    cut.append(start, at);
  }
  return cut.append(ellipsis);
}

}  // namespace moxsupply
