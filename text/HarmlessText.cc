#include "text/HarmlessText.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace moxsupply {

bool isHarmful(char32_t c) {
  const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool isSeparator = c == 0x2028 || c == 0x2029;
  const bool turnsDirection = c == 0x061C || (c >= 0x200E && c <= 0x200F) ||
                              (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
  const bool isInvisible =
      c == 0x200B || (c >= 0x2060 && c <= 0x2064) || c == 0xFEFF || (c >= 0xE0000 && c <= 0xE007F);
  return isControl || isSeparator || turnsDirection || isInvisible;
}

bool showsNothing(char32_t c) {
  struct Range {
    char32_t first;
    char32_t last;
  };
  constexpr auto kInvisible = std::to_array<Range>({{0x20, 0x20},
                                                    {0xA0, 0xA0},
                                                    {0xAD, 0xAD},
                                                    {0x034F, 0x034F},
                                                    {0x115F, 0x1160},
                                                    {0x1680, 0x1680},
                                                    {0x17B4, 0x17B5},
                                                    {0x180B, 0x180F},
                                                    {0x2000, 0x200F},
                                                    {0x202F, 0x202F},
                                                    {0x205F, 0x206F},
                                                    {0x2800, 0x2800},
                                                    {0x3000, 0x3000},
                                                    {0x3164, 0x3164},
                                                    {0xFE00, 0xFE0F},
                                                    {0xFFA0, 0xFFA0},
                                                    {0xFFF9, 0xFFFB},
                                                    {0xE0000, 0xE0FFF}});
  return isHarmful(c) || std::ranges::any_of(kInvisible, [c](const Range& range) {
           return c >= range.first && c <= range.last;
         });
}

bool showsNothing(std::string_view text) {
  std::string valid;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
  for (auto at = valid.begin(); at != valid.end();) {
    const char32_t c = utf8::next(at, valid.end());
    if (!showsNothing(c)) return false;
  }
  return true;
}

std::string harmlessLine(std::string_view text, std::size_t mostBytes) {
  std::string valid;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));

  std::string line;
  for (auto at = valid.begin(); at != valid.end();) {
    const char32_t c = utf8::next(at, valid.end());
    std::string character;
    utf8::append(isHarmful(c) ? U' ' : c, character);
    if (character == " " && (line.empty() || line.back() == ' ')) continue;
    if (line.size() + character.size() > mostBytes) break;
    line += character;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace moxsupply
