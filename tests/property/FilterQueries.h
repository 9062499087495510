#pragma once

#include <functional>
#include <vector>

#include "simulator/Requests.h"
#include "tests/property/DrawnPrinters.h"

namespace moxsupply::testing {

// The timeout of a read, in seconds. No query waits for it.
constexpr std::uint32_t kPatience = 10;

// The requests that a host sends to the printer, in order.
using Requests = std::function<std::vector<simulator::Request>(const DrawnPrinter& printer)>;

// Like checkEachPrinter for a fifth of the printers, in one child process that stands where a
// filter stands (FilterProcess). The check queries its printer through the descriptors of that
// process; this process answers each request as the printer of the model does, and fails the test
// over another request than the one expected.
//
// Use it for whole queries of drawn printers. For the decoders alone, checkEachPrinter, which needs
// no process.
void queryEachPrinter(Draw kind, const Requests& requests, const Check& check);

}  // namespace moxsupply::testing
