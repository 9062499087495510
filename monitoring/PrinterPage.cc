#include "monitoring/PrinterPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "monitoring/Html.h"
#include "monitoring/ShownPrinter.h"

namespace moxsupply {

namespace {

using Printer = Prober::Printer;

constexpr int kRefreshWhileAsking = 3;  // seconds

std::string_view inWords(Event event) {
  switch (event) {
    case Event::kPresent:
      return "there again";
    case Event::kReplaced:
      return "replaced";
    case Event::kMissing:
      return "missing";
    case Event::kWrong:
      return "the wrong one";
    case Event::kLow:
      return "low";
    case Event::kEmpty:
      break;
  }
  return "empty";
}

std::string nameOf(const Printer& printer, const PrinterProspects& prospects,
                   std::uint32_t number) {
  const auto found = std::ranges::find(prospects.supplies, number, &Prospect::supply);
  if (found != prospects.supplies.end()) return shownName(found->name);
  if (printer.reading && number >= 1 && number <= printer.reading->supplies.list.size()) {
    return shownName(printer.reading->supplies.list[number - 1].name);
  }
  return fmt::format("Supply {}", number);
}

// "2026-11-21 08:00".
std::string minuteOf(Moment moment) {
  constexpr std::size_t kDate = 10;
  constexpr std::size_t kMinute = 16;
  std::string text = momentAsText(moment).substr(0, kMinute);
  text[kDate] = ' ';
  return text;
}

std::string eventsOf(const Printer& printer, const RememberedPrinter& remembered) {
  if (remembered.events.empty()) {
    return "<p class=quiet>Nothing yet: no cartridge was replaced, missing, low or empty.</p>\n";
  }
  std::string html =
      "<table>\n<thead><tr><th scope=col>When (UTC)<th scope=col>Supply<th scope=col>What<th "
      "scope=col>Because</thead>\n<tbody>\n";
  for (const RememberedEvent& event : remembered.events) {
    html += fmt::format("<tr><td><time datetime=\"{}\">{}</time><td>{}<td>{}<td class=quiet>{}\n",
                        momentAsText(event.moment), minuteOf(event.moment),
                        nameOf(printer, remembered.prospects, event.supply), inWords(event.event),
                        escaped(event.because));
  }
  return html + "</tbody>\n</table>\n";
}

}  // namespace

std::string printerPage(const Printer& printer, std::string_view token, const PageMemory& memory,
                        Prober::Clock::time_point now) {
  const std::string name = escaped(printer.listed.name);
  const Condition condition = conditionOf(printer);
  std::string html = pageBegins(fmt::format("{} – Printer supplies", name),
                                printer.isPending ? kRefreshWhileAsking : 0);
  html += fmt::format(
      "<header>\n<nav aria-label=Pages><a href=\"./\">← All printers</a> <a href=orders>To "
      "buy</a></nav>\n<h1>{}</h1>\n</header>\n{}<main>\n<section class=\"printer whole "
      "{}\">\n{}{}{}{}{}</section>\n",
      name, sayingWhyNothing(memory), rowOf(condition).style, stateOf(condition),
      whereOf(printer.listed), noteOf(printer, now),
      suppliesOf(printer, memory, SuppliesLook::kPage), ageOf(printer, now));
  if (const RememberedPrinter* remembered = memory.find(printer.listed)) {
    html += "<section>\n<h2>What happened</h2>\n" + eventsOf(printer, *remembered) + "</section>\n";
  }
  html += fmt::format(
      "</main>\n<form id=ask method=post action=ask><input type=hidden name=\"token\" "
      "value=\"{}\"><input type=hidden name=from value=printer></form>\n",
      token);
  return html.append(kPageEnds);
}

}  // namespace moxsupply
