#pragma once

#include <cstddef>
#include <cstdint>
#include <thread>
#include <utility>
#include <vector>

#include "system/FileDescriptor.h"

namespace moxsupply::bench {

using Bytes = std::vector<std::uint8_t>;

// A request, and what the printer sends when so many bytes have come.
struct Exchange {
  std::size_t requestSize;
  Bytes reply;  // empty: none
};

// A socketpair of which one end is standard output and descriptor 3 of this process while it lives,
// as a filter has them. That end does not block.
class FilterLink {
 public:
  FilterLink();
  ~FilterLink() { hangUp(); }
  FilterLink(const FilterLink&) = delete;
  FilterLink& operator=(const FilterLink&) = delete;
  FilterLink(FilterLink&&) = delete;
  FilterLink& operator=(FilterLink&&) = delete;

  void hangUp();  // the printer finds the end of the link

  [[nodiscard]] int printersEnd() const { return mPrintersEnd.get(); }

 private:
  FileDescriptor mPrintersEnd;
};

// A printer that has answered before it is asked: of a query on its link nothing waits.
//
// Use it where the query's own work is measured.
class PreparedPrinter {
 public:
  explicit PreparedPrinter(std::vector<Exchange> script) : mScript(std::move(script)) {}

  // Takes what has been written to it since the last time, and answers so many queries.
  void answer(std::size_t queries);

 private:
  std::vector<Exchange> mScript;
  FilterLink mLink;
};

// A printer in a thread of its own, which answers each request when it has come, and goes through
// its script again and again. It has a processor of its own, where there are two: a printer is
// another machine, and must not wait until the host's processor is free.
//
// Use it where a whole query is measured, its waiting included. In tests, FilterProcess, which
// looks at what is asked.
class ScriptedPrinter {
 public:
  explicit ScriptedPrinter(std::vector<Exchange> script);
  ~ScriptedPrinter();
  ScriptedPrinter(const ScriptedPrinter&) = delete;
  ScriptedPrinter& operator=(const ScriptedPrinter&) = delete;
  ScriptedPrinter(ScriptedPrinter&&) = delete;
  ScriptedPrinter& operator=(ScriptedPrinter&&) = delete;

 private:
  void serve() const;

  std::vector<Exchange> mScript;
  FilterLink mLink;
  std::thread mThread;
};

}  // namespace moxsupply::bench
