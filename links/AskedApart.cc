#include "links/AskedApart.h"

#include <fmt/format.h>

#include <cstring>
#include <sstream>

#include "links/Recording.h"
#include "supplies/Supplies.h"
#include "system/Apart.h"
#include "text/Decimal.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

using Clock = Apart::Clock;

// At the end of all its time a printer is still sending; before, it was not reached. (What a cable
// leads to is never waited for longer.)
Asked gaveUp(const Problem& problem, const SupplyRequest& request) {
  const bool isReached = Clock::now() >= request.deadline && request.uri.transport() != "usb";
  return {.outcome = isReached ? Outcome::kDeadline : Outcome::kUnreachable,
          .kind = {},
          .wasHeard = false,
          .what = problem.what,
          .advice = problem.advice};
}

Asked couldNotAsk(const Problem& problem) {
  return {.outcome = problem.isMisuse ? Outcome::kNotAsked : Outcome::kUnreachable,
          .kind = {},
          .wasHeard = false,
          .what = problem.what,
          .advice = problem.advice};
}

Asked askedOf(const PrinterAnswer& answer, bool wasHeard) {
  const OutcomeRow& row = rowOf(outcomeOf(answer.report.status));
  Asked asked;
  asked.wasHeard = wasHeard;
  asked.outcome = row.outcome;
  if (row.outcome == Outcome::kSuccess) {
    asked.kind = suppliesFromReport(answer.report.dictionary).kind;
  }
  asked.what = translated("the printer {}", translated(row.what));
  asked.advice = answer.backendMessage.empty()
                     ? translated(row.advice)
                     : translated("The CUPS backend says: {}", answer.backendMessage);
  return asked;
}

constexpr std::string_view kUnknown = "-";

// A line each but for the last, which takes the rest.
std::string written(const Asked& asked) {
  const std::string kind =
      asked.kind ? fmt::format("{}", static_cast<int>(*asked.kind)) : std::string(kUnknown);
  return fmt::format("{}\n{}\n{}\n{}\n{}", static_cast<int>(asked.outcome), kind,
                     static_cast<int>(asked.wasHeard), asked.what, asked.advice);
}

Asked readBack(const std::string& text) {
  Asked asked;
  std::istringstream lines(text);
  std::string outcome;
  std::string kind;
  std::string wasHeard;
  std::getline(lines, outcome);
  std::getline(lines, kind);
  std::getline(lines, wasHeard);
  std::getline(lines, asked.what);
  std::getline(lines, asked.advice, '\0');
  if (const auto number = decimal(outcome)) asked.outcome = static_cast<Outcome>(*number);
  if (const auto number = decimal(kind)) asked.kind = static_cast<PrinterKind>(*number);
  asked.wasHeard = wasHeard == "1";
  return asked;
}

}  // namespace

Asked askApart(const SupplyRequest& request) {
  constexpr std::chrono::seconds kGrace(2);  // to end by itself
  const auto begun = Clock::now();
  auto apart = Apart::begin([&](const Apart::Finish& finish) {
    const auto heard = Recording::forNobody();
    const auto onDeadline = [&](const Problem& problem) {
      finish(written(gaveUp(problem, request)));
    };
    const auto answer = askForSupplies(request, onDeadline, heard.get());
    finish(written(answer ? askedOf(*answer, heard->hasHeard()) : couldNotAsk(answer.error())));
  });
  Asked asked;
  if (!apart) {
    asked.what = translated("the printer could not be asked: {}", std::strerror(apart.error()));
  } else if (const auto result = apart->resultBy(request.deadline + kGrace)) {
    asked = readBack(*result);
  } else {
    asked.what =
        translated("the printer could not be asked: the process that was to do so is gone");
  }
  asked.time = std::chrono::round<std::chrono::milliseconds>(Clock::now() - begun);
  return asked;
}

}  // namespace moxsupply
