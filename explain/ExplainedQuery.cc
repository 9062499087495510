#include "explain/ExplainedQuery.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "explain/ExplainedLevels.h"
#include "explain/ExplainedReply.h"
#include "front/MoxFilter.h"
#include "links/AskAsFilter.h"
#include "links/ReplayedLink.h"
#include "links/ReplayedReplies.h"
#include "npa/Answers.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "npa/Requests.h"
#include "renderings/SupplyTable.h"
#include "supplies/Outcome.h"
#include "supplies/Supplies.h"

namespace moxsupply {

namespace {

using transcript::Event;
using transcript::Operation;

struct RequestRow {
  Request request;
  std::string_view name;
  ReplyKind answer;
};
constexpr std::array<RequestRow, 4> kRequests = {{
    {kLoopBack, "loop-back request, no answer is awaited", ReplyKind::kOther},
    {kInkjetQuery, "inkjet query", ReplyKind::kInkjetItems},
    {kDeviceQuery, "device query, for the supplies table", ReplyKind::kSuppliesTable},
    {kSuppliesQuery, "supplies query, for the model-family record", ReplyKind::kModelRecord},
}};

const RequestRow* rowOf(std::span<const std::uint8_t> request) {
  const auto* row = std::ranges::find_if(kRequests, [&](const RequestRow& known) {
    const std::span command(CommandList.at(known.request.record).command);
    return std::ranges::equal(command.first(known.request.size), request);
  });
  return row == kRequests.end() ? nullptr : row;
}

// How a query ended, in a sentence's end.
std::string wordsFor(Status status) {
  const Outcome outcome = outcomeOf(status);
  if (outcome == Outcome::kSuccess) return std::string(wordOf(outcome));
  return fmt::format("the printer {}", rowOf(outcome).what);
}

// One request and what came until the next one.
struct Exchange {
  const RequestRow* request = nullptr;
  transcript::Session answers;  // no request in it
};

class QueryWalk {
 public:
  QueryWalk(Explanation& text, const transcript::Session& query) : mText(text), mQuery(query) {}

  void explain() {
    for (const Operation& operation : mQuery.operations) {
      const bool asks = operation.event == Event::kSent;
      if (asks) {
        explainAnswers();
        mExchange = {rowOf(operation.bytes),
                     {mQuery.printerType, mQuery.transport, mQuery.timeout, {}}};
      } else if (operation.event != Event::kFailed) {
        mExchange.answers.operations.push_back(operation);
      }
      explainOperation(operation);
    }
    explainAnswers();
    if (mItems) explainInkjetLevels(mText, *mItems);
    if (mTable) explainLaserLevels(mText, *mTable, mRecord.value_or(Dictionary()));
  }

 private:
  void explainOperation(const Operation& operation) {
    const auto at = fmt::format("+{} ms ", operation.pause.count());
    switch (operation.event) {
      case Event::kSent:
        mText.line(fmt::format(
            "{} > {} bytes: {}", at, operation.bytes.size(),
            mExchange.request == nullptr ? "no request of this program" : mExchange.request->name));
        break;
      case Event::kFailed:
        mText.line(fmt::format("{} > the link took no more: the request did not go out", at));
        break;
      case Event::kReceived:
        mText.line(fmt::format("{} < {} bytes", at, operation.bytes.size()));
        break;
      case Event::kEnded:
        mText.line(fmt::format("{} < the printer hung up", at));
    }
  }

  // Gathers the replies to the request as the module does: four at the most, until one answers.
  void explainAnswers() {
    const auto isPiece = [](const Operation& operation) {
      return operation.event == Event::kReceived;
    };
    if (std::ranges::none_of(mExchange.answers.operations, isPiece)) {
      const bool awaitsOne =
          mExchange.request != nullptr && mExchange.request->answer != ReplyKind::kOther;
      if (awaitsOne) mText.line("No reply");
      return;
    }
    const auto replies =
        replayedReplies(mExchange.answers, [&](std::span<const std::uint8_t> reply) {
          return mExchange.request != nullptr && kindOfReply(reply) == mExchange.request->answer;
        });
    for (std::size_t i = 0; i < replies.size(); ++i) explainReplyNumber(i + 1, replies[i]);
    mExchange.answers.operations.clear();
  }

  void explainReplyNumber(std::size_t number, const std::vector<std::uint8_t>& reply) {
    if (reply.empty()) {
      mText.line(fmt::format("Reply {}: fewer than {} bytes, none", number, kShortestReply));
      return;
    }
    mText.line(fmt::format("Reply {}: {} bytes{}", number, reply.size(),
                           reply.size() == kReplyBufferSize ? ", all that is kept of one" : ""));
    auto decoded = explainReply(mText, reply);
    const ReplyKind kind = kindOfReply(reply);
    if (mExchange.request == nullptr || kind != mExchange.request->answer || !decoded) return;
    auto& kept = kind == ReplyKind::kInkjetItems     ? mItems
                 : kind == ReplyKind::kSuppliesTable ? mTable
                                                     : mRecord;
    kept = std::move(decoded);
  }

  Explanation& mText;
  const transcript::Session& mQuery;
  Exchange mExchange;
  std::optional<Dictionary> mItems;
  std::optional<Dictionary> mTable;
  std::optional<Dictionary> mRecord;
};

struct Replayed {
  Report report;
  bool wentAsRecorded;
};

Replayed ask(const transcript::Session& query) {
  const std::uint32_t timeout = transcript::ReplayPace(query).timeout();
  const auto filter = MoxFilter::initWithPrinterType(query.printerType, query.transport, timeout);
  const ReplayedLink link(query);
  Report report = askAsFilter(*filter);
  return {std::move(report), link.requestsAreAsRecorded()};
}

}  // namespace

Report replay(const transcript::Session& query) { return ask(query).report; }

// It stands two columns in.
constexpr int kTableColumns = 78;

void explainQuery(Explanation& text, const transcript::Session& query, const std::string& title) {
  text.heading(fmt::format("{}asked as {} printer over {}, {} s for each read", title,
                           query.printerType == "Laser" ? "a laser" : "an inkjet", query.transport,
                           query.timeout));
  QueryWalk(text, query).explain();
  const auto [report, wentAsRecorded] = ask(query);
  text.line(fmt::format("Report: {} ({})", wordsFor(report.status), signedNumber(report.status)));
  if (!wentAsRecorded) {
    text.note("the requests are not those that this program writes: the report may be another");
  }
  const Supplies supplies = suppliesFromReport(report.dictionary);
  if (supplies.list.empty()) return;
  const std::string table = supplyTable(supplies, false, kTableColumns);
  for (std::size_t at = 0; at < table.size();) {
    const std::size_t end = std::min(table.find('\n', at), table.size());
    text.line("  " + table.substr(at, end - at));
    at = end + 1;
  }
}

}  // namespace moxsupply
