#include "commands/LevelsAsMetrics.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>
#include <variant>

#include "commands/Command.h"
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
          const std::optional<Reading>& reading, const Attempt& attempt) {
  const auto families = supplyMetrics(reading, attempt, {{"instance", printer}});
  return print(kCommand, metricsText(families).append(kEnd), output.descriptor());
}

}  // namespace

int levelsAsMetrics(const SupplyQueryOptions& options) {
  const KeptOutput output;
  const auto start = Clock::now();
  const auto fail = [&](ProbeStatus status, const Problem& problem) {
    const Attempt attempt = {status, Clock::now() - start};
    const int exitStatus = write(output, options.printer, std::nullopt, attempt);
    return std::max(exitStatus, complain(kCommand, problem));
  };
  const auto onDeadline = [&](const Problem& problem) {
    ::_exit(fail(ProbeStatus::kDeadline, problem));
  };
  const auto prepared = supplyQuery(options, onDeadline);
  if (const auto* problem = std::get_if<Problem>(&prepared)) return complain(kCommand, *problem);
  const auto& query = std::get<SupplyQuery>(prepared);
  const auto result = askForSupplies(query, onDeadline);
  if (const auto* problem = std::get_if<Problem>(&result)) {
    if (problem->isMisuse) return complain(kCommand, *problem);
    return fail(ProbeStatus::kUnreachable, *problem);
  }
  const auto& answer = std::get<PrinterAnswer>(result);
  if (answer.status != Status::kSuccess) {
    return fail(probeStatusOf(answer.status), whyNoSupplies(answer, query));
  }
  return write(output, options.printer, Reading{suppliesFromReport(answer.json), {}},
               {ProbeStatus::kSuccess, Clock::now() - start});
}

}  // namespace moxsupply
