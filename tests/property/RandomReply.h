#pragma once

#include <functional>
#include <span>
#include <vector>

#include "simulator/Model.h"
#include "tests/property/Random.h"

namespace moxsupply::testing {

// The most payload of a reply that is sure to fit a host's 4096 bytes with the heads of its
// packets.
constexpr std::size_t kMostPayload = 4000;

// The packets of a reply whose payload is cut at `sizes`.
using Encoder = std::function<std::vector<Bytes>(std::span<const std::size_t> sizes)>;

// A packet that answers no query.
Bytes randomStray(Random& random);

// How the reply travels: what is sent before it, at most `mostStrays` packets, and how it is cut
// into packets, the last of which begins at `lastStart` or before, and into pieces.
simulator::Reply randomReply(Random& random, const Encoder& encoded, std::size_t lastStart,
                             std::size_t mostStrays);

}  // namespace moxsupply::testing
