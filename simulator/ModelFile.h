#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "simulator/Model.h"

namespace moxsupply::simulator {

// The model that a JSON text describes; docs/simulator.md tells every key. `name` stands before
// the mistake in the line of the ModelMistake that is thrown when there is one.
Model parseModel(std::string_view json, const std::string& name);

// The same of a file.
Model readModelFile(const std::filesystem::path& file);

}  // namespace moxsupply::simulator
