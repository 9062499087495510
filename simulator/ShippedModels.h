#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "text/Problem.h"

namespace moxsupply::simulator {

// Where the models of this program lie: beside it in ../share/moxsupply/models.
std::filesystem::path modelsDirectory();

// Their names, sorted.
std::vector<std::string> shippedModels();

// The file of a model given by its name or as the path of a file, which holds a slash or ends in
// ".json"; a problem for a name that no model has.
[[nodiscard]] Result<std::filesystem::path> findModel(const std::string& nameOrPath);

}  // namespace moxsupply::simulator
