#pragma once

#include <stdexcept>

namespace moxsupply {

// What is wrong with a JSON document, and where in it: for the line that its author gets.
class JsonMistake : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace moxsupply
