#include "monitoring/Html.h"

#include <fmt/format.h>

#include "text/HarmlessText.h"

namespace moxsupply {

std::string escaped(std::string_view text, std::size_t mostBytes) {
  std::string html;
  for (const char c : harmlessLine(text, mostBytes)) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&#34;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += c;
    }
  }
  return html;
}

std::string asParameter(std::string_view text) {
  std::string encoded;
  for (const char c : text) {
    const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    encoded += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return encoded;
}

std::string pageBegins(std::string_view title, int refresh) {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=en>\n<head>\n<meta charset=utf-8>\n"
      "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=color-scheme content=\"light dark\">\n{}<title>{}</title>\n"
      "<link rel=icon type=image/svg+xml href=icon.svg>\n<link rel=stylesheet href=style.css>\n"
      "</head>\n<body>\n",
      refresh == 0 ? "" : fmt::format("<meta http-equiv=refresh content={}>\n", refresh), title);
}

}  // namespace moxsupply
