#pragma once

#include <cstddef>
#include <string>

#include "supplies/Attention.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// The supplies as a table for people: name, colour, a bar, percent, status. `colored`: with the
// escape sequences of a terminal that shows colours. `columns`: how wide it may be, from 40 on; the
// bars give way first, then the names. Text from the printer is made harmless.
std::string supplyTable(const Supplies& supplies, bool colored, int columns,
                        const Measure& measure = {});

// What identifies the supplies, a line for each of which the printer told something: part and
// serial number, and pages as "7312 of 20000". A sentence where it told nothing.
std::string supplyDetails(const Supplies& supplies, int columns);

// What needs somebody, "Cyan Toner low (7 %), Black Toner empty"; empty where nothing does. Made
// harmless as well.
std::string needsInWords(const Supplies& supplies, const Measure& measure);

// "4 supplies, ok; lowest: Black Toner 15 %", of cartridges with a level.
std::string okInWords(const Supplies& supplies);

// "1 supply", "4 supplies".
std::string countedSupplies(std::size_t count);

}  // namespace moxsupply
