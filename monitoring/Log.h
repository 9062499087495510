#pragma once

#include <cstddef>
#include <string_view>

namespace moxsupply {

// Lines to standard error, in the exporter's name. A line for which there is no room, since nobody
// reads what stands before it, is left out: the log never keeps anybody waiting. The next line that
// finds room says how many were.
class Log {
 public:
  // Text from anywhere is made harmless.
  void line(std::string_view text);

 private:
  bool tryToWrite(std::string_view text);

  std::size_t mLost = 0;
};

}  // namespace moxsupply
