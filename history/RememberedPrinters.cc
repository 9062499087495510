#include "history/RememberedPrinters.h"

#include <fmt/format.h>

#include <chrono>
#include <vector>

#include "history/Lives.h"
#include "history/Reading.h"
#include "text/ProgressLine.h"

namespace moxsupply {

namespace {

// One printer's readings at a time: those of ten thousand over years would not fit into memory.
Result<std::vector<std::string>> printersIn(Store& store) {
  std::vector<std::string> printers;
  const auto told = store.forEachLast(std::nullopt, [&](const Reading& last) -> Result<> {
    printers.push_back(last.printer);
    return {};
  });
  if (!told) return tl::unexpected(told.error());
  return printers;
}

}  // namespace

Result<> forEachRemembered(Store& store, const std::optional<std::string>& printer, Moment at,
                           const std::function<void(const PrinterProspects& prospects)>& take) {
  using Clock = std::chrono::steady_clock;
  Result<std::vector<std::string>> printers;
  if (printer) {
    printers->push_back(*printer);
  } else {
    printers = printersIn(store);
  }
  if (!printers) return tl::unexpected(printers.error());

  ProgressLine progress;
  auto shown = Clock::now();
  std::size_t count = 0;
  for (const std::string& name : *printers) {
    PrinterLives lives;
    std::optional<Reading> last;
    auto read =
        store.forEach({.printer = name, .until = at}, [&](const Reading& reading) -> Result<> {
          lives.take(reading);
          last = reading;
          return {};
        });
    if (!read) return read;
    if (last) take(prospectsOf(*last, lives));
    ++count;
    if (Clock::now() - shown >= std::chrono::seconds(1)) {
      shown = Clock::now();
      progress.waitingFor(fmt::format("Printers looked at: {} of {}", count, printers->size()));
      progress.refresh();
    }
  }
  return {};
}

Moment momentOrNow(const std::optional<Moment>& at) {
  return at ? *at
            : std::chrono::time_point_cast<Moment::duration>(std::chrono::system_clock::now());
}

}  // namespace moxsupply
