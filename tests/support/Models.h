#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Model.h"

namespace moxsupply::testing {

// A model that comes with the simulator.
simulator::Model shippedModel(const std::string& name);

struct Toner {
  std::string name;
  std::optional<std::uint32_t> level = 50;  // of 100; none: the printer does not tell it
};

// A laser printer with these cartridges.
simulator::Model laserPrinter(const std::vector<Toner>& toners);

// An inkjet printer with four good cartridges, of which the cyan one has this code, as model files
// write it ("B0" is a good one), and this level.
simulator::Model inkjetPrinter(std::string_view cyanCode, int cyanLevel);

}  // namespace moxsupply::testing
