// That people can read what the page's style colours, by the numbers of the style itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "monitoring/Page.h"

namespace moxsupply::testing {
namespace {

using Names = std::set<std::string>;
using Colors = std::map<std::string, std::string>;  // by the names of their variables

// That of the Web Content Accessibility Guidelines for text of any size.
constexpr double kLeastContrast = 4.5;

const Names kInks = {"ink", "quiet", "link"};
const Names kGrounds = {"page", "card", "track", "needs-soft", "low-soft", "silent-soft"};
// Each is the colour of words on a card, and the ground of a symbol in the colour of the card.
const Names kTones = {"needs", "silent", "low", "new", "fine"};

// What the first group of a pattern matches, wherever the style has it.
Names allInStyle(const char* pattern) {
  const std::string style(pageStyle());
  const std::regex expression(pattern);
  Names found;
  for (std::sregex_iterator match(style.begin(), style.end(), expression), end; match != end;
       ++match) {
    found.insert((*match)[1]);
  }
  return found;
}

// Those of the first block of variables behind `beginning`; of the others what `colors` has.
Colors colorsBehind(std::string_view beginning, Colors colors = {}) {
  const std::string style(pageStyle());
  const std::size_t begin = style.find(":root", style.find(beginning));
  EXPECT_NE(begin, std::string::npos) << beginning;
  const std::string block = style.substr(begin, style.find('}', begin) - begin);
  const std::regex variable("--([a-z-]+): (#[0-9a-f]+);");
  for (std::sregex_iterator match(block.begin(), block.end(), variable), end; match != end;
       ++match) {
    colors[(*match)[1]] = (*match)[2];
  }
  return colors;
}

std::vector<std::pair<const char*, Colors>> schemes() {
  const Colors light = colorsBehind("");
  return {{"light", light},
          {"dark", colorsBehind("prefers-color-scheme: dark", light)},
          {"print", colorsBehind("@media print", light)}};
}

// `color`: "#1c2330" or "#fff".
double luminance(const std::string& color) {
  constexpr std::array<double, 3> kWeights = {0.2126, 0.7152, 0.0722};
  const std::size_t digits = color.size() / 3;
  double sum = 0;
  for (std::size_t i = 0; i < kWeights.size(); ++i) {
    std::string part = color.substr(1 + i * digits, digits);
    if (digits == 1) part += part;
    const double value = std::stoi(part, nullptr, 16) / 255.0;
    sum += kWeights.at(i) *
           (value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4));
  }
  return sum;
}

double contrast(const std::string& one, const std::string& other) {
  const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
  return (light + 0.05) / (dark + 0.05);
}

TEST(AContrast, IsThatOfTheWeb) {
  EXPECT_NEAR(contrast("#000", "#ffffff"), 21, 0.001);
  EXPECT_NEAR(contrast("#777777", "#ffffff"), 4.478, 0.001);
}

TEST(TheStyleOfThePage, HasContrastInEveryScheme) {
  for (const auto& [scheme, colors] : schemes()) {
    for (const std::string& ground : kGrounds) {
      for (const std::string& ink : kInks) {
        EXPECT_GE(contrast(colors.at(ink), colors.at(ground)), kLeastContrast)
            << scheme << ": " << ink << " on " << ground;
      }
    }
    for (const std::string& tone : kTones) {
      EXPECT_GE(contrast(colors.at(tone), colors.at("card")), kLeastContrast)
          << scheme << ": " << tone << " on a card, and a symbol on it";
    }
  }
}

// Or the test above would pass them by.
TEST(TheStyleOfThePage, ColoursTextAsIsLookedAtAndItsGroundsToo) {
  Names inks = kInks;
  inks.insert({"card", "tone"});
  EXPECT_EQ(allInStyle("[{; ]color: var\\(--([a-z-]+)\\)"), inks);
  EXPECT_EQ(allInStyle("[{; ]color: ([^v;][^;]*)"), Names({"inherit"}));
  EXPECT_EQ(allInStyle("--tone: var\\(--([a-z-]+)\\)"), kTones);
  Names grounds = kGrounds;
  // Of a symbol, of one at a count of none, and the bar of a level, on which nothing is written.
  grounds.insert({"tone", "quiet", "fill"});
  EXPECT_EQ(allInStyle("background: var\\(--([a-z-]+)\\)"), grounds);
}

// A variable that only one scheme had would be the other's in it.
TEST(TheStyleOfThePage, HasEachColourInBothSchemes) {
  const auto namesOf = [](const Colors& colors) {
    Names names;
    for (const auto& [name, color] : colors) names.insert(name);
    return names;
  };
  EXPECT_EQ(namesOf(colorsBehind("prefers-color-scheme: dark")), namesOf(colorsBehind("")));
}

}  // namespace
}  // namespace moxsupply::testing
