#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "history/Events.h"
#include "history/Reading.h"
#include "tests/fleet/OfficePrinter.h"
#include "tests/fleet/VirtualTime.h"

namespace moxsupply::testing {

// What has to be in the store and what somebody has to be told, from what printers answered and
// which cartridges were in them.
class Ledger {
 public:
  using Time = VirtualTime::Time;

  // What a printer answered. `now`: of the exporter's machine.
  void take(const Reading& reading, const Shown& shown, const Instant& now);

  // The store as it should be.
  struct Kept {
    Moment moment;
    std::size_t content = 0;  // see contentOf
    friend bool operator==(const Kept&, const Kept&) = default;
  };
  [[nodiscard]] std::vector<Kept> keptOf(const std::string& printer) const;
  static std::size_t contentOf(Reading reading);
  [[nodiscard]] std::size_t kept() const;  // of all printers

  // What happened to one supply.
  using Key = std::tuple<std::string, std::uint32_t, Moment, Event>;
  struct Happened {
    Time since;                   // it could be told
    std::uint64_t cartridge = 0;  // or 0
    bool isNews = true;           // else it need not be told, since it was long ago
    bool isToldAlready = false;
  };

  // Somebody was told an event. Null: it did not happen.
  Happened* told(const Key& key);

  [[nodiscard]] const std::map<Key, Happened>& happened() const { return mHappened; }

  // Whether readings of this printer were taken out, since they were of a time that did not come.
  [[nodiscard]] bool isTakenOut(const std::string& printer) const {
    return mTakenOut.contains(printer);
  }

 private:
  struct Cartridge {
    std::uint64_t number = 0;
    bool wasLow = false;
    bool wasEmpty = false;
    std::uint8_t presence = 0;  // there, missing, wrong
  };
  struct Entry {
    Kept kept;
    std::vector<Cartridge> cartridges;  // as known with this reading
  };

  void note(const Reading& reading, const Shown& shown, const Instant& now,
            std::vector<Cartridge>& cartridges);

  std::map<std::string, std::vector<Entry>> mEntries;
  std::map<Key, Happened> mHappened;
  std::set<std::string> mTakenOut;
};

}  // namespace moxsupply::testing
