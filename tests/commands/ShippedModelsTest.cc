// `moxsupply levels` of every printer that the simulator ships, without a word about what kind of
// printer it is. What is expected is worked out from the model files by hand.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tests/support/FilterProcess.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TestName.h"

namespace moxsupply::testing {
namespace {

using Lines = std::vector<std::string>;

struct Printer {
  const char* model;
  const char* title;
  Lines supplies;  // name, colour, level and status
};

void PrintTo(const Printer& printer, std::ostream* out) { *out << printer.model; }

const std::vector<Printer> kPrinters = {
    {"inkjet-lantern-cartridge-faults",
     "Inkjet printer, Lantern print head, 4 supplies",
     {
         "Cyan Cartridge | cyan | no cartridge | missing",
         "Black Cartridge | black | 25 % | not valid here",
         "Magenta Cartridge | magenta | 50 % | wrong cartridge",
         "Yellow Cartridge | yellow | 75 % | ok",
     }},
    {"inkjet-lantern-four-cartridges",
     "Inkjet printer, Lantern print head, 4 supplies",
     {
         "Cyan Cartridge | cyan | 61 % | ok",
         "Black Cartridge | black | 80 % | ok",
         "Magenta Cartridge | magenta | 47 % | ok",
         "Yellow Cartridge | yellow | 92 % | ok",
     }},
    {"inkjet-lantern-in-pieces",
     "Inkjet printer, Lantern print head, 4 supplies",
     {
         "Cyan Cartridge | cyan | 34 % | ok",
         "Black Cartridge | black | 12 % | ok",
         "Magenta Cartridge | magenta | 56 % | ok",
         "Yellow Cartridge | yellow | 78 % | ok",
     }},
    {"inkjet-lantern-nearly-empty",
     "Inkjet printer, Lantern print head, 4 supplies",
     {
         "Cyan Cartridge | cyan | 2 % | low",
         "Black Cartridge | black | 0 % | empty",
         "Magenta Cartridge | magenta | 0 % | empty",
         "Yellow Cartridge | yellow | 5 % | low",
     }},
    // The photo inks' levels, not the standard inks' 100.
    {"inkjet-lantern-photo-inks",
     "Inkjet printer, Lantern print head, 4 supplies",
     {
         "Cyan Cartridge | cyan | 33 % | ok",
         "Black Cartridge | black | 66 % | ok",
         "Magenta Cartridge | magenta | 44 % | ok",
         "Yellow Cartridge | yellow | 55 % | ok",
     }},
    // The least of 54, 37 and 71.
    {"inkjet-lantern-three-colour",
     "Inkjet printer, Lantern print head, 2 supplies",
     {
         "Color Cartridge | three-colour | 37 % | ok",
         "Black Cartridge | black | 88 % | ok",
     }},
    // The least used ink counts: 0x10 of 0x40 and 0x48 of 0xC0, which leaves 75 and 62.5. It is not
    // the first of its three, so it carries the count before it in its lowest byte: a little less
    // is left, and 75 becomes 74.
    {"inkjet-meadow-colour-and-photo",
     "Inkjet printer, Meadow print head, 2 supplies",
     {
         "Color | three-colour | 74 % | ok",
         "Photo | photo | 62 % | ok",
     }},
    // Of cyan, the first count, 20 of 80 are used; magenta's 20 carry cyan's and are more. Of black
    // 10 of 100.
    {"inkjet-no-head-code",
     "Inkjet printer, Meadow print head, 2 supplies",
     {
         "Color | three-colour | 75 % | ok",
         "Black | black | 90 % | ok",
     }},
    // Magenta's 70 of 200 leave 65, and a little less with cyan's count in the lowest byte. Of
    // black 60 of 200 are used.
    {"inkjet-quarry-colour-and-black",
     "Inkjet printer, Quarry print head, 2 supplies",
     {
         "Color | three-colour | 64 % | ok",
         "Black | black | 70 % | ok",
     }},
    // 1440, 480 and 16 million of 1600 million; 1000 of 2000 million.
    {"laser-colour-dots-in-record",
     "Laser printer, 4 supplies",
     {
         "Cyan Toner Cartridge | cyan | 90 % | ok",
         "Magenta Toner Cartridge | magenta | 30 % | ok",
         "Yellow Toner Cartridge | yellow | 1 % | low",
         "Black Toner Cartridge | black | 50 % | ok",
     }},
    // Toners of 10,000 and 20,000; a fuser of 150,000. Fuser and container have no colour.
    {"laser-colour-full",
     "Laser printer, 10 supplies",
     {
         "Cyan Toner Cartridge | cyan | 62 % | ok",
         "Magenta Toner Cartridge | magenta | 48 % | ok",
         "Yellow Toner Cartridge | yellow | 91 % | ok",
         "Black Toner Cartridge | black | 15 % | ok",
         "Cyan Imaging Unit | cyan | 88 % | ok",
         "Magenta Imaging Unit | magenta | 87 % | ok",
         "Yellow Imaging Unit | yellow | 90 % | ok",
         "Black Imaging Unit | black | 64 % | ok",
         "Fuser | - | 65 % | ok",
         "Waste Toner Container | - | 40 % | ok",
     }},
    // 15 of 100, 1000 of 4000, 87,500 of 250,000, 99 of 100.
    {"laser-colour-long-form",
     "Laser printer, 4 supplies",
     {
         "Cyan Toner Cartridge | cyan | 15 % | ok",
         "Magenta Toner Cartridge | magenta | 25 % | ok",
         "Yellow Toner Cartridge | yellow | 35 % | ok",
         "Black Toner Cartridge | black | 99 % | ok",
     }},
    // A toner whose name has no colour word is a black one; of two colour words the last in the
    // order cyan, magenta, yellow counts. The last supply has an empty name.
    {"laser-colour-other-names",
     "Laser printer, 6 supplies",
     {
         "Cartouche de toner jaune, haute capacité | black | 31 % | ok",
         "Schwarze Tonerkassette für große Aufträge | black | 62 % | ok",
         "青色トナー (Cyan) | cyan | 93 % | ok",
         "Magenta and Yellow Twin Pack | yellow | 24 % | ok",
         "Jednotka zapékače | - | 55 % | ok",
         "Supply 6 | - | 86 % | ok",
     }},
    // 1500, 3000 and 4500 of 6000 pages, 900 of 9000.
    {"laser-colour-pages-in-record",
     "Laser printer, 4 supplies",
     {
         "Cyan Toner Cartridge | cyan | 25 % | ok",
         "Magenta Toner Cartridge | magenta | 50 % | ok",
         "Yellow Toner Cartridge | yellow | 75 % | ok",
         "Black Toner Cartridge | black | 10 % | low",
     }},
    // Supply n has n * 50 * n of n * 1000 left: 5 percent times n.
    {"laser-colour-several-packets",
     "Laser printer, 19 supplies",
     {
         "Cyan Toner Cartridge | cyan | 5 % | low",
         "Magenta Toner Cartridge | magenta | 10 % | low",
         "Yellow Toner Cartridge | yellow | 15 % | ok",
         "Black Toner Cartridge | black | 20 % | ok",
         "Cyan Developer Unit | cyan | 25 % | ok",
         "Magenta Developer Unit | magenta | 30 % | ok",
         "Yellow Developer Unit | yellow | 35 % | ok",
         "Black Developer Unit | black | 40 % | ok",
         "Cyan Imaging Unit | cyan | 45 % | ok",
         "Magenta Imaging Unit | magenta | 50 % | ok",
         "Yellow Imaging Unit | yellow | 55 % | ok",
         "Black Imaging Unit | black | 60 % | ok",
         "Cyan Corona Wire | cyan | 65 % | ok",
         "Magenta Corona Wire | magenta | 70 % | ok",
         "Yellow Corona Wire | yellow | 75 % | ok",
         "Black Corona Wire | black | 80 % | ok",
         "Fuser | - | 85 % | ok",
         "Transfer Belt | - | 90 % | ok",
         "Waste Toner Container | - | 95 % | ok",
     }},
    {"laser-mono-answers-prefix",
     "Laser printer, 1 supply",
     {
         "Black Toner Cartridge | black | 42 % | ok",
     }},
    // 90 of 200 levels, from the record; 81 of 100, from the table.
    {"laser-mono-levels-in-record",
     "Laser printer, 2 supplies",
     {
         "Black Toner Cartridge | black | 45 % | ok",
         "Fuser | - | 81 % | ok",
     }},
    {"laser-mono-silent-record",
     "Laser printer, 2 supplies",
     {
         "Black Toner Cartridge | black | 55 % | ok",
         "Drum | - | level not known | ok",
     }},
    {"laser-mono-toner",
     "Laser printer, 1 supply",
     {
         "Black Toner Cartridge | black | 73 % | ok",
     }},
};

Lines linesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

void replaceAll(std::string& text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
    text.replace(at, what.size(), by);
    at += by.size();
  }
}

// A line of the table without its bar, " | " between its columns, which are two blanks apart or
// more.
std::string withoutLayout(std::string line) {
  for (const char* drawn : {"█", "░"}) replaceAll(line, drawn, " ");
  std::string bare;
  for (std::size_t at = 0; at < line.size();) {
    const std::size_t blanks = std::min(line.find_first_not_of(' ', at), line.size()) - at;
    bare += blanks >= 2 ? std::string(" | ") : line.substr(at, blanks);
    at += blanks;
    const std::size_t word = std::min(line.find(' ', at), line.size()) - at;
    bare += line.substr(at, word);
    at += word;
  }
  return bare;
}

class LevelsOfShippedModel : public ::testing::TestWithParam<Printer> {};

// The printer is asked as a laser printer first, so an inkjet printer, which stays silent to that,
// is found after four seconds.
TEST_P(LevelsOfShippedModel, AreWhatTheModelSays) {
  const SimulatedPrinter printer(GetParam().model);
  FilterProcess levels(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "levels", printer.uri()},
                       {"LC_ALL=C.UTF-8"});
  const auto ending = levels.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.result, "");
  Lines shown = linesOf(std::string(ending.written.begin(), ending.written.end()));
  std::ranges::transform(shown, shown.begin(), withoutLayout);

  Lines expected = {GetParam().title, "", "SUPPLY | COLOUR | LEVEL | STATUS"};
  const Lines& supplies = GetParam().supplies;
  expected.insert(expected.end(), supplies.begin(), supplies.end());
  EXPECT_EQ(shown, expected);
}

INSTANTIATE_TEST_SUITE_P(Each, LevelsOfShippedModel, ::testing::ValuesIn(kPrinters),
                         [](const auto& printer) { return asTestName(printer.param.model); });

TEST(LevelsOfShippedModels, AreAllExpectedHere) {
  Lines shipped;
  for (const auto& entry : std::filesystem::directory_iterator(MOXSUPPLY_MODELS)) {
    shipped.push_back(entry.path().stem());
  }
  std::ranges::sort(shipped);
  Lines expected;
  for (const Printer& printer : kPrinters) expected.emplace_back(printer.model);
  EXPECT_EQ(expected, shipped);
}

}  // namespace
}  // namespace moxsupply::testing
