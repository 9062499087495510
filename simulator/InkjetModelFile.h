#pragma once

#include "json/JsonPlace.h"
#include "simulator/Model.h"

namespace moxsupply::simulator {

// The printer of a model file whose "printer" is "inkjet".
InkjetModel readInkjetModel(const JsonPlace& file);

}  // namespace moxsupply::simulator
