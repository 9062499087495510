#include "monitoring/ShownPrinter.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "links/DeviceUri.h"
#include "monitoring/CurveSvg.h"
#include "monitoring/Html.h"
#include "supplies/Attention.h"

namespace moxsupply {

namespace {

using Printer = Prober::Printer;
using Clock = Prober::Clock;

constexpr std::size_t kMostSentences = 3;
constexpr std::size_t kLongestName = 80;    // bytes of a supply's name
constexpr std::size_t kLongestTarget = 80;  // of a target as it is shown
constexpr std::size_t kLongestNumber = 40;  // of a part or serial number

// What a supply needs, in a printer's condition and in words.
struct Trouble {
  Condition condition;
  std::string_view what;
};
std::optional<Trouble> troubleOf(const Supply& supply) {
  switch (attentionOf(supply)) {
    case Attention::kNone:
      return std::nullopt;
    case Attention::kLow:
      return Trouble{Condition::kLow, "is low: have a new one ready."};
    case Attention::kEmpty:
      return Trouble{Condition::kNeedsSupply, "is empty: replace it."};
    case Attention::kMissing:
      return Trouble{Condition::kNeedsSupply, "is missing: put it in."};
    case Attention::kWrong:
      break;
  }
  const bool isInvalid = supply.status == SupplyStatus::kInvalid;
  return Trouble{Condition::kNeedsSupply, isInvalid ? "is not valid here: put in another."
                                                    : "is the wrong one: put in the right one."};
}

std::string troublesOf(const Supplies& supplies) {
  std::vector<std::string> sentences;
  for (const Condition condition : {Condition::kNeedsSupply, Condition::kLow}) {
    for (const Supply& supply : supplies.list) {
      const auto trouble = troubleOf(supply);
      if (!trouble || trouble->condition != condition) continue;
      sentences.push_back(fmt::format("<b>{}</b> {}", shownName(supply.name), trouble->what));
    }
  }
  const std::size_t shown = std::min(sentences.size(), kMostSentences);
  std::string html;
  for (std::size_t i = 0; i < shown; ++i) html += fmt::format("<p>{}</p>\n", sentences[i]);
  if (shown < sentences.size()) {
    html += fmt::format("<p>And {} more.</p>\n", sentences.size() - shown);
  }
  return html;
}

std::string span(Clock::time_point from, Clock::time_point to) {
  return spanInWords(std::chrono::duration_cast<std::chrono::milliseconds>(to - from));
}

// Why the last attempt failed, and what to try.
std::string failureOf(const Printer& printer, Clock::time_point now) {
  const Prober::Attempt& last = *printer.last;
  std::string html = fmt::format("<p><b>No answer:</b> {}. {}</p>\n", escaped(last.what, kWhole),
                                 escaped(last.advice, kWhole));
  if (!printer.isPending && printer.notBefore > now) {
    html +=
        fmt::format("<p class=quiet>Asked {} ago; it is asked again in {} at the earliest.</p>\n",
                    span(last.end, now), span(now, printer.notBefore));
  }
  return html;
}

// Sends the form of the page, for this printer.
std::string askButton(const ListedPrinter& listed) {
  return fmt::format(
      R"(<button form=ask name=target value="{}" aria-label="Ask now: {}">Ask now</button>)",
      escaped(shownUri(listed.target), kWhole), escaped(listed.name, kWhole));
}

std::string capitalized(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') {
    text[0] = static_cast<char>(text[0] - 'a' + 'A');
  }
  return text;
}

// What identifies a supply and how much it has printed, as far as the printer told it.
std::string detailsOf(const Supply& supply, const Prospect* prospect, SuppliesLook look) {
  std::vector<std::string> details;
  const std::string& part =
      supply.part.empty() && prospect != nullptr ? prospect->part : supply.part;
  if (!part.empty()) details.push_back("Part " + escaped(part, kLongestNumber));
  if (look == SuppliesLook::kPage && !supply.serial.empty()) {
    details.push_back("serial number " + escaped(supply.serial, kLongestNumber));
  }
  if (const auto& printed = supply.pages.printed) {
    details.push_back(fmt::format("{} page{} printed", *printed, *printed == 1 ? "" : "s"));
  }
  if (look == SuppliesLook::kPage && supply.pages.capacity) {
    details.push_back(fmt::format("a new one prints {} pages", *supply.pages.capacity));
  }
  if (details.empty()) return {};
  return fmt::format("<p class=quiet>{}</p>\n",
                     capitalized(fmt::format("{}", fmt::join(details, " · "))));
}

// What a row has below its level.
std::string moreOf(const Supply& supply, const Prospect* prospect, const Curve* curve, Moment now,
                   SuppliesLook look) {
  std::string html;
  const bool isWhole = look == SuppliesLook::kPage;
  if (curve != nullptr) {
    html += isWhole ? largeCurve(*curve, supply.color,
                                 prospect != nullptr ? prospect->forecast.emptyAt : std::nullopt)
                    : smallCurve(*curve, supply.color);
  }
  if (const std::string left = prospect != nullptr ? timeLeft(*prospect, now) : ""; !left.empty()) {
    html += fmt::format("<p>{}{}</p>\n", capitalized(left),
                        isWhole && prospect->forecast.emptyAt
                            ? fmt::format(": {}.", escaped(prospect->forecast.because))
                            : "");
  }
  html += detailsOf(supply, prospect, look);
  return html.empty() ? html : fmt::format("<div class=more>\n{}</div>\n", html);
}

std::string levelOf(const Supply& supply) {
  const std::string name = shownName(supply.name);
  if (!supply.level) {
    return fmt::format(
        "<li class=none><span class=name>{}</span><span class=level>{}</span><span "
        "class=hatched></span>\n",
        name, supply.level.error() == NoLevel::kMissing ? "no cartridge" : "level not known");
  }
  return fmt::format(
      "<li><label><span class=name>{0}</span><span class=level>{1} %</span><meter class={2} "
      "max=100 value={1}>{1} %</meter></label>\n",
      name, *supply.level, styleOf(supply.color));
}

const Prospect* prospectOf(const RememberedPrinter* remembered, std::uint32_t number) {
  if (remembered == nullptr) return nullptr;
  const auto& all = remembered->prospects.supplies;
  const auto found = std::ranges::find(all, number, &Prospect::supply);
  return found == all.end() ? nullptr : &*found;
}

const Curve* curveOf(const RememberedPrinter* remembered, std::uint32_t number) {
  const Prospect* prospect = prospectOf(remembered, number);
  if (prospect == nullptr) return nullptr;
  const auto place = prospect - remembered->prospects.supplies.data();
  return &remembered->cartridges.at(static_cast<std::size_t>(place)).curve;
}

}  // namespace

std::string shownName(std::string_view name) { return escaped(name, kLongestName); }

Condition conditionOf(const Printer& printer) {
  Condition worst = printer.reading ? Condition::kFine : Condition::kNotRead;
  if (printer.failures > 0) worst = Condition::kNoAnswer;
  if (!printer.reading) return worst;
  for (const Supply& supply : printer.reading->supplies.list) {
    if (const auto trouble = troubleOf(supply)) worst = std::min(worst, trouble->condition);
  }
  return worst;
}

std::string stateOf(Condition condition) {
  const ConditionRow& row = rowOf(condition);
  return fmt::format("<p class=state><span class=symbol aria-hidden=true>{}</span> {}</p>\n",
                     row.symbol, row.words);
}

std::string whereOf(const ListedPrinter& listed) {
  std::string where = escaped(listed.place);
  if (const std::string target = shownUri(listed.target); listed.name != target) {
    where += (where.empty() ? "" : " · ") + escaped(target, kLongestTarget);
  }
  return where.empty() ? where : fmt::format("<p class=where>{}</p>\n", where);
}

std::string linkTo(const ListedPrinter& listed) {
  return "printer?target=" + asParameter(shownUri(listed.target));
}

std::string noteOf(const Printer& printer, Clock::time_point now) {
  std::string note;
  if (printer.failures > 0) note += failureOf(printer, now);
  if (printer.reading) note += troublesOf(printer.reading->supplies);
  return note.empty() ? note : fmt::format("<div class=note>\n{}</div>\n", note);
}

std::string ageOf(const Printer& printer, Clock::time_point now) {
  const std::string age = printer.reading
                              ? fmt::format("Read {} ago.", span(printer.reading->time, now))
                              : "Never read.";
  return fmt::format("<p class=age>{} {}</p>\n", age,
                     printer.isPending ? "Being asked now." : askButton(printer.listed));
}

std::string suppliesOf(const Printer& printer, const PageMemory& memory, SuppliesLook look) {
  if (!printer.reading) return {};
  const std::span<const Supply> all(printer.reading->supplies.list);
  if (all.empty()) return "<p>It reports no supplies.</p>\n";
  const bool isWhole = look == SuppliesLook::kPage;
  const auto shown = isWhole ? all : all.first(std::min(all.size(), kMostSuppliesOfACard));
  const RememberedPrinter* remembered = memory.find(printer.listed);
  std::string html = "<ul class=supplies>\n";
  std::uint32_t number = 0;
  for (const Supply& supply : shown) {
    ++number;
    html += levelOf(supply) + moreOf(supply, prospectOf(remembered, number),
                                     curveOf(remembered, number), memory.now, look);
  }
  html += "</ul>\n";
  if (const std::size_t more = all.size() - shown.size(); more > 0) {
    html += fmt::format("<p>And {} more {}.</p>\n", more, more == 1 ? "supply" : "supplies");
  }
  return html;
}

std::string timeLeft(const Prospect& prospect, Moment now) {
  if (prospect.attention == Attention::kEmpty) return {};
  const Forecast& forecast = prospect.forecast;
  if (!forecast.emptyAt) return fmt::format("no forecast: {}", escaped(forecast.because));
  const auto daysUntil = [&](Moment moment) {
    return std::max(0L, std::lround(daysBetween(now, moment)));
  };
  const long earliest = daysUntil(forecast.emptyAt->earliest);
  const long latest = daysUntil(forecast.emptyAt->latest);
  if (forecast.emptyAt->likely <= now) {
    return fmt::format("may be empty any day ({} to {} days left)", earliest, latest);
  }
  const long likely = std::max(1L, daysUntil(forecast.emptyAt->likely));
  return fmt::format("about {} day{} left ({} to {})", likely, likely == 1 ? "" : "s", earliest,
                     std::max(likely, latest));
}

std::string spanInWords(std::chrono::milliseconds span) {
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(span).count();
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 60 * kMinute;
  constexpr std::int64_t kDay = 24 * kHour;
  if (seconds < 2 * kMinute) return fmt::format("{} s", seconds);
  if (seconds < 2 * kHour) return fmt::format("{} min", seconds / kMinute);
  if (seconds < 2 * kDay) return fmt::format("{} h", seconds / kHour);
  return fmt::format("{} days", seconds / kDay);
}

}  // namespace moxsupply
