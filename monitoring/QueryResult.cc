#include "monitoring/QueryResult.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <exception>
#include <nlohmann/json.hpp>
#include <string_view>

#include "host/HarmlessText.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestWords = 300;  // bytes, of a sentence

// What the status of a query means for people.
struct StatusRow {
  int number;
  std::string_view word;
  std::string_view what;
  std::string_view advice;
};
constexpr std::array<StatusRow, 7> kStatuses = {{
    {0, "success", "", ""},
    {-1, "read_error", "began to answer and broke off",
     "If it stays so, look at the cable and the network between here and the printer."},
    {-2, "write_error", "hung up before it was asked",
     "Is another job printing? Many printers take one connection at a time."},
    {-4, "undecodable", "answered, but its supplies cannot be read",
     "moxsupply levels --record makes a transcript of what it says, to send in."},
    {-5, "no_command", "could not be asked", "The installation is not whole."},
    {-6, "nothing_received", "took the connection but did not answer",
     "Is it awake, does it speak NPA, and is its printer_type right in the list?"},
    {-7, "no_dictionary", "could not be asked", "The installation is not whole."},
}};

QueryResult failure(std::string_view status, std::string_view what, std::string_view advice) {
  return {std::string(status), std::nullopt, harmlessLine(what, kLongestWords),
          harmlessLine(advice, kLongestWords)};
}

// What `levels` complains of: the first line without the program's name, and the others.
QueryResult complaint(std::string_view status, std::string_view errors) {
  constexpr std::string_view kProgram = "moxsupply levels: ";
  if (errors.starts_with(kProgram)) errors.remove_prefix(kProgram.size());
  const std::size_t end = std::min(errors.find('\n'), errors.size());
  QueryResult result = failure(status, errors.substr(0, end), errors.substr(end));
  if (result.what.empty()) result.what = "could not be asked";
  return result;
}

std::optional<QueryResult> reported(std::string_view json) try {
  const int number = nlohmann::json::parse(json).at("status").get<int>();
  const auto* row = std::ranges::find(kStatuses, number, &StatusRow::number);
  if (row == kStatuses.end()) return std::nullopt;
  QueryResult result = failure(row->word, row->what, row->advice);
  if (number == 0) result.supplies = suppliesFromReport(json);
  return result;
} catch (const std::exception&) {
  return std::nullopt;
}

}  // namespace

QueryResult queryResultOf(const LevelsEnding& ending, std::chrono::seconds deadline) {
  if (ending.isCut) {
    return failure("undecodable", "answered with more than any printer has to say", "");
  }
  if (!ending.wasStopped && !ending.output.empty()) {
    if (auto result = reported(ending.output)) return std::move(*result);
  }
  if (ending.wasStopped || (ending.exitStatus == 1 && ending.time >= deadline)) {
    return failure("deadline", fmt::format("did not finish within {} seconds", deadline.count()),
                   "Is it switched on and connected?");
  }
  if (ending.exitStatus == 1) return complaint("unreachable", ending.errors);
  return complaint("not_asked", ending.errors);
}

}  // namespace moxsupply
