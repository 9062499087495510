#include "explain/Explanation.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <variant>

#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kReset = "\x1B[0m";
constexpr std::string_view kBold = "\x1B[1m";
constexpr std::string_view kPlain;
constexpr std::string_view kNote = "\x1B[33m";
constexpr std::size_t kShownBytes = 8;

// In a column of its own: eight bytes, or seven and the sign that there are more.
std::string hexColumn(std::span<const std::uint8_t> bytes) {
  const bool isAll = bytes.size() <= kShownBytes;
  const auto shown = bytes.first(isAll ? bytes.size() : kShownBytes - 1);
  return fmt::format("{:<24}", fmt::format("{:02X}{}", fmt::join(shown, " "), isAll ? "" : " .."));
}

struct ValueText {
  std::string operator()(std::int32_t number) const { return std::to_string(number); }
  std::string operator()(const std::string& text) const { return '"' + text + '"'; }
  std::string operator()(const Bytes& bytes) const {
    return fmt::format("<{:02X}>", fmt::join(bytes, " "));
  }
  std::string operator()(const Dictionary& /*entries*/) const { return {}; }
};

}  // namespace

void Explanation::heading(std::string_view text) {
  if (!mText.empty()) mText += '\n';
  add(kBold, "", text);
}

void Explanation::line(std::string_view text) { add(kPlain, "  ", text); }

void Explanation::field(std::size_t offset, std::span<const std::uint8_t> bytes,
                        std::string_view meaning) {
  add(kPlain, "  ", fmt::format("{:>6}  {} {}", offset, hexColumn(bytes), meaning));
}

void Explanation::note(std::string_view text) { add(kNote, "       !  ", text); }

void Explanation::decoded(const Dictionary& dictionary) {
  if (dictionary.empty()) line("        nothing");
  entries(dictionary, "          ");
}

void Explanation::entries(const Dictionary& dictionary, const std::string& indent) {
  for (const auto& [key, value] : dictionary) {
    const auto* inner = std::get_if<Dictionary>(&value);
    add(kPlain, indent, fmt::format("{}: {}", key.text(), std::visit(ValueText(), value)));
    if (inner != nullptr) entries(*inner, indent + "  ");
  }
}

void Explanation::add(std::string_view color, std::string_view indent, std::string_view text) {
  std::string harmless = forTerminal(text);
  harmless.erase(harmless.find_last_not_of(' ') + 1);
  const bool isColored = mIsColored && !color.empty();
  mText +=
      fmt::format("{}{}{}{}\n", indent, isColored ? color : "", harmless, isColored ? kReset : "");
}

}  // namespace moxsupply
