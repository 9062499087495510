#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "supplies/Attention.h"
#include "supplies/Supplies.h"
#include "text/Translated.h"

namespace moxsupply {

// Published levels that are not 0 to 100.
constexpr int kNoCartridge = -1;
constexpr int kUnknownLevel = -2;

constexpr int kFullLevel = 100;

// A printer's supplies in the words of the print server: the six marker lists, always of the same
// length, and the message beside them.
struct MarkerAttributes {
  std::vector<std::string> names;   // see markerName
  std::vector<std::string> types;   // "toner", "ink", "fuser", "other"
  std::vector<std::string> colors;  // "#RRGGBB", several of them joined, or "none"
  std::vector<int> levels;          // 0 to 100 percent, kNoCartridge or kUnknownLevel
  std::vector<int> lowLevels;       // from which on downwards one is low
  std::vector<int> highLevels;      // a full one
  std::string message;              // what needs attention, in a sentence; empty: nothing does

  friend bool operator==(const MarkerAttributes&, const MarkerAttributes&) = default;
};

MarkerAttributes markerAttributes(const Supplies& supplies, const Measure& measure = {});

// The colour that is published so; none for one that is not ours.
Color colorPublishedAs(std::string_view published);

// The status that a published message tells of the supply with this marker name, in whatever
// language it was published. A status has no list of its own at the print server, and a level does
// not say that a cartridge is the wrong one.
SupplyStatus statusToldBy(std::string_view message, std::string_view markerName);

// Whether a printer tells anything of how full its supplies are. The lists of one that does not are
// better not published: GNOME and system-config-printer then show that there are no levels, where
// they and KDE would draw each supply as empty.
bool tellsLevels(const Supplies& supplies);

// The message of such a printer.
constexpr std::string_view kTellsNoLevels =
    translatable("The printer tells no levels (see: man commandtomox)");

// Whether a published message is that one, in whatever language.
bool saysThatNoLevelsAreTold(std::string_view message);

// What stands in a message before the names of supplies without a level, which are drawn as empty.
constexpr std::string_view kUnknownLevels =
    translatable("Level unknown even where drawn as empty (see: man commandtomox)");

// What is said, while a printer gives no levels, of those that its queue still shows. `reported`:
// when the printer told them, where that is known.
std::string remarkOnLevelsOf(std::optional<std::chrono::sys_seconds> reported);

// When the printer told the levels, by such a remark in a message, in whatever language.
std::optional<std::chrono::sys_seconds> reportTimeToldBy(const std::string& message);

// A supply's name as it can be published: one line of harmless UTF-8 without blanks at its ends, of
// at most 40 characters, since desktops make no lines of it, and 255 bytes. The print server writes
// names joined with commas to a file of its own and reads them back at its next start, without
// regard to the quotes and backslashes of either side; so comma, quotes and backslash give way to
// characters that look like them. So do <, > and &, which are markup to KDE.
std::string markerName(const std::string& name);

// The lines that publish the attributes, each with its newline and of at most 2000 bytes: the print
// server cuts a line at 2047 and takes the rest for another. Supplies for which there is no room
// are left out of all six lists.
std::vector<std::string> markerLines(MarkerAttributes attributes);

// The line that publishes these levels alone, as many of them as there is room for.
std::string markerLevelsLine(std::vector<int> levels);

// The line that publishes a message, made harmless as names are and cut to 255 bytes; an empty one
// takes the former away.
std::string markerMessageLine(const std::string& message);

}  // namespace moxsupply
