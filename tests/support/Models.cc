
#include "tests/support/Models.h"

#include <fmt/format.h>

#include "simulator/ModelFile.h"

namespace moxsupply::testing {

simulator::Model shippedModel(const std::string& name) {
  return simulator::readModelFile(fmt::format("{}/{}.json", MOXSUPPLY_MODELS, name)).value();
}

simulator::Model laserPrinter(const std::vector<Toner>& toners) {
  simulator::LaserModel printer;
  for (const Toner& toner : toners) {
    printer.supplies.push_back({.number = static_cast<std::uint8_t>(printer.supplies.size() + 1),
                                .description = toner.name,
                                .type = simulator::Number{.value = 1, .bytes = 1},
                                .maxLevel = simulator::Number{.value = 100}});
    if (toner.level) printer.supplies.back().level = simulator::Number{.value = *toner.level};
  }
  printer.record = simulator::UnknownRecord{};  // or the second query would wait in vain
  return {.printer = printer};
}

simulator::Model inkjetPrinter(std::string_view cyanCode, int cyanLevel) {
  constexpr std::string_view kModel = R"({{
    "about": "Lantern head with four cartridges",
    "printer": "inkjet",
    "head": "Lantern",
    "cartridges": [
      {{"slot": 1, "code": "{}"}},
      {{"slot": 2, "code": "50"}},
      {{"slot": 3, "code": "C0"}},
      {{"slot": 4, "code": "D0"}}
    ],
    "ink-remaining": {{"black": 80, "cyan": {}, "magenta": 47, "yellow": 92}}
  }})";
  return simulator::parseModel(fmt::format(kModel, cyanCode, cyanLevel), "inkjet").value();
}

}  // namespace moxsupply::testing
