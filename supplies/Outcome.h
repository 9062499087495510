#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/Translated.h"
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

// The words for an outcome, everywhere. There are no commas in them, in any language: the print
// server keeps none in a message.
struct OutcomeRow {
  Outcome outcome;
  std::string_view word;    // in a label of metrics, and so in people's queries: never rename one
  std::string_view what;    // goes on behind the printer's name
  std::string_view advice;  // what can be tried; empty where there is nothing
};
constexpr std::array<OutcomeRow, 9> kOutcomes = {{
    {Outcome::kSuccess, "success", translatable("answered"), ""},
    {Outcome::kReadError, "read_error", translatable("began to answer and broke off"),
     translatable("Try again. If it stays so, look at the network between here and the printer.")},
    {Outcome::kWriteError, "write_error", translatable("hung up before it was asked"),
     translatable("Is another job printing? Many printers take one connection at a time.")},
    {Outcome::kUndecodable, "undecodable", translatable("answered but its supplies cannot be read"),
     translatable("What it sent is not what printers of this protocol send. A transcript of it can "
                  "be sent in.")},
    {Outcome::kNothingReceived, "nothing_received", translatable("did not answer"),
     translatable("Is it awake, and does it speak NPA?")},
    {Outcome::kUnreachable, "unreachable", translatable("could not be reached"),
     translatable("Is it switched on and connected, and is this its address?")},
    {Outcome::kDeadline, "deadline", translatable("was not done by the deadline"),
     translatable("Is it switched on and connected, and is this its address?")},
    {Outcome::kNotAsked, "not_asked", translatable("has not been asked yet"), ""},
    {Outcome::kInternal, "internal", translatable("could not be asked"), ""},
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
