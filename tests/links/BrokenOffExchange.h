#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/Golden.h"

namespace moxsupply::testing {

// What it sends upon each request, as far as the first `size` bytes of it all go.
struct Talk {
  std::size_t requestSize;  // bytes of the request
  Bytes replies;
};
std::vector<Talk> talkWithin(const Golden& exchange, std::size_t size);

// Works out, without the module, what a query must leave when nothing comes after the first `size`
// bytes of the replies: status and report, laid out as Golden::report is.
//
// It is told from the other end. The bytes are cut as the golden file cuts them, into replies and
// packets; of the records in them, what lies whole within the first `size` bytes becomes a model of
// a printer that has no more than that, and what a host is to report of a model is known. Whatever
// is in the report and not among those bytes, a level above all, differs from this.
std::string answerTo(const Golden& exchange, std::size_t size);

}  // namespace moxsupply::testing
