#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <utility>

namespace moxsupply {

// What mends a problem where that is a command of ours, or one of its options: how it is typed is
// known where commands are.
struct Remedy {
  enum class Kind : std::uint8_t {
    kNone,
    kEnableQueue,     // let the queue `subject` report its supplies
    kExamineQueue,    // find out what is wrong with the queue `subject`
    kAskPatiently,    // ask the printer at the device URI `subject`, with longer reads
    kRecordPrinter,   // record what the printer at the device URI `subject` sends
    kLongerDeadline,  // give all of it more time
  };
  Kind kind = Kind::kNone;
  std::string subject = {};
  std::string_view type = {};  // of the printer, as it is typed; empty: it is not known
  std::uint32_t timeout = 0;   // seconds for each read; 0: the usual
  std::uint32_t deadline = 0;  // seconds for everything; 0: the usual
  int lowLevel = 0;            // percent; 0: the usual
  bool afterJobs = true;       // the queue reports after print jobs too
};

// Why something did not work, for people: what happened, and what they can try.
struct Problem {
  std::string what;    // one line, without the program's name
  std::string advice;  // one or more sentences; empty when there is none
  Remedy remedy = {};
  bool isMisuse = false;     // the arguments or the set-up are wrong; nothing was tried
  std::string command = {};  // what mends it, as it is typed, where that is no command of ours
};

// How everything in the programs fails that can fail.
template <typename Value = void>
using Result = tl::expected<Value, Problem>;

// A problem as a function returns it; of the second kind when the arguments or the set-up are
// wrong.
[[nodiscard]] inline tl::unexpected<Problem> failure(std::string what, std::string advice = {}) {
  return tl::unexpected(Problem{std::move(what), std::move(advice), {}, false});
}
[[nodiscard]] inline tl::unexpected<Problem> misuse(std::string what, std::string advice = {}) {
  return tl::unexpected(Problem{std::move(what), std::move(advice), {}, true});
}

}  // namespace moxsupply
