#pragma once

#include <string>

#include "front/MoxFilter.h"
#include "links/Recording.h"
#include "values/Status.h"

namespace moxsupply {

struct Answer {
  Status status;
  std::string json;  // status and report, as `moxsupply report` prints them
};

// Asks the printer that is on this process's standard output and back channel, once. Blocks.
// Makes standard output unbuffered first: a link that has gone away then fails the write itself.
// `recording`: of a query that has begun there; null records nothing.
Answer askPrinterOnStandardOutput(MoxFilter& filter, Recording* recording = nullptr);

}  // namespace moxsupply
