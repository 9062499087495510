#include "monitoring/Page.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "links/DeviceUri.h"
#include "monitoring/Html.h"
#include "monitoring/ShownPrinter.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

using Printer = Prober::Printer;
using Clock = Prober::Clock;

constexpr int kRefresh = 30;              // seconds
constexpr int kRefreshWhileAsking = 3;    // as long as a printer of the page is being asked
constexpr std::size_t kLongestFind = 80;  // bytes of what is looked for

std::string inSmallLetters(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

std::string card(const Printer& printer, Condition condition, const PageMemory& memory,
                 Clock::time_point now) {
  const std::string name = escaped(printer.listed.name);
  return fmt::format(
      "<li class=\"printer {}\">\n<h3>{}</h3>\n{}{}{}{}{}<p class=details><a href=\"{}\" "
      "aria-label=\"Details: {}\">Details</a></p>\n</li>\n",
      rowOf(condition).style, name, stateOf(condition), whereOf(printer.listed),
      noteOf(printer, now), suppliesOf(printer, memory, SuppliesLook::kCard), ageOf(printer, now),
      linkTo(printer.listed), name);
}

struct Shown {
  const Printer* printer;
  Condition condition;
};

class Page {
 public:
  Page(const std::vector<const Printer*>& printers, PageView view, std::string_view token,
       const PageMemory& memory, Clock::time_point now)
      : mView(std::move(view)), mToken(token), mMemory(memory), mNow(now) {
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
          escaped(listProblem));
    }
    html += sayingWhyNothing(mMemory);
    html += "<main id=printers>\n" + sections() + "</main>\n" + askForm() + footer();
    return html.append(kPageEnds);
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
    return escaped(addressOf(view));
  }

  [[nodiscard]] std::string head() const {
    std::string title = "Printer supplies";
    if (const std::size_t needs = count(Condition::kNeedsSupply); needs > 0) {
      title = fmt::format("{} need{} a supply – Printer supplies", needs, needs == 1 ? "s" : "");
    }
    const bool isAsking = std::ranges::any_of(
        ofThisPage(), [](const Shown& shown) { return shown.printer->isPending; });
    const int refresh = isAsking ? kRefreshWhileAsking : kRefresh;
    return pageBegins(title, mView.isRefreshing ? refresh : 0);
  }

  [[nodiscard]] std::string header() const {
    std::string html = fmt::format(
        "<a class=skip href=#printers>Skip to the printers</a>\n<header>\n<div class=title>\n"
        "<h1>Printer supplies</h1>\n<p>{} printer{}</p>\n<a href=orders>To buy</a>\n</div>\n<ul "
        "class=counts>\n",
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
        mView.isByPlace ? kCurrent : "", hidden(), escaped(mView.find));
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
        mToken, hidden(), escaped(mView.find), mView.number);
  }

  [[nodiscard]] std::span<const Shown> ofThisPage() const {
    const std::size_t first = (mView.number - 1) * kPrintersOfAPage;
    return std::span(mShown).subspan(first, std::min(kPrintersOfAPage, mShown.size() - first));
  }

  [[nodiscard]] std::string headingOf(const Shown& shown) const {
    if (!mView.isByPlace) return std::string(rowOf(shown.condition).words);
    const std::string& place = shown.printer->listed.place;
    return place.empty() ? "No place given" : escaped(place);
  }

  [[nodiscard]] std::string sections() const {
    if (mAll == 0) return "<p class=empty>The list holds no printers.</p>\n";
    if (mShown.empty()) {
      return fmt::format("<p class=empty>No printer's name, place or address has “{}” in it.</p>\n",
                         escaped(mView.find));
    }
    std::string html;
    std::string heading;
    for (const Shown& shown : ofThisPage()) {
      if (std::string next = headingOf(shown); html.empty() || next != heading) {
        heading = std::move(next);
        html += fmt::format("{}<section>\n<h2>{}</h2>\n<ul class=printers>\n",
                            html.empty() ? "" : "</ul>\n</section>\n", heading);
      }
      html += card(*shown.printer, shown.condition, mMemory, mNow);
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
  const PageMemory& mMemory;
  Clock::time_point mNow;
  std::vector<Shown> mShown;
  std::array<std::size_t, kConditions.size()> mCounts{};
  std::size_t mAll = 0;
  std::size_t mPages = 1;
};

}  // namespace

std::string page(const std::vector<const Printer*>& printers, const PageView& view,
                 std::string_view listProblem, std::string_view token, const PageMemory& memory,
                 Clock::time_point now) {
  return Page(printers, view, token, memory, now).html(listProblem);
}

std::string addressOf(const PageView& view) {
  std::string query = view.isByPlace ? "?order=place" : "?order=worst";
  const std::string find = harmlessLine(view.find, kLongestFind);
  if (!find.empty()) query += "&find=" + asParameter(find);
  if (view.number > 1) query += fmt::format("&page={}", view.number);
  if (!view.isRefreshing) query += "&refresh=off";
  return query;
}

}  // namespace moxsupply
