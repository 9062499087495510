#include "monitoring/QueryResult.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <nlohmann/json.hpp>
#include <string_view>

#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestWords = 300;  // bytes, of a sentence

// What people are told of a query that reached its printer.
struct Words {
  ProbeStatus status;
  std::string_view what;
  std::string_view advice;
};
constexpr std::array<Words, 4> kWords = {{
    {ProbeStatus::kReadError, "began to answer and broke off",
     "If it stays so, look at the network between here and the printer."},
    {ProbeStatus::kWriteError, "hung up before it was asked",
     "Is another job printing? Many printers take one connection at a time."},
    {ProbeStatus::kUndecodable, "answered, but its supplies cannot be read",
     "moxsupply levels --record makes a transcript of what it says, to send in."},
    {ProbeStatus::kNothingReceived, "took the connection but did not answer",
     "Is it awake, does it speak NPA, and is its printer_type right in the list?"},
}};

QueryResult failure(ProbeStatus status, std::string_view what, std::string_view advice) {
  return {status, std::nullopt, harmlessLine(what, kLongestWords),
          harmlessLine(advice, kLongestWords)};
}

// What `levels` complains of: the first line without the program's name, and the others.
QueryResult complaint(ProbeStatus status, std::string_view errors) {
  constexpr std::string_view kProgram = "moxsupply levels: ";
  if (errors.starts_with(kProgram)) errors.remove_prefix(kProgram.size());
  const std::size_t end = std::min(errors.find('\n'), errors.size());
  QueryResult result = failure(status, errors.substr(0, end), errors.substr(end));
  if (result.what.empty()) result.what = "could not be asked";
  return result;
}

// What the line of JSON says; nothing when it is none.
std::optional<QueryResult> reported(std::string_view json) try {
  const auto number = nlohmann::json::parse(json).at("status").get<std::int32_t>();
  const ProbeStatus status = probeStatusOf(static_cast<Status>(number));
  if (status == ProbeStatus::kSuccess) return QueryResult{status, suppliesFromReport(json), {}, {}};
  const auto* words = std::ranges::find(kWords, status, &Words::status);
  if (words == kWords.end()) return failure(status, "could not be asked", "");
  return failure(status, words->what, words->advice);
} catch (const std::exception&) {
  return std::nullopt;
}

}  // namespace

QueryResult queryResultOf(const LevelsEnding& ending, std::chrono::seconds deadline) {
  if (ending.isCut) {
    return failure(ProbeStatus::kUndecodable, "said more than any printer has to say", "");
  }
  if (!ending.wasStopped && !ending.output.empty()) {
    if (auto result = reported(ending.output)) return std::move(*result);
  }
  const bool hasFailed = ending.exitStatus == 1;
  if (ending.wasStopped || (hasFailed && ending.time >= deadline)) {
    return failure(ProbeStatus::kDeadline,
                   fmt::format("was not done within {} seconds", deadline.count()),
                   "Is it switched on and connected, and is this its address?");
  }
  return complaint(hasFailed ? ProbeStatus::kUnreachable : ProbeStatus::kInternal, ending.errors);
}

}  // namespace moxsupply
