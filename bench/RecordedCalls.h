#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace moxsupply::bench {

// One thing that a query does on its descriptors.
struct Call {
  enum class Kind { kWrite, kRead };
  Kind kind;
  std::size_t size;  // bytes written, or asked for
};

// What `query` writes to standard output and reads with cupsBackChannelRead, in order.
std::vector<Call> recordCalls(const std::function<void()>& query);

// Makes the same calls again and looks at nothing that they bring: the floor under a query. What
// is written is zero bytes, which a printer that counts bytes takes as well as a request.
void repeatCalls(std::span<const Call> calls);

// As a list of arguments: "w30 r5 r121".
std::string asArguments(std::span<const Call> calls);

}  // namespace moxsupply::bench
