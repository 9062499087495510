#include "links/AskAsFilter.h"

#include <atomic>
#include <cstdio>
#include <new>
#include <optional>

#include "links/RecordedLink.h"

namespace moxsupply {

namespace {

// Whether memory has run out, in whatever thread, while this object lives. The module says then
// that an answer cannot be read, or goes on without a part of it: neither is true of the printer.
class MemoryWatch {
 public:
  MemoryWatch() : mFormer(std::set_new_handler(&note)) { theMemoryRanOut = false; }
  ~MemoryWatch() { std::set_new_handler(mFormer); }
  MemoryWatch(const MemoryWatch&) = delete;
  MemoryWatch& operator=(const MemoryWatch&) = delete;
  MemoryWatch(MemoryWatch&&) = delete;
  MemoryWatch& operator=(MemoryWatch&&) = delete;

  static void throwIfItRanOut() {
    if (theMemoryRanOut) throw std::bad_alloc();
  }

 private:
  static void note() {
    theMemoryRanOut = true;
    throw std::bad_alloc();
  }

  static inline std::atomic<bool> theMemoryRanOut = false;
  std::new_handler mFormer;
};

}  // namespace

Report askAsFilter(MoxFilter& filter, Recording* recording) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::optional<RecordedLink> link;
  if (recording != nullptr) link.emplace(*recording);
  const MemoryWatch memory;
  Report report{};
  report.status = filter.inkStatusQuery(&report.dictionary);
  MemoryWatch::throwIfItRanOut();
  return report;
}

}  // namespace moxsupply
