#pragma once

namespace moxsupply {

// The descriptors of a print filter beside the three that every program has.
constexpr int kBackChannel = 3;  // what the printer sends
constexpr int kSideChannel = 4;  // what filter and backend tell each other
constexpr int kFirstFree = 5;    // those from here on mean nothing

}  // namespace moxsupply
