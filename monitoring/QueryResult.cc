#include "monitoring/QueryResult.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "renderings/ReportJson.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestWords = 300;  // bytes, of a sentence

QueryResult failed(Outcome outcome, std::string_view what, std::string_view advice) {
  return {outcome, std::nullopt, harmlessLine(what, kLongestWords),
          harmlessLine(advice, kLongestWords)};
}

// What `levels` complains of: the first line without the program's name, and the others.
QueryResult complaint(Outcome outcome, std::string_view errors) {
  constexpr std::string_view kProgram = "moxsupply levels: ";
  if (errors.starts_with(kProgram)) errors.remove_prefix(kProgram.size());
  const std::size_t end = std::min(errors.find('\n'), errors.size());
  QueryResult result = failed(outcome, errors.substr(0, end), errors.substr(end));
  if (result.what.empty()) result.what = rowOf(Outcome::kInternal).what;
  return result;
}

QueryResult resultOf(const Report& report) {
  const OutcomeRow& row = rowOf(outcomeOf(report.status));
  if (row.outcome != Outcome::kSuccess) return failed(row.outcome, row.what, row.advice);
  return {row.outcome, suppliesFromReport(report.dictionary), {}, {}};
}

}  // namespace

QueryResult queryResultOf(const LevelsEnding& ending, std::chrono::seconds deadline) {
  if (ending.isCut) {
    return failed(Outcome::kUndecodable, "said more than any printer has to say", "");
  }
  if (!ending.wasStopped && !ending.output.empty()) {
    if (const auto report = reportFromJson(ending.output)) return resultOf(*report);
  }
  const bool hasFailed = ending.exitStatus == 1;
  if (ending.wasStopped || (hasFailed && ending.time >= deadline)) {
    return failed(Outcome::kDeadline,
                  fmt::format("was not done within {} seconds", deadline.count()),
                  rowOf(Outcome::kDeadline).advice);
  }
  return complaint(hasFailed ? Outcome::kUnreachable : Outcome::kInternal, ending.errors);
}

}  // namespace moxsupply
