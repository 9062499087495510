#include "text/HarmlessText.h"

#include <utf8.h>

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
