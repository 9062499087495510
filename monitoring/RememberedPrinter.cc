#include "monitoring/RememberedPrinter.h"

#include <algorithm>
#include <deque>
#include <map>
#include <utility>

#include "history/Lives.h"
#include "history/Reading.h"

namespace moxsupply {

namespace {

// The level of the cartridge that is in one place now.
class CurveInTheMaking {
 public:
  void beginAgain() { mPoints.clear(); }

  void take(Moment moment, const ReadSupply& supply) {
    if (mPoints.empty()) mBegin = moment;
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(between(mBegin, moment)).count();
    mPoints.push_back(
        {static_cast<std::uint32_t>(seconds),
         supply.level ? std::optional(static_cast<std::int8_t>(*supply.level)) : std::nullopt});
  }

  // Of many points, those that stand nearest to as many times, evenly spread.
  [[nodiscard]] Curve curve() const {
    Curve curve = {mBegin, {}};
    if (mPoints.size() <= Curve::kMostPoints) {
      curve.points = mPoints;
      return curve;
    }
    constexpr std::uint64_t kSteps = Curve::kMostPoints - 1;
    const std::uint64_t whole = mPoints.back().seconds;
    for (std::uint64_t step = 0; step <= kSteps; ++step) {
      const auto wanted = static_cast<std::uint32_t>(whole * step / kSteps);
      auto next = std::ranges::lower_bound(mPoints, wanted, {}, &Curve::Point::seconds);
      const bool isBeforeNearer =
          next != mPoints.begin() && wanted - std::prev(next)->seconds < next->seconds - wanted;
      if (isBeforeNearer) --next;
      if (curve.points.empty() || curve.points.back().seconds != next->seconds) {
        curve.points.push_back(*next);
      }
    }
    return curve;
  }

 private:
  Moment mBegin;
  std::vector<Curve::Point> mPoints;
};

class Recollection {
 public:
  void take(const Reading& reading, const std::function<void(const SupplyEvent&)>& takeEvent) {
    for (SupplyEvent& event : mLives.take(reading)) {
      takeEvent(event);
      if (event.event == Event::kReplaced) mCurves[event.supply].beginAgain();
      ++mCounts.at(static_cast<std::size_t>(event.event));
      mEvents.push_front({event.moment, event.supply, event.event, std::move(event.because)});
      if (mEvents.size() > RememberedPrinter::kMostEvents) mEvents.pop_back();
    }
    for (const ReadSupply& supply : reading.supplies) {
      if (isCartridge(supply)) mCurves[supply.number].take(reading.moment, supply);
    }
    mLast = reading;
  }

  [[nodiscard]] std::optional<RememberedPrinter> printer() const {
    if (!mLast) return std::nullopt;
    RememberedPrinter printer;
    printer.prospects = prospectsOf(*mLast, mLives);
    printer.cartridges.reserve(printer.prospects.supplies.size());
    for (const Prospect& supply : printer.prospects.supplies) {
      printer.cartridges.push_back(
          {mCurves.at(supply.supply).curve(),
           mLives.supplies().at(supply.supply).lives.back().lowAt.has_value()});
    }
    printer.events.assign(mEvents.begin(), mEvents.end());
    printer.eventCounts = mCounts;
    return printer;
  }

 private:
  PrinterLives mLives;
  std::map<std::uint32_t, CurveInTheMaking> mCurves;
  std::deque<RememberedEvent> mEvents;
  std::array<std::uint64_t, kEventWords.size()> mCounts = {};
  std::optional<Reading> mLast;
};

}  // namespace

Result<std::optional<RememberedPrinter>> rememberedPrinter(
    Store& store, const std::string& printer, const std::function<bool()>& isOver,
    const std::function<void(const SupplyEvent&)>& take) {
  Recollection recollection;
  bool hasGivenUp = false;
  const auto read = store.forEach({.printer = printer}, [&](const Reading& reading) -> Result<> {
    hasGivenUp = isOver();
    if (hasGivenUp) return failure("nobody wants it any more");
    recollection.take(reading, take);
    return {};
  });
  if (hasGivenUp) return std::nullopt;
  if (!read) return tl::unexpected(read.error());
  return recollection.printer();
}

}  // namespace moxsupply
