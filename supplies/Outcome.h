#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "values/Status.h"

namespace moxsupply {

// How an attempt to read a printer ended.
enum class Outcome : std::uint8_t {
  kSuccess,
  kReadError,        // the printer began to answer and broke off
  kWriteError,       // the link went away before the printer was asked
  kUndecodable,      // it answered, and its supplies cannot be read
  kNothingReceived,  // it said nothing, or nothing that was an answer
  kUnreachable,      // no connection came about
  kDeadline,         // it was not done when its time was up
  kNotAsked,         // there has been no attempt yet
  kInternal,         // something failed on our side
};

// The words for an outcome, everywhere. There are no commas in them: the print server keeps none in
// a message.
struct OutcomeRow {
  Outcome outcome;
  std::string_view word;    // in a label of metrics, and so in people's queries: never rename one
  std::string_view what;    // goes on behind the printer's name
  std::string_view advice;  // what can be tried; empty where there is nothing
};
constexpr std::array<OutcomeRow, 9> kOutcomes = {{
    {Outcome::kSuccess, "success", "answered", ""},
    {Outcome::kReadError, "read_error", "began to answer and broke off",
     "Try again. If it stays so, look at the network between here and the printer."},
    {Outcome::kWriteError, "write_error", "hung up before it was asked",
     "Is another job printing? Many printers take one connection at a time."},
    {Outcome::kUndecodable, "undecodable", "answered but its supplies cannot be read",
     "What it sent is not what printers of this protocol send. A transcript of it can be sent in."},
    {Outcome::kNothingReceived, "nothing_received", "did not answer",
     "Is it awake, and does it speak NPA?"},
    {Outcome::kUnreachable, "unreachable", "could not be reached",
     "Is it switched on and connected, and is this its address?"},
    {Outcome::kDeadline, "deadline", "was not done by the deadline",
     "Is it switched on and connected, and is this its address?"},
    {Outcome::kNotAsked, "not_asked", "has not been asked yet", ""},
    {Outcome::kInternal, "internal", "could not be asked", ""},
}};

static_assert(std::ranges::is_sorted(kOutcomes, {}, &OutcomeRow::outcome));  // rowOf counts on it

[[nodiscard]] constexpr const OutcomeRow& rowOf(Outcome outcome) {
  return kOutcomes.at(static_cast<std::size_t>(outcome));
}
[[nodiscard]] constexpr std::string_view wordOf(Outcome outcome) { return rowOf(outcome).word; }

// How a query ended that reached its printer.
[[nodiscard]] constexpr Outcome outcomeOf(Status status) {
  switch (status) {
    case Status::kSuccess:
      return Outcome::kSuccess;
    case Status::kReadError:
      return Outcome::kReadError;
    case Status::kWriteError:
      return Outcome::kWriteError;
    case Status::kUndecodable:
      return Outcome::kUndecodable;
    case Status::kNothingReceived:
      return Outcome::kNothingReceived;
    case Status::kNoCommand:
    case Status::kNoDictionary:
      break;
  }
  return Outcome::kInternal;
}

}  // namespace moxsupply
