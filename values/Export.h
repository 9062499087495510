#pragma once

// Marks what the shared module shows to the programs that load it; everything else stays inside.
#define MOXSUPPLY_EXPORT __attribute__((visibility("default")))
