#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "monitoring/PageMemory.h"
#include "monitoring/Prober.h"

namespace moxsupply {

// What a page is to show.
struct PageView {
  bool isByPlace = false;    // otherwise the worst first
  bool isRefreshing = true;  // loads itself again
  std::size_t number = 1;    // of the page, from 1; the last one when there are not so many
  std::string find;          // in names, places and targets; empty: everything
};

// The bounds on a page.
constexpr std::size_t kPrintersOfAPage = 100;

// All printers for people, as HTML without scripts. `listProblem`: why the list could not be read
// the last time; empty when it could. `token`: what its form sends, to have a printer asked. All
// text is escaped. At most 2,000,000 bytes, whatever the printers and the list say.
std::string page(const std::vector<const Prober::Printer*>& printers, const PageView& view,
                 std::string_view listProblem, std::string_view token, const PageMemory& memory,
                 Prober::Clock::time_point now);

// The address of a view, relative to that of the page: "?order=worst".
std::string addressOf(const PageView& view);

// What goes with it.
std::string_view pageStyle();
std::string_view pageIcon();

}  // namespace moxsupply
