#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "simulator/Model.h"
#include "tests/property/Random.h"
#include "tests/support/Depth.h"
#include "values/Dictionary.h"

namespace moxsupply::testing {

// A printer, and the number under which the seed gives it again.
struct DrawnPrinter {
  std::uint64_t index = 0;
  simulator::Model model;
};

// randomLaser or randomInkjet.
using Draw = simulator::Model (*)(Random& random);

// Which printers are looked at, told by the environment:
//   MOXSUPPLY_SEED      any number; 1 without it
//   MOXSUPPLY_PRINTERS  how many of each kind; randomPrinters() without it
//   MOXSUPPLY_PRINTER   only the one with this index, of those that the seed gives
struct PrinterRange {
  std::uint64_t seed = 1;
  std::uint64_t begin = 0;
  std::uint64_t end = randomPrinters();

  // Throws std::invalid_argument for what is no number.
  static PrinterRange fromEnvironment();

  // A fiftieth of these, but a thousand where there are so many; for what takes long.
  [[nodiscard]] PrinterRange few() const;

  [[nodiscard]] DrawnPrinter draw(Draw kind, std::uint64_t index) const;
};

// What is wrong with what was made of a printer; empty when nothing is.
using Check = std::function<std::string(const DrawnPrinter& printer)>;

// Runs the check on each printer up to the first with which something is wrong. That fails the
// test, and is told together with the printer's model and how to get it again.
void checkEachPrinter(const PrinterRange& printers, Draw kind, const Check& check);
inline void checkEachPrinter(Draw kind, const Check& check) {
  checkEachPrinter(PrinterRange::fromEnvironment(), kind, check);
}

// Says on standard output which printers are looked at.
void tell(const PrinterRange& printers);

// Fails the test over one printer.
void failOver(const PrinterRange& printers, const DrawnPrinter& printer, const std::string& wrong);

// What two dictionaries do not have in common; empty when they are equal.
std::string difference(const Dictionary& expected, const Dictionary& found);

}  // namespace moxsupply::testing
