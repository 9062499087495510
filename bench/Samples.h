#pragma once

#include <cstddef>

#include "tests/support/Hex.h"

// What printers send that have been given `supplies` supplies. Every supply has all its fields and
// a name of 24 bytes, which is too long to be kept inside a text object.
namespace moxsupply::bench {

testing::Bytes suppliesTable(std::size_t supplies);  // a record, at most 60 supplies
testing::Bytes pageLevels();                         // a model-family record of type 1
testing::Bytes pageCounts(std::size_t supplies);     // of type 2
testing::Bytes dotCounts(std::size_t supplies);      // of type 3
testing::Bytes inkjetItems();                        // a reply: a Lantern head, four cartridges

// The same with levels in the model-family record only, so that both exchanges count.
testing::Bytes suppliesTableWithoutLevels(std::size_t supplies);

}  // namespace moxsupply::bench
