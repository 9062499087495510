#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "simulator/Model.h"
#include "text/Problem.h"

namespace moxsupply::simulator {

// The model that a JSON text describes; docs/simulator.md tells every key. `name` stands before
// what is wrong with it.
[[nodiscard]] Result<Model> parseModel(std::string_view json, const std::string& name);

// The same of a file.
[[nodiscard]] Result<Model> readModelFile(const std::filesystem::path& file);

}  // namespace moxsupply::simulator
