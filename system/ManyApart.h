#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "system/Apart.h"

namespace moxsupply {

// Work on many things, several at once, each in a process of its own (see Apart). Things are known
// by their places, from 0.
struct ManyApart {
  std::size_t count = 0;
  std::size_t atOnce = 1;
  Apart::Clock::duration patience{};  // for each of them; then its process is ended

  // In the process for it, whose standard error is nobody's: what several say there would mix.
  std::function<void(std::size_t place, const Apart::Finish&)> work = {};

  // Takes what came of it, in the order of places; nothing where nothing did. Returns whether to go
  // on.
  std::function<bool(std::size_t place, const std::optional<std::string>& result)> take = {};

  // Called about once a second with how many are over. May be left out.
  std::function<void(std::size_t over)> wait = {};
};

// Does it. Blocks until all is taken.
void doApart(const ManyApart& many);

}  // namespace moxsupply
