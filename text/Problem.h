#pragma once

#include <string>
#include <variant>

namespace moxsupply {

// Why something did not work, for people: what happened, and what they can try.
struct Problem {
  std::string what;       // one line, without the program's name
  std::string advice;     // one or more sentences; empty when there is none
  bool isMisuse = false;  // the arguments or the set-up are wrong; nothing was tried
};

template <typename Value>
using Result = std::variant<Value, Problem>;

}  // namespace moxsupply
