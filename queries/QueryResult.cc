#include "queries/QueryResult.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "history/Reading.h"
#include "renderings/ReportJson.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestWords = 300;  // bytes, of a sentence

QueryResult failed(Outcome outcome, std::string_view what, std::string_view advice) {
  return {outcome, std::nullopt, harmlessLine(what, kLongestWords),
          harmlessLine(advice, kLongestWords)};
}

// What a query complains of: the first line without the program's name, and the others.
QueryResult complaint(Outcome outcome, std::string_view errors) {
  for (const std::string_view program : {"moxsupply levels: ", "moxsupply queue-levels: "}) {
    if (errors.starts_with(program)) errors.remove_prefix(program.size());
  }
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

// What the reading tells besides the report that it was made from.
void addIdentities(QueryResult& result, const Reading& reading) {
  auto& list = result.supplies->list;
  if (reading.supplies.size() != list.size()) return;
  for (std::size_t i = 0; i < list.size(); ++i) {
    list[i].part = reading.supplies[i].part;
    list[i].serial = reading.supplies[i].serial;
    list[i].pages = reading.supplies[i].pages;
  }
  result.moment = reading.moment;
}

QueryResult resultOf(const Reading& reading, std::string_view device,
                     std::chrono::system_clock::time_point now) {
  using std::chrono::milliseconds;
  QueryResult result{Outcome::kSuccess, Supplies(), {}, {}};
  result.supplies->list.assign(reading.supplies.begin(), reading.supplies.end());
  // The print server's clock may be ahead of ours.
  const auto age = std::chrono::round<milliseconds>(now - reading.moment);
  result.age = std::max(age, milliseconds(0));
  result.moment = reading.moment;
  result.device = device.substr(0, device.find('\n'));
  return result;
}

// What there is to say where nothing of use was written.
QueryResult failureOf(const LevelsEnding& ending, std::chrono::seconds deadline) {
  if (ending.isCut) {
    return failed(Outcome::kUndecodable, "said more than any printer has to say", "");
  }
  const bool hasFailed = ending.exitStatus == 1;
  if (ending.wasStopped || (hasFailed && ending.time >= deadline)) {
    return failed(Outcome::kDeadline,
                  fmt::format("was not done within {} seconds", deadline.count()),
                  rowOf(Outcome::kDeadline).advice);
  }
  return complaint(hasFailed ? Outcome::kUnreachable : Outcome::kInternal, ending.errors);
}

}  // namespace

QueryResult queryResultOf(const LevelsEnding& ending, std::chrono::seconds deadline) {
  if (!ending.isCut && !ending.wasStopped && !ending.output.empty()) {
    const std::string_view output = ending.output;
    const std::size_t end = std::min(output.find('\n'), output.size());
    if (const auto report = reportFromJson(output.substr(0, end))) {
      QueryResult result = resultOf(*report);
      const auto reading = readingFrom(output.substr(end));
      if (result.supplies && reading) addIdentities(result, *reading);
      return result;
    }
  }
  return failureOf(ending, deadline);
}

QueryResult queueResultOf(const LevelsEnding& ending, std::chrono::seconds deadline,
                          std::chrono::system_clock::time_point now) {
  const std::string_view output = ending.output;
  const std::size_t end = output.find('\n');
  if (ending.isCut || ending.wasStopped || end == std::string_view::npos) {
    return failureOf(ending, deadline);
  }
  if (end == 0) {
    return failed(Outcome::kNothingReceived, "has told its print server no supplies",
                  "`moxsupply doctor` with the queue's name, on the print server, says why.");
  }
  const auto reading = readingFrom(output.substr(0, end));
  if (reading) return resultOf(*reading, output.substr(end + 1), now);
  return failed(Outcome::kUndecodable, rowOf(Outcome::kUndecodable).what, reading.error().what);
}

}  // namespace moxsupply
