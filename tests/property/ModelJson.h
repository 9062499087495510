#pragma once

#include <string>

#include "simulator/Model.h"

namespace moxsupply::testing {

// The model as a model file, which `moxsupply simulate` takes.
std::string modelJson(const simulator::Model& model);

}  // namespace moxsupply::testing
