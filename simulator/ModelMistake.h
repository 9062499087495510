#pragma once

#include <stdexcept>

namespace moxsupply::simulator {

// What is wrong with a model, or with the choice of one: one line for its author.
class ModelMistake : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace moxsupply::simulator
