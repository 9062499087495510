#pragma once

#include "supplies/Supplies.h"
#include "transcript/Transcript.h"

namespace moxsupply {

// Adds to a laser printer's supplies what its model-family record tells of them beside levels: part
// and serial numbers, and pages. `answers`: what came upon the last request of the query, which
// asked for that record. Whatever it is, levels and names stay.
//
// The record has one serial number. Where it is of one supply, that is the supply's; where it is of
// several, the printer's, which identifies no cartridge.
void addIdentities(Supplies& supplies, const transcript::Session& answers);

}  // namespace moxsupply
