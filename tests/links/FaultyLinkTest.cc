// `moxsupply report` on every exchange of tests/data, when the link fails at any byte.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <deque>
#include <list>
#include <nlohmann/json.hpp>
#include <optional>

#include "tests/links/BrokenOffExchange.h"
#include "tests/support/Depth.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/Processes.h"
#include "tests/support/ReportOn.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// For a busy machine.
constexpr auto kSlack = kIsSlowBuild ? 6s : 3s;

struct BrokenExchange {
  const Golden* exchange;
  std::size_t size;  // of the replies, that comes
};

// What the link does after the last byte.
enum class Fault {
  kCut,     // it ends, both ways
  kSilent,  // it stays
  kReset,   // it ends with an error
};

// `moxsupply report` with this object for its printer. Answers each request once it is there, and
// fails after the last answer. Never waits.
class LinkedReport {
 public:
  // `timeout`: seconds for each read.
  LinkedReport(const BrokenExchange& tried, const char* timeout, Fault fault)
      : mTalk(talkWithin(*tried.exchange, tried.size)),
        mFault(fault),
        mReport(fault == Fault::kReset ? BackChannel::kTcp : BackChannel::kNonBlockingPipe,
                reportOn(*tried.exchange, timeout), {"LC_ALL=C"}) {}

  [[nodiscard]] const FilterProcess& process() const { return mReport; }

  // Takes what has come of the requests, and answers.
  void proceed() {
    if (!mStart) mStart = Clock::now();
    const Bytes request = mReport.receiveSome(256);
    mReceived += request.size();
    if (request.empty()) {
      mReport.closeLink();
    } else if (mAnswered < mTalk.size() && mReceived >= mTalk[mAnswered].requestSize) {
      answer();
    }
  }

  struct Ending {
    FilterProcess::Ending report;
    Clock::duration time{};  // since this object saw its first request
    Clock::duration life{};  // since it was started
  };

  // To be called once the life of the process is over.
  Ending finish() {
    const auto now = Clock::now();
    return {mReport.wait(), now - mStart.value_or(mBirth), now - mBirth};
  }

 private:
  void answer() {
    mReceived -= mTalk[mAnswered].requestSize;
    mReport.send(mTalk[mAnswered].replies);
    ++mAnswered;
    const bool isLast = mAnswered == mTalk.size() || mTalk[mAnswered].replies.empty();
    if (isLast && mFault == Fault::kReset) mReport.resetLink();
    if (isLast && mFault == Fault::kCut) {
      mReport.closeLink();
      mReport.endBackChannel();
    }
  }

  std::vector<Talk> mTalk;
  Fault mFault;
  std::size_t mAnswered = 0;  // requests
  std::size_t mReceived = 0;  // bytes of the request that is to be answered next
  Clock::time_point mBirth = Clock::now();
  std::optional<Clock::time_point> mStart;
  FilterProcess mReport;
};

// What becomes of a query must be what the bytes that have come are worth, no more and no less.
void expectAnswer(const LinkedReport::Ending& ending, const BrokenExchange& tried) {
  const auto answer = nlohmann::json::parse(ending.report.result, nullptr, false);
  EXPECT_EQ(answer.dump(2), answerTo(*tried.exchange, tried.size));
  EXPECT_EQ(ending.report.exitStatus, answer.is_object() && answer["status"] == 0 ? 0 : 1);
}

// A laser printer is asked twice. It is asked the second thing only when the first was answered,
// and after at most one read in vain; with silence from then on, four more are.
Clock::duration longestTime(const BrokenExchange& tried, Clock::duration timeout, Fault fault) {
  if (fault != Fault::kSilent) return kSlack;
  const bool isLaser = tried.exchange->kind == Golden::Kind::kLaser;
  return (isLaser ? 5 : 4) * timeout + kSlack;
}

class FaultyLink : public ::testing::TestWithParam<Fault> {
 protected:
  FaultyLink() {
    ::signal(SIGPIPE, SIG_IGN);
    // Processes that outlive those that started them become children of this one.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    for (const std::string& name : exchangeNames()) mExchanges.push_back(readGolden(name));
  }

  void run(const std::deque<BrokenExchange>& cases);

  std::list<Golden> mExchanges;

 private:
  static constexpr auto kTimeout = 1s;
  static constexpr const char* kTimeoutText = "1";

  struct Run {
    Run(const BrokenExchange& toTry, Fault fault)
        : tried(toTry), report(toTry, kTimeoutText, fault) {}

    BrokenExchange tried;
    LinkedReport report;
  };

  void finish(Run& run) const;

  // Silence costs seconds, and no work.
  static constexpr std::size_t kAtATime = kIsSlowBuild ? 96 : 512;

  std::list<Run> mRuns;
};

void FaultyLink::run(const std::deque<BrokenExchange>& cases) {
  auto next = cases.begin();
  const std::size_t atATime = GetParam() == Fault::kSilent ? kAtATime : 8;
  while ((next != cases.end() || !mRuns.empty()) && !HasFailure()) {
    // A few at a time, so that none waits for the processor when its time is measured.
    for (int started = 0; started < 4 && mRuns.size() < atATime && next != cases.end(); ++started) {
      mRuns.emplace_back(*next, GetParam());
      ++next;
    }
    std::vector<pollfd> sources;
    for (const Run& run : mRuns) {
      const FilterProcess& process = run.report.process();
      sources.push_back({.fd = process.output(), .events = POLLIN, .revents = 0});
      sources.push_back({.fd = process.life(), .events = 0, .revents = 0});
    }
    const bool mayStartMore = mRuns.size() < atATime && next != cases.end();
    ::poll(sources.data(), sources.size(), mayStartMore ? 10 : 20'000);
    auto source = sources.begin();
    mRuns.remove_if([&](Run& run) {
      if ((source++)->revents != 0) run.report.proceed();
      const bool hasEnded = (source++)->revents != 0;
      if (hasEnded) finish(run);
      return hasEnded;
    });
  }
  mRuns.clear();
}

void FaultyLink::finish(Run& run) const {
  SCOPED_TRACE(run.tried.exchange->name + ", " + std::to_string(run.tried.size) + " bytes");
  const auto ending = run.report.finish();
  expectAnswer(ending, run.tried);
  EXPECT_LT(ending.time, longestTime(run.tried, kTimeout, GetParam()));
  if (GetParam() == Fault::kSilent && run.tried.size == 0) {
    EXPECT_GE(ending.life, 4 * kTimeout) << "not silence";
  }
}

INSTANTIATE_TEST_SUITE_P(AtEveryByte, FaultyLink,
                         ::testing::Values(Fault::kCut, Fault::kSilent, Fault::kReset),
                         [](const auto& fault) {
                           if (fault.param == Fault::kCut) return "IsCut";
                           return fault.param == Fault::kSilent ? "FallsSilent" : "IsReset";
                         });

// From none of the replies' bytes to all but one. Where a sample must do (cutEvery), the decoders
// are tested with every length by themselves.
TEST_P(FaultyLink, LeavesWhatHasComeInTimeAndNothingElse) {
  std::deque<BrokenExchange> cases;
  for (const Golden& exchange : mExchanges) {
    const std::size_t size = exchange.all(Golden::What::kReply).size();
    for (std::size_t n = 0; n < size; n += cutEvery()) cases.push_back({&exchange, n});
  }
  EXPECT_GE(cases.size(), 3500U / cutEvery());
  const std::size_t before = openDescriptors();
  run(cases);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
  EXPECT_EQ(errno, ECHILD);
}

// The expectation itself: with all bytes it is the golden report.
TEST(AnswerToABrokenOffExchange, IsTheGoldenReportWhenNothingIsBrokenOff) {
  for (const std::string& name : exchangeNames()) {
    const Golden golden = readGolden(name);
    EXPECT_EQ(answerTo(golden, golden.all(Golden::What::kReply).size()), *golden.report) << name;
  }
}

}  // namespace
}  // namespace moxsupply::testing
