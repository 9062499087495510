#include "simulator/ShippedModels.h"

#include <fmt/core.h>

#include <algorithm>
#include <system_error>

namespace moxsupply::simulator {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kExtension = ".json";

}  // namespace

fs::path modelsDirectory() {
  const fs::path program = fs::read_symlink("/proc/self/exe");
  return program.parent_path().parent_path() / "share" / "moxsupply" / "models";
}

std::vector<std::string> shippedModels() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(modelsDirectory())) {
    if (entry.path().extension() == kExtension) names.push_back(entry.path().stem());
  }
  std::ranges::sort(names);
  return names;
}

Result<fs::path> findModel(const std::string& nameOrPath) {
  if (nameOrPath.find('/') != std::string::npos || nameOrPath.ends_with(kExtension)) {
    return fs::path(nameOrPath);
  }
  fs::path file = modelsDirectory() / (nameOrPath + std::string(kExtension));
  std::error_code ignored;
  if (!fs::exists(file, ignored)) {
    return misuse(fmt::format("there is no model \"{}\"", nameOrPath));
  }
  return file;
}

}  // namespace moxsupply::simulator
