#include "bench/RecordedCalls.h"

#include <cups/sidechannel.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace {

std::vector<moxsupply::bench::Call>* gRecord = nullptr;

}  // namespace

// The linker puts these in the place of the functions that the module calls (--wrap).
// NOLINTBEGIN(*-reserved-identifier,cert-*): these names are the linker's
extern "C" ssize_t __real_cupsBackChannelRead(char* buffer, std::size_t bytes, double timeout);
extern "C" ssize_t __wrap_cupsBackChannelRead(char* buffer, std::size_t bytes, double timeout) {
  if (gRecord != nullptr) gRecord->push_back({moxsupply::bench::Call::Kind::kRead, bytes});
  return __real_cupsBackChannelRead(buffer, bytes, timeout);
}

extern "C" std::size_t __real_fwrite(const void* bytes, std::size_t size, std::size_t count,
                                     FILE* file);
extern "C" std::size_t __wrap_fwrite(const void* bytes, std::size_t size, std::size_t count,
                                     FILE* file) {
  if (gRecord != nullptr) gRecord->push_back({moxsupply::bench::Call::Kind::kWrite, size * count});
  return __real_fwrite(bytes, size, count, file);
}
// NOLINTEND(*-reserved-identifier,cert-*)

namespace moxsupply::bench {

std::vector<Call> recordCalls(const std::function<void()>& query) {
  std::vector<Call> calls;
  gRecord = &calls;
  query();
  gRecord = nullptr;
  return calls;
}

void repeatCalls(std::span<const Call> calls) {
  std::array<char, 512> buffer{};
  for (const Call& call : calls) {
    const ssize_t done = call.kind == Call::Kind::kWrite
                             ? ::write(STDOUT_FILENO, buffer.data(), call.size)
                             : __real_cupsBackChannelRead(buffer.data(), call.size, 8.0);
    if (done <= 0) std::abort();  // the printer has gone, and there is nothing to measure
  }
}

std::string asArguments(std::span<const Call> calls) {
  std::string arguments;
  for (const Call& call : calls) {
    if (!arguments.empty()) arguments += ' ';
    arguments += call.kind == Call::Kind::kWrite ? 'w' : 'r';
    arguments += std::to_string(call.size);
  }
  return arguments;
}

}  // namespace moxsupply::bench
