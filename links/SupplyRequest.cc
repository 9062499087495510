#include "links/SupplyRequest.h"

#include <algorithm>
#include <vector>

#include "values/Status.h"

namespace moxsupply {

namespace {

// As what a printer is asked, and with which timeout for each read.
struct Guess {
  PrinterKind kind;
  std::uint32_t timeout;
};

// A printer that does not know the question stays silent, and silence costs four reads. So the
// first guess is a short one where there are two.
std::vector<Guess> guessesFor(const SupplyRequest& request) {
  if (request.kind) return {{*request.kind, request.timeout}};
  return {{PrinterKind::kLaser, std::min(request.timeout, 1U)},
          {PrinterKind::kInkjet, request.timeout}};
}

// Whether the printer understood the question: it sent supplies, or an answer that holds none.
bool understood(Status status) {
  return status == Status::kSuccess || status == Status::kUndecodable;
}

}  // namespace

Result<PrinterAnswer> askForSupplies(const SupplyRequest& request, const OnDeadline& onDeadline,
                                     Recording* recording) {
  Result<PrinterAnswer> answer;
  for (const Guess& guess : guessesFor(request)) {
    answer = askPrinter({.uri = request.uri,
                         .kind = guess.kind,
                         .timeout = guess.timeout,
                         .throughBackend = request.throughBackend,
                         .recording = recording},
                        request.deadline, onDeadline);
    if (!answer || understood(answer->report.status)) break;
  }
  return answer;
}

}  // namespace moxsupply
