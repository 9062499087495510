#include "renderings/PluginLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "supplies/Attention.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

constexpr std::size_t kMostNameBytes = 64;
constexpr std::size_t kMostReasonBytes = 512;

constexpr std::string_view wordOf(PluginState state) {
  constexpr std::array<std::string_view, 4> kWords = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
  return kWords.at(static_cast<std::size_t>(state));
}

std::string without(std::string_view signs, std::string text) {
  std::ranges::replace_if(
      text, [signs](char c) { return signs.find(c) != std::string_view::npos; }, '_');
  return text;
}

// Text as it may stand in the line. A bar begins performance data there; the others mean something
// to shells and browsers, to which monitoring systems pass the line on.
std::string forPlugin(std::string_view text, std::size_t mostBytes) {
  return without("|<>`$\\", harmlessLine(text, mostBytes));
}

// A name for each supply that no other has, since data is kept under it. It is the printer's word,
// and has nothing in it that could end what it stands in: a shell's word or command, the label of
// performance data.
std::vector<std::string> distinctNames(const Supplies& supplies) {
  std::vector<std::string> names;
  std::set<std::string> taken;
  for (const Supply& supply : supplies.list) {
    const std::string name = without("\"'&;~=", forPlugin(supply.name, kMostNameBytes));
    std::string distinct = name;
    for (int count = 2; !taken.insert(distinct).second; ++count) {
      distinct = fmt::format("{} {}", name, count);
    }
    names.push_back(std::move(distinct));
  }
  return names;
}

bool isJudged(const Supply& supply, const PluginThresholds& thresholds) {
  return thresholds.judgesFusersToo || isCartridge(supply);
}

// What is to be thought of one supply, and what led to it.
struct Judgement {
  PluginState state = PluginState::kOk;
  std::string text;  // "80 %"
};

Judgement judgementOf(const Supply& supply, const PluginThresholds& thresholds) {
  const std::string level = supply.level ? fmt::format("{} %", *supply.level) : "level not known";
  // A level is bad below a threshold; low is what is at or below a level.
  const bool all = thresholds.judgesFusersToo;
  switch (attentionOf(supply, {thresholds.critical - 1, all})) {
    case Attention::kMissing:
      return {PluginState::kCritical, "missing"};
    case Attention::kWrong: {
      const bool isInvalid = supply.status == SupplyStatus::kInvalid;
      return {PluginState::kCritical,
              level + (isInvalid ? " (not valid here)" : " (wrong cartridge)")};
    }
    case Attention::kEmpty:
      return {PluginState::kCritical, level + " (empty)"};
    case Attention::kLow:
      return {PluginState::kCritical, fmt::format("{} (below {} %)", level, thresholds.critical)};
    case Attention::kNone:
      break;
  }
  if (attentionOf(supply, {thresholds.warning - 1, all}) == Attention::kLow) {
    return {PluginState::kWarning, fmt::format("{} (below {} %)", level, thresholds.warning)};
  }
  const bool isMissed = !supply.level && isJudged(supply, thresholds);
  return {isMissed ? PluginState::kUnknown : PluginState::kOk, level};
}

// Performance data of one supply: 'label'=value%;warning;critical;least;most. "20:" is the range
// from 20 on, outside of which a level is bad; U is a value that could not be had.
std::string performanceData(const std::string& name, const Supply& supply,
                            const PluginThresholds& thresholds) {
  const std::string value = supply.level ? fmt::format("{}%", *supply.level) : "U";
  const std::string ranges = isJudged(supply, thresholds)
                                 ? fmt::format("{}:;{}:", thresholds.warning, thresholds.critical)
                                 : ";";
  return fmt::format("'{}'={};{};0;100", name, value, ranges);
}

// How bad: what is not known of one supply is worse than nothing, and better than what is known to
// be low.
int badness(PluginState state) {
  constexpr std::array kFromBest = {PluginState::kOk, PluginState::kUnknown, PluginState::kWarning,
                                    PluginState::kCritical};
  return static_cast<int>(std::ranges::find(kFromBest, state) - kFromBest.begin());
}

}  // namespace

PluginResult pluginResult(const Supplies& supplies, const PluginThresholds& thresholds) {
  std::vector<Judgement> told;
  std::vector<std::string> data;
  PluginState worst = PluginState::kOk;
  bool isAnyLevelKnown = false;

  const std::vector<std::string> names = distinctNames(supplies);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const Supply& supply = supplies.list[i];
    Judgement judgement = judgementOf(supply, thresholds);
    data.push_back(performanceData(names[i], supply, thresholds));
    isAnyLevelKnown = isAnyLevelKnown || (isJudged(supply, thresholds) && supply.level);
    if (badness(judgement.state) > badness(worst)) worst = judgement.state;
    judgement.text = fmt::format("{} {}", names[i], judgement.text);
    told.push_back(std::move(judgement));
  }
  // One unknown level of several tells nothing; but no level at all must not pass for good ones.
  if (worst == PluginState::kUnknown && isAnyLevelKnown) worst = PluginState::kOk;
  if (worst == PluginState::kOk && !isAnyLevelKnown) worst = PluginState::kUnknown;

  std::ranges::stable_sort(told, std::greater(),
                           [](const Judgement& one) { return badness(one.state); });
  std::vector<std::string> texts(told.size());
  std::ranges::transform(told, texts.begin(), &Judgement::text);
  if (texts.empty()) return pluginUnknown("the printer names no supplies");
  const std::string_view why =
      worst == PluginState::kUnknown ? "the level of no cartridge is known: " : "";
  return {worst, fmt::format("NPA {} - {}{} | {}\n", wordOf(worst), why, fmt::join(texts, ", "),
                             fmt::join(data, " "))};
}

PluginResult pluginUnknown(std::string_view why) {
  constexpr PluginState kState = PluginState::kUnknown;
  return {kState, fmt::format("NPA {} - {}\n", wordOf(kState), forPlugin(why, kMostReasonBytes))};
}

}  // namespace moxsupply
