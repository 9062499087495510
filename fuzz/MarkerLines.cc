#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "fuzz/Target.h"
#include "renderings/MarkerAttributes.h"
#include "renderings/StateReasons.h"
#include "supplies/Words.h"
#include "tests/support/ServerQueue.h"

namespace moxsupply::fuzzing {

namespace {

using testing::ServerQueue;

constexpr std::size_t kLongestLine = 2000;
constexpr std::size_t kLongestName = 255;

// Five bytes for type, colour, status, level and the size of the name, then the name.
Supplies suppliesFrom(std::span<const std::uint8_t> input) {
  constexpr std::size_t kMostSupplies = 255;  // that a printer can report
  Supplies supplies;
  while (input.size() >= 5 && supplies.list.size() < kMostSupplies) {
    Supply supply;
    supply.kind = kSupplyKinds.at(input[0] % kSupplyKinds.size()).meaning;
    supply.color = kColors.at(input[1] % kColors.size()).meaning;
    supply.status = kSupplyStatuses.at(input[2] % kSupplyStatuses.size()).meaning;
    if (input[3] <= 100) supply.level = input[3];
    const auto name = input.subspan(5, std::min<std::size_t>(input[4], input.size() - 5));
    supply.name.assign(name.begin(), name.end());
    input = input.subspan(5 + name.size());
    supplies.list.push_back(std::move(supply));
  }
  return supplies;
}

void promiseNames(const std::vector<std::string>& heard, const std::vector<std::string>& sent) {
  promise(heard.size() <= sent.size(), "no supply comes out of another's name");
  bool areWhole = heard.size() == sent.size();
  for (std::size_t i = 0; i < heard.size(); ++i) {
    promise(sent[i].starts_with(heard[i]) || heard[i] == "?", "each name is its supply's");
    promise(!heard[i].empty(), "each supply has a name");
    areWhole = areWhole && heard[i] == sent[i];
  }
  std::size_t room = 0;  // in a line; a blank takes two bytes in clients of the print server
  for (const std::string& name : sent) {
    room += name.size() + 1 + static_cast<std::size_t>(std::ranges::count(name, ' '));
  }
  constexpr std::size_t kRoomForNames = 1900;
  promise(areWhole || sent.size() > 80 || room > kRoomForNames,
          "names are shortened only where there is no room for them");
}

}  // namespace

// A printer's supplies, with any names.
void tryInput(std::span<const std::uint8_t> input) {
  constexpr auto kLists =
      std::to_array<const char*>({"marker-names", "marker-types", "marker-colors", "marker-levels",
                                  "marker-low-levels", "marker-high-levels"});
  const Supplies supplies = suppliesFrom(input);
  if (supplies.list.empty()) return;
  const MarkerAttributes attributes = markerAttributes(supplies);
  const auto lines = markerLines(attributes);
  const auto reasons = stateReasons(supplies);

  std::string text = markerMessageLine(attributes.message) + stateLines(reasons);
  promise(lines.size() == kLists.size(), "there are six lists");
  for (const std::string& line : lines) {
    promise(line.size() <= kLongestLine, "a line is not cut by the print server");
    promise(line.find('\n') == line.size() - 1, "a line is one line");
    text += line;
  }

  ServerQueue queue;
  queue.hear(text);
  promise(queue.messages("ATTR").size() == kLists.size() + 1, "six lists and a message are heard");
  const std::size_t states = reasons.empty() ? 1 : 2;
  promise(queue.messages().size() == kLists.size() + 1 + states, "and nothing else");
  promise(std::ranges::equal(queue.reasons(), reasons), "the reasons are those that hold");
  const auto names = queue.values("marker-names");
  promiseNames(names, attributes.names);
  for (const char* list : kLists) {
    promise(queue.values(list).size() == names.size(), "all lists have the same length");
  }
  const auto levels = queue.numbers("marker-levels");
  promise(std::equal(levels.begin(), levels.end(), attributes.levels.begin()),
          "each level is its supply's");
  const auto messages = queue.values("marker-message");
  promise(attributes.message.empty() || messages.size() == 1, "a message is one text");
  for (const std::string& message : messages) {
    promise(message.size() <= kLongestName, "a message is not cut by the print server");
  }

  queue.restart();
  promise(queue.values("marker-names") == names, "names outlive the print server");
  promise(queue.values("marker-message") == messages || attributes.message.empty(),
          "so does the message");
}

}  // namespace moxsupply::fuzzing
