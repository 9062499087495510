// Many printers and the exporter that asks them, on virtual time.
#include <gtest/gtest.h>

#include <iostream>

#include "tests/fleet/Fleet.h"
#include "tests/support/Depth.h"

namespace moxsupply::testing {
namespace {

FleetSettings drawn(FleetSettings settings) {
  settings.seed = numberFromEnvironment("MOXSUPPLY_SEED").value_or(settings.seed);
  settings.printers = numberFromEnvironment("MOXSUPPLY_PRINTERS").value_or(settings.printers);
  return settings;
}

void run(const FleetSettings& settings) {
  Fleet fleet(settings);
  fleet.run();
  std::cout << settings.printers << " printers, " << settings.days << " days, seed "
            << settings.seed << "\n"
            << fleet.figures().inWords();
}

TEST(AFleet, IsAskedSeldomForADay) {
  run(drawn({.printers = fleetOfADay(), .days = 1, .hasTroubles = false}));
}

TEST(AFleet, IsAskedSeldomAmongTroubles) { run(drawn({.printers = 50, .days = 2})); }

TEST(AFleet, IsRememberedForAMonth) {
  run(drawn({.printers = fleetOfAMonth(), .days = 30, .answersEveryScrape = false}));
}

}  // namespace
}  // namespace moxsupply::testing
