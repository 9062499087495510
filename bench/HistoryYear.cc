// Writes the readings of an office into a new store, each in a change of its own or a day's in one,
// and reads them. Says what a reading costs in bytes and in processor time, and how long the last
// ones of all printers take from the opening of the store.
//   history-year STORE PRINTERS DAYS one|all [together]
// Each printer has ten supplies and is read once a day: one of its supplies has changed since, or
// all have.
#include <fmt/core.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "history/Reading.h"
#include "history/Store.h"

namespace {

using namespace moxsupply;
using Seconds = std::chrono::duration<double>;

double processorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

class Printer {
 public:
  Printer(unsigned number, bool changesAll) : mRandom(number), mChangesAll(changesAll) {
    constexpr auto kColors =
        std::to_array({Color::kBlack, Color::kCyan, Color::kMagenta, Color::kYellow});
    constexpr auto kNames = std::to_array({"Black", "Cyan", "Magenta", "Yellow"});
    mReading.printer = fmt::format("socket://printer-{}.office.example", number);
    mReading.labels = {{"place", fmt::format("Floor {}, room {}", number % 7, number % 50)}};
    for (std::uint32_t i = 0; i < 10; ++i) {
      ReadSupply supply;
      supply.number = i + 1;
      supply.name = i < 4 ? fmt::format("{} Toner Cartridge", kNames.at(i))
                          : fmt::format("Maintenance Kit {}", i);
      supply.kind = i < 4 ? SupplyKind::kToner : SupplyKind::kOther;
      supply.color = i < 4 ? kColors.at(i) : Color::kNone;
      replace(supply);
      mReading.supplies.push_back(supply);
    }
  }

  const Reading& next(Moment moment) {
    if (mChangesAll) {
      for (ReadSupply& supply : mReading.supplies) use(supply);
    } else {
      use(mReading.supplies.at(mRandom() % mReading.supplies.size()));
    }
    mReading.moment = moment;
    mReading.time = momentAsText(moment);
    mReading.json = asJson(mReading);
    return mReading;
  }

 private:
  void replace(ReadSupply& supply) {
    supply.level = 100;
    supply.part = fmt::format("24B{:04}", mRandom() % 10000);
    supply.serial = fmt::format("CAB{:08X}", static_cast<std::uint32_t>(mRandom()));
    supply.pages = {0, 20000};
  }

  void use(ReadSupply& supply) {
    const int left = *supply.level - static_cast<int>(mRandom() % 4);
    if (left < 0) return replace(supply);
    supply.level = left;
    *supply.pages.printed += static_cast<std::uint32_t>(mRandom() % 500);
  }

  std::mt19937 mRandom;
  bool mChangesAll;
  Reading mReading{};
};

template <typename Value>
Value have(Result<Value> result) {
  if (!result) {
    fmt::print(stderr, "{}\n", result.error().what);
    std::exit(1);
  }
  if constexpr (!std::is_void_v<Value>) return *std::move(result);
}

void write(const std::string& path, unsigned count, unsigned days, bool changesAll, bool together) {
  std::vector<Printer> printers;
  for (unsigned i = 0; i < count; ++i) printers.emplace_back(i, changesAll);
  Store store = have(Store::openToWrite(path));
  const Moment begin = momentFrom("2026-01-01T00:00:00Z").value();
  double spent = 0;
  std::size_t bytes = 0;
  const auto add = [&](Printer& printer, Moment moment) -> Result<> {
    const Reading& reading = printer.next(moment);
    bytes += reading.json.size();
    const double before = processorSeconds();
    const auto addIt = [&]() -> Result<> {
      return store.add(reading).map([](Store::Added /*added*/) {});
    };
    auto added = together ? addIt() : store.change(addIt);
    spent += processorSeconds() - before;
    return added;
  };
  for (unsigned day = 0; day < days; ++day) {
    const auto all = [&]() -> Result<> {
      for (unsigned i = 0; i < count; ++i) {
        auto added =
            add(printers[i], begin + day * std::chrono::days(1) + i * std::chrono::seconds(7));
        if (!added) return added;
      }
      return {};
    };
    have(together ? store.change(all) : all());
  }
  const auto readings = static_cast<double>(count) * days;
  const auto size = static_cast<double>(std::filesystem::file_size(path));
  fmt::print(
      "{} printers, {} days, {} changed: {:.1f} MB, {:.0f} bytes a reading of {:.0f}, "
      "{:.3f} ms of processor time to write one{}\n",
      count, days, changesAll ? "all supplies" : "one supply", size / 1e6, size / readings,
      static_cast<double>(bytes) / readings, 1e3 * spent / readings,
      together ? ", a day's together" : "");
}

void read(const std::string& path) {
  const auto begin = std::chrono::steady_clock::now();
  std::size_t count = 0;
  Store store = have(Store::openToRead(path));
  have(store.forEachLast({}, [&](const Reading& /*reading*/) -> Result<> {
    ++count;
    return {};
  }));
  fmt::print("the last readings of {} printers {:.2f} s after opening\n", count,
             Seconds(std::chrono::steady_clock::now() - begin).count());
  const auto checking = std::chrono::steady_clock::now();
  have(store.check());
  fmt::print("the whole file checked in {:.2f} s\n",
             Seconds(std::chrono::steady_clock::now() - checking).count());
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv, argv + argc);
  if (words.size() < 5) return 2;
  const auto number = [](const std::string& word) {
    return static_cast<unsigned>(std::stoul(word));
  };
  write(words[1], number(words[2]), number(words[3]), words[4] == "all", words.size() > 5);
  read(words[1]);
}
