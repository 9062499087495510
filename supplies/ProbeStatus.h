#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "values/Status.h"

namespace moxsupply {

// How an attempt to read a printer ended.
enum class ProbeStatus : std::uint8_t {
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

// The words that stand for them in a label. They are in people's queries: never rename one.
struct ProbeStatusRow {
  ProbeStatus status;
  std::string_view word;
};
constexpr std::array<ProbeStatusRow, 9> kProbeStatuses = {{
    {ProbeStatus::kSuccess, "success"},
    {ProbeStatus::kReadError, "read_error"},
    {ProbeStatus::kWriteError, "write_error"},
    {ProbeStatus::kUndecodable, "undecodable"},
    {ProbeStatus::kNothingReceived, "nothing_received"},
    {ProbeStatus::kUnreachable, "unreachable"},
    {ProbeStatus::kDeadline, "deadline"},
    {ProbeStatus::kNotAsked, "not_asked"},
    {ProbeStatus::kInternal, "internal"},
}};

[[nodiscard]] constexpr std::string_view wordOf(ProbeStatus status) {
  for (const auto& row : kProbeStatuses) {
    if (row.status == status) return row.word;
  }
  return {};
}

// How a query ended that reached its printer.
[[nodiscard]] constexpr ProbeStatus probeStatusOf(Status status) {
  switch (status) {
    case Status::kSuccess:
      return ProbeStatus::kSuccess;
    case Status::kReadError:
      return ProbeStatus::kReadError;
    case Status::kWriteError:
      return ProbeStatus::kWriteError;
    case Status::kUndecodable:
      return ProbeStatus::kUndecodable;
    case Status::kNothingReceived:
      return ProbeStatus::kNothingReceived;
    case Status::kNoCommand:
    case Status::kNoDictionary:
      break;
  }
  return ProbeStatus::kInternal;
}

}  // namespace moxsupply
