#include "monitoring/Page.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "links/DeviceUri.h"
#include "supplies/Attention.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

using Printer = Prober::Printer;
using Clock = Prober::Clock;

constexpr int kRefresh = 30;            // seconds
constexpr int kRefreshWhileAsking = 3;  // as long as a printer of the page is being asked
constexpr std::size_t kMostSentences = 3;
constexpr std::size_t kLongestName = 80;    // bytes of a supply's name
constexpr std::size_t kLongestTarget = 80;  // of a target as it is shown
constexpr std::size_t kLongestFind = 80;    // of what is looked for

// How a printer does, the worst first.
enum class Condition : std::uint8_t { kNeedsSupply, kNoAnswer, kLow, kNotRead, kFine };

struct ConditionRow {
  Condition condition;
  std::string_view style;
  std::string_view words;
  std::string_view symbol;
};
constexpr std::array<ConditionRow, 5> kConditions = {{
    {Condition::kNeedsSupply, "needs", "Needs a supply", "!"},
    {Condition::kNoAnswer, "silent", "No answer", "?"},
    {Condition::kLow, "low", "Running low", "↓"},
    {Condition::kNotRead, "new", "Not read yet", "…"},
    {Condition::kFine, "fine", "Fine", "✓"},
}};

const ConditionRow& rowOf(Condition condition) {
  return kConditions.at(static_cast<std::size_t>(condition));
}

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

Condition conditionOf(const Printer& printer) {
  Condition worst = printer.reading ? Condition::kFine : Condition::kNotRead;
  if (printer.failures > 0) worst = Condition::kNoAnswer;
  if (!printer.reading) return worst;
  for (const Supply& supply : printer.reading->supplies.list) {
    if (const auto trouble = troubleOf(supply)) worst = std::min(worst, trouble->condition);
  }
  return worst;
}

// Text from anywhere, for HTML and for the value of an attribute.
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
constexpr std::size_t kWhole = 2000;  // for text whose length is bounded elsewhere

// For the value of a parameter in an address.
std::string asParameter(std::string_view text) {
  std::string encoded;
  for (const char c : text) {
    const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    encoded += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return encoded;
}

std::string inSmallLetters(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

// The colour of a bar.
std::string_view styleOf(Color color) {
  switch (color) {
    case Color::kNone:
      return "plain";
    case Color::kCyan:
      return "cyan";
    case Color::kMagenta:
      return "magenta";
    case Color::kYellow:
      return "yellow";
    case Color::kBlack:
      return "black";
    case Color::kThreeColors:
      return "three";
    case Color::kPhoto:
      break;
  }
  return "photo";
}

std::string supplyRow(const Supply& supply) {
  const std::string name = escaped(supply.name, kLongestName);
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

std::string suppliesOf(const Supplies& supplies) {
  if (supplies.list.empty()) return "<p>It reports no supplies.</p>\n";
  const std::span<const Supply> all(supplies.list);
  const auto shown = all.first(std::min(all.size(), kMostSuppliesShown));
  std::string html = "<ul class=supplies>\n";
  for (const Supply& supply : shown) html += supplyRow(supply);
  html += "</ul>\n";
  if (shown.size() < all.size()) {
    const std::size_t more = all.size() - shown.size();
    html += fmt::format("<p>And {} more {}.</p>\n", more, more == 1 ? "supply" : "supplies");
  }
  return html;
}

std::string troublesOf(const Supplies& supplies) {
  std::vector<std::string> sentences;
  for (const Condition condition : {Condition::kNeedsSupply, Condition::kLow}) {
    for (const Supply& supply : supplies.list) {
      const auto trouble = troubleOf(supply);
      if (!trouble || trouble->condition != condition) continue;
      sentences.push_back(
          fmt::format("<b>{}</b> {}", escaped(supply.name, kLongestName), trouble->what));
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
  const QueryResult& result = printer.last->result;
  std::string html = fmt::format("<p><b>No answer:</b> {}. {}</p>\n", escaped(result.what, kWhole),
                                 escaped(result.advice, kWhole));
  if (!printer.isPending && printer.notBefore > now) {
    html +=
        fmt::format("<p class=quiet>Asked {} ago; it is asked again in {} at the earliest.</p>\n",
                    span(printer.last->end, now), span(now, printer.notBefore));
  }
  return html;
}

// Sends the form of the page, for this printer.
std::string askButton(const ListedPrinter& listed) {
  return fmt::format(
      R"(<button form=ask name=target value="{}" aria-label="Ask now: {}">Ask now</button>)",
      escaped(shownUri(listed.target), kWhole), escaped(listed.name, kWhole));
}

std::string ageOf(const Printer& printer, Clock::time_point now) {
  const std::string age = printer.reading
                              ? fmt::format("Read {} ago.", span(printer.reading->time, now))
                              : "Never read.";
  return fmt::format("<p class=age>{} {}</p>\n", age,
                     printer.isPending ? "Being asked now." : askButton(printer.listed));
}

std::string card(const Printer& printer, Condition condition, Clock::time_point now) {
  const ConditionRow& row = rowOf(condition);
  const ListedPrinter& listed = printer.listed;
  std::string where = listed.place.empty() ? "" : escaped(listed.place, kWhole);
  if (const std::string target = shownUri(listed.target); listed.name != target) {
    where += (where.empty() ? "" : " · ") + escaped(target, kLongestTarget);
  }
  std::string html = fmt::format(
      "<li class=\"printer {}\">\n<h3>{}</h3>\n<p class=state><span class=symbol "
      "aria-hidden=true>{}</span> {}</p>\n",
      row.style, escaped(listed.name, kWhole), row.symbol, row.words);
  if (!where.empty()) html += fmt::format("<p class=where>{}</p>\n", where);
  std::string note;
  if (printer.failures > 0) note += failureOf(printer, now);
  if (printer.reading) note += troublesOf(printer.reading->supplies);
  if (!note.empty()) html += fmt::format("<div class=note>\n{}</div>\n", note);
  if (printer.reading) html += suppliesOf(printer.reading->supplies);
  return html + ageOf(printer, now) + "</li>\n";
}

struct Shown {
  const Printer* printer;
  Condition condition;
};

class Page {
 public:
  Page(const std::vector<const Printer*>& printers, PageView view, std::string_view token,
       Clock::time_point now)
      : mView(std::move(view)), mToken(token), mNow(now) {
    mView.find = harmlessLine(mView.find, kLongestFind);
    const std::string wanted = inSmallLetters(mView.find);
    for (const Printer* printer : printers) {
      const Shown shown{printer, conditionOf(*printer)};
      ++mCounts.at(static_cast<std::size_t>(shown.condition));
      const ListedPrinter& listed = printer->listed;
      const std::string words = inSmallLetters(
          fmt::format("{}\n{}\n{}", listed.name, listed.place, shownUri(listed.target)));
      if (words.find(wanted) != std::string::npos) mShown.push_back(shown);
    }
    mAll = printers.size();
    sort();
    const std::size_t pages = (mShown.size() + kPrintersOfAPage - 1) / kPrintersOfAPage;
    mPages = std::max<std::size_t>(pages, 1);
    mView.number = std::clamp<std::size_t>(mView.number, 1, mPages);
  }

  [[nodiscard]] std::string html(std::string_view listProblem) const {
    std::string html = head() + header();
    if (!listProblem.empty()) {
      html += fmt::format(
          "<p class=alarm role=status><b>The list of printers cannot be read:</b> {} The printers "
          "of the list before are shown.</p>\n",
          escaped(listProblem, kWhole));
    }
    html += "<main id=printers>\n" + sections() + "</main>\n" + askForm() + footer();
    return html + "</body>\n</html>\n";
  }

 private:
  void sort() {
    std::ranges::stable_sort(mShown, [this](const Shown& a, const Shown& b) {
      if (mView.isByPlace && a.printer->listed.place != b.printer->listed.place) {
        // Printers without a place come last.
        const auto key = [](const Shown& shown) {
          return std::pair(shown.printer->listed.place.empty(),
                           std::string_view(shown.printer->listed.place));
        };
        return key(a) < key(b);
      }
      return a.condition < b.condition;
    });
  }

  [[nodiscard]] std::size_t count(Condition condition) const {
    return mCounts.at(static_cast<std::size_t>(condition));
  }

  // An address of this page, with some of it changed, for HTML.
  [[nodiscard]] static std::string address(const PageView& view) {
    return escaped(addressOf(view), kWhole);
  }

  [[nodiscard]] std::string head() const {
    std::string title = "Printer supplies";
    if (const std::size_t needs = count(Condition::kNeedsSupply); needs > 0) {
      title = fmt::format("{} need{} a supply – Printer supplies", needs, needs == 1 ? "s" : "");
    }
    std::string refresh;
    if (mView.isRefreshing) {
      const bool isAsking = std::ranges::any_of(
          ofThisPage(), [](const Shown& shown) { return shown.printer->isPending; });
      refresh = fmt::format("<meta http-equiv=refresh content={}>\n",
                            isAsking ? kRefreshWhileAsking : kRefresh);
    }
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=en>\n<head>\n<meta charset=utf-8>\n"
        "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=color-scheme content=\"light dark\">\n{}<title>{}</title>\n"
        "<link rel=icon type=image/svg+xml href=icon.svg>\n<link rel=stylesheet href=style.css>\n"
        "</head>\n<body>\n",
        refresh, title);
  }

  [[nodiscard]] std::string header() const {
    std::string html = fmt::format(
        "<a class=skip href=#printers>Skip to the printers</a>\n<header>\n<div class=title>\n"
        "<h1>Printer supplies</h1>\n<p>{} printer{}</p>\n</div>\n<ul class=counts>\n",
        mAll, mAll == 1 ? "" : "s");
    for (const ConditionRow& row : kConditions) {
      html += fmt::format(
          "<li class=\"{}{}\"><span class=symbol aria-hidden=true>{}</span><b>{}</b> {}\n",
          row.style, count(row.condition) == 0 ? " zero" : "", row.symbol, count(row.condition),
          row.words);
    }
    return html + "</ul>\n" + navigation() + "</header>\n";
  }

  [[nodiscard]] std::string navigation() const {
    PageView worst = mView;
    worst.isByPlace = false;
    worst.number = 1;
    PageView place = worst;
    place.isByPlace = true;
    constexpr std::string_view kCurrent = " aria-current=true";
    return fmt::format(
        "<nav aria-label=\"Order and search\">\n<ul class=orders>\n"
        "<li><a href=\"{}\"{}>Worst first</a>\n<li><a href=\"{}\"{}>By place</a>\n</ul>\n"
        "<form role=search>{}"
        "<input type=search name=find value=\"{}\" aria-label=\"Name, place or address\" "
        "placeholder=\"Name, place or address\"><button>Find</button></form>\n</nav>\n",
        address(worst), mView.isByPlace ? "" : kCurrent, address(place),
        mView.isByPlace ? kCurrent : "", hidden(), escaped(mView.find, kWhole));
  }

  // Of a form, what keeps the view as it is but for its pages and what is looked for.
  [[nodiscard]] std::string hidden() const {
    return fmt::format("<input type=hidden name=order value={}>{}",
                       mView.isByPlace ? "place" : "worst",
                       mView.isRefreshing ? "" : "<input type=hidden name=refresh value=off>");
  }

  // The form that each printer's button sends.
  [[nodiscard]] std::string askForm() const {
    return fmt::format(
        "<form id=ask method=post action=ask><input type=hidden name=\"token\" value=\"{}\">{}"
        "<input type=hidden name=find value=\"{}\"><input type=hidden name=page value={}></form>\n",
        mToken, hidden(), escaped(mView.find, kWhole), mView.number);
  }

  [[nodiscard]] std::span<const Shown> ofThisPage() const {
    const std::size_t first = (mView.number - 1) * kPrintersOfAPage;
    return std::span(mShown).subspan(first, std::min(kPrintersOfAPage, mShown.size() - first));
  }

  [[nodiscard]] std::string headingOf(const Shown& shown) const {
    if (!mView.isByPlace) return std::string(rowOf(shown.condition).words);
    const std::string& place = shown.printer->listed.place;
    return place.empty() ? "No place given" : escaped(place, kWhole);
  }

  [[nodiscard]] std::string sections() const {
    if (mAll == 0) return "<p class=empty>The list holds no printers.</p>\n";
    if (mShown.empty()) {
      return fmt::format("<p class=empty>No printer's name, place or address has “{}” in it.</p>\n",
                         escaped(mView.find, kWhole));
    }
    std::string html;
    std::string heading;
    for (const Shown& shown : ofThisPage()) {
      if (std::string next = headingOf(shown); html.empty() || next != heading) {
        heading = std::move(next);
        html += fmt::format("{}<section>\n<h2>{}</h2>\n<ul class=printers>\n",
                            html.empty() ? "" : "</ul>\n</section>\n", heading);
      }
      html += card(*shown.printer, shown.condition, mNow);
    }
    return html + "</ul>\n</section>\n";
  }

  [[nodiscard]] std::string footer() const {
    std::string html = "<footer>\n";
    if (mPages > 1) html += pageLinks();
    PageView toggled = mView;
    toggled.isRefreshing = !mView.isRefreshing;
    html += mView.isRefreshing ? fmt::format(
                                     "<p>This page loads itself again every {} seconds. <a "
                                     "href=\"{}\">Stop that</a></p>\n",
                                     kRefresh, address(toggled))
                               : fmt::format(
                                     "<p>This page stays as it is. <a href=\"{}\">Keep it up to "
                                     "date</a></p>\n",
                                     address(toggled));
    return html + "</footer>\n";
  }

  [[nodiscard]] std::string pageLinks() const {
    const std::size_t first = (mView.number - 1) * kPrintersOfAPage;
    const auto link = [this](std::size_t number, std::string_view words) {
      PageView other = mView;
      other.number = number;
      const bool isThere = number >= 1 && number <= mPages;
      return isThere ? fmt::format("<a href=\"{}\">{}</a>\n", address(other), words)
                     : std::string();
    };
    return fmt::format(
        "<nav class=pages aria-label=Pages>\n{}<span>Printers {} to {} of {}</span>\n{}</nav>\n",
        link(mView.number - 1, "← Before"), first + 1, first + ofThisPage().size(), mShown.size(),
        link(mView.number + 1, "Next →"));
  }

  PageView mView;
  std::string_view mToken;
  Clock::time_point mNow;
  std::vector<Shown> mShown;
  std::array<std::size_t, kConditions.size()> mCounts{};
  std::size_t mAll = 0;
  std::size_t mPages = 1;
};

}  // namespace

std::string page(const std::vector<const Printer*>& printers, const PageView& view,
                 std::string_view listProblem, std::string_view token, Clock::time_point now) {
  return Page(printers, view, token, now).html(listProblem);
}

std::string addressOf(const PageView& view) {
  std::string query = view.isByPlace ? "?order=place" : "?order=worst";
  const std::string find = harmlessLine(view.find, kLongestFind);
  if (!find.empty()) query += "&find=" + asParameter(find);
  if (view.number > 1) query += fmt::format("&page={}", view.number);
  if (!view.isRefreshing) query += "&refresh=off";
  return query;
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
