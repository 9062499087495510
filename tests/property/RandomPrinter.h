#pragma once

#include "simulator/Model.h"
#include "tests/property/Random.h"

namespace moxsupply::testing {

// Printers with nothing wrong about them: every reply is whole, contradicts itself nowhere, fits
// the 4096 bytes that a host has for it, and comes in packets and pieces that a host reads right.
// Beside that they are as odd as the wire allows.
simulator::Model randomLaser(Random& random);
simulator::Model randomInkjet(Random& random);

}  // namespace moxsupply::testing
