#include "commands/LevelsAsMetrics.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>

#include "commands/Command.h"
#include "links/DeviceUri.h"
#include "renderings/SupplyMetrics.h"
#include "supplies/Supplies.h"
#include "system/KeptOutput.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "levels";

using Clock = std::chrono::steady_clock;

// Ends the text for readers of OpenMetrics. To others it is a comment.
constexpr std::string_view kEnd = "# EOF\n";

int write(const KeptOutput& output, const std::string& printer,
          const std::optional<AgedSupplies>& supplies, const LastProbe& last) {
  const auto families = supplyMetrics(
      supplies, last, {{"instance", looksLikeDeviceUri(printer) ? shownUri(printer) : printer}});
  return print(kCommand, metricsText(families).append(kEnd), output.descriptor());
}

}  // namespace

int levelsAsMetrics(const PrinterOptions& options) {
  const KeptOutput output;
  const auto start = Clock::now();
  const auto fail = [&](Outcome outcome, const Problem& problem) {
    const LastProbe last = {outcome, Clock::now() - start};
    const int exitStatus = write(output, options.printer, std::nullopt, last);
    return std::max(exitStatus, complain(kCommand, problem));
  };
  const auto onDeadline = [&](const Problem& problem) {
    ::_exit(fail(Outcome::kDeadline, problem));
  };
  const auto request = supplyRequest(options, onDeadline);
  if (!request) return complain(kCommand, request.error());
  const auto answer = askForSupplies(*request, onDeadline);
  if (!answer && answer.error().isMisuse) return complain(kCommand, answer.error());
  if (!answer) return fail(Outcome::kUnreachable, answer.error());
  const auto& [status, report] = answer->report;
  if (status != Status::kSuccess) {
    return fail(outcomeOf(status), whyNoSupplies(*answer, *request));
  }
  return write(output, options.printer, AgedSupplies{suppliesFromReport(report), {}},
               {Outcome::kSuccess, Clock::now() - start});
}

}  // namespace moxsupply
