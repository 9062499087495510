#pragma once

#include "json/JsonPlace.h"
#include "simulator/Model.h"

namespace moxsupply::simulator {

// The printer of a model file whose "printer" is "laser".
LaserModel readLaserModel(const JsonPlace& file);

}  // namespace moxsupply::simulator
