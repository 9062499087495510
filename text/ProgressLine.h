#pragma once

#include <chrono>
#include <string>

namespace moxsupply {

// One line on the terminal that says what is being waited for and for how long already; gone when
// the wait is over. Short waits show nothing, and where standard error is no terminal nothing is
// ever shown.
class ProgressLine {
 public:
  ProgressLine();
  ~ProgressLine() { clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ProgressLine(ProgressLine&&) = delete;
  ProgressLine& operator=(ProgressLine&&) = delete;

  // What is being waited for from now on. Text from elsewhere goes through forTerminal first.
  void waitingFor(std::string what) { mWhat = std::move(what); }

  // Shows the line as it now is. To be called about once a second.
  void refresh();

  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  bool mIsTerminal;
  bool mIsShown = false;
  std::string mWhat;
  Clock::time_point mStart = Clock::now();
};

}  // namespace moxsupply
