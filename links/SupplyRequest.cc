#include "links/SupplyRequest.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "links/Identities.h"
#include "links/PrinterLink.h"
#include "links/QueryWatch.h"
#include "text/TerminalText.h"
#include "text/Translated.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

using Clock = std::chrono::steady_clock;

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

// How a question went over the link.
enum class Said : std::uint8_t {
  kNothing,  // silence
  kOther,    // perhaps an answer to the question before
  kAll,      // what there is to be said: nothing more is to be expected over this link
};

// The questions to one printer.
//
// A link over which it was silent is kept for the next one: a printer that is just waking up may
// take no second connection before it has served the first.
class Questions {
 public:
  Questions(const SupplyRequest& request, QueryWatch& watch, Recording* recording)
      : mRequest(request), mWatch(watch), mRecording(recording) {}

  [[nodiscard]] const transcript::Session& lastAnswers() const { return mLastAnswers; }

  [[nodiscard]] Result<Report> ask() {
    auto report = inTurn();
    if (!report || mSaid == Said::kAll || mRequest.timeToWake.count() == 0) return report;
    // What it says late answers questions that were given up: it is awake now, and asked again.
    if (mSaid == Said::kOther || mLink->hearsBy(awakeBy())) {
      mLink->dropWhatComes();
      return inTurn();
    }
    // Over new links, since what a printer does not know may make it deaf for what follows.
    mLink.reset();
    mKeepsLink = false;
    return inTurn();
  }

 private:
  // Asks as each kind that the printer may be, until it understands.
  Result<Report> inTurn() {
    Report report{};
    mSaid = Said::kAll;
    for (const Guess& guess : guessesFor(mRequest)) {
      const bool isLate = mLink.has_value();
      if (auto open = openLink(); !open) return tl::unexpected(std::move(open).error());
      report = question(guess, isLate);
      if (mSaid == Said::kAll || !mKeepsLink) mLink.reset();
      if (wasUnderstood(report.status)) break;
    }
    return report;
  }

  Result<> openLink() {
    if (mLink) return {};
    auto link = PrinterLink::open(mRequest.uri,
                                  mRequest.throughBackend ? nullptr : mRequest.connect, mWatch);
    if (!link) return tl::unexpected(std::move(link).error());
    mLink.emplace(*std::move(link));
    return {};
  }

  // Asks over the open link. `isLate`: an answer to the question before may still come, which this
  // one passes over; so it is looked at what comes, which takes a thread.
  Report question(const Guess& guess, bool isLate) {
    const bool listens = (isLate || mRequest.wantsIdentities) && mRecording == nullptr;
    const auto listener = listens ? Recording::forNobody() : nullptr;
    Recording* recording = listener ? listener.get() : mRecording;
    const auto start = Clock::now();
    Report report = mLink->ask(guess.kind, guess.timeout, recording);
    const auto took = Clock::now() - start;
    if (mRequest.wantsIdentities) mLastAnswers = recording->answers();

    // Whatever else comes ends one of the four reads early.
    const bool inTime = guess.timeout == 0 || took < 4 * std::chrono::seconds(guess.timeout);
    const bool heard = recording != nullptr ? recording->hasHeard() : inTime;
    const bool ended = recording != nullptr ? recording->hasEnded() : inTime;
    const bool mayGoOn = report.status == Status::kNothingReceived && !ended;
    if (mayGoOn && !heard) {
      mSaid = Said::kNothing;
    } else {
      mSaid = mayGoOn && isLate ? Said::kOther : Said::kAll;
    }
    return report;
  }

  // The printer understood the question: it sent supplies, or an answer that holds none.
  static bool wasUnderstood(Status status) {
    return status == Status::kSuccess || status == Status::kUndecodable;
  }

  [[nodiscard]] Clock::time_point awakeBy() const {
    const auto connected = mWatch.connectedAt();
    return connected ? *connected + mRequest.timeToWake : mRequest.connectionDeadline;
  }

  const SupplyRequest& mRequest;
  QueryWatch& mWatch;
  Recording* mRecording;
  std::optional<PrinterLink> mLink;
  bool mKeepsLink = true;
  Said mSaid = Said::kAll;
  transcript::Session mLastAnswers;
};

Problem deadlinePassed(const SupplyRequest& request, const QueryWatch& watch) {
  const std::string printer = forTerminal(shownUri(request.uri.text));
  Problem problem;
  if (watch.connectedAt()) {
    problem.what = translated("no answer from {} by the deadline", printer);
    problem.advice = translated("The printer took the connection but has not finished its answer.");
  } else {
    problem.what = translated("no connection to {} came about", printer);
    problem.advice = translated("Is the printer switched on and connected? It may be asleep.");
  }
  if (const std::string message = watch.backendMessage(); !message.empty()) {
    problem.advice = translated("The CUPS backend says: {}", message);
  }
  problem.remedy = {Remedy::Kind::kLongerDeadline, {}};
  return problem;
}

}  // namespace

Supplies suppliesIn(const PrinterAnswer& answer) {
  Supplies supplies = suppliesFromReport(answer.report.dictionary);
  if (!answer.lastAnswers.operations.empty()) addIdentities(supplies, answer.lastAnswers);
  return supplies;
}

Result<PrinterAnswer> askForSupplies(const SupplyRequest& request, const OnDeadline& onDeadline,
                                     Recording* recording) {
  std::function<void(const QueryWatch&)> atDeadline;
  if (onDeadline) {
    atDeadline = [&](const QueryWatch& at) { onDeadline(deadlinePassed(request, at)); };
  }
  QueryWatch watch("", {.connection = request.connectionDeadline, .all = request.deadline},
                   std::move(atDeadline));
  Questions questions(request, watch, recording);
  auto report = questions.ask();
  if (!report) return tl::unexpected(std::move(report).error());
  return PrinterAnswer{*std::move(report), questions.lastAnswers(), watch.backendMessage()};
}

}  // namespace moxsupply
