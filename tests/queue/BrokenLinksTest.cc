// The exchanges of tests/data, broken off at every tenth byte, through the whole chain: print
// server, command filter, the real socket backend, TCP. Whatever comes, the job ends in time, the
// queue stays in service, and the levels are those of before or those that the printer sent.

#include <cups/cups.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <list>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <thread>

#include "queue/PrintServer.h"
#include "tests/links/BrokenOffExchange.h"
#include "tests/queue/Drivers.h"
#include "tests/queue/PrintTools.h"
#include "tests/queue/PrivatePrintServer.h"
#include "tests/support/Depth.h"
#include "tests/support/Models.h"
#include "tests/support/Processes.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Reads of a second each. The query is given up half-way to the deadline.
constexpr const char* kTimeout = "1";
constexpr const char* kDeadline = "3";

// The deadline, and time for a machine on which some forty jobs run at once. A job that its filter
// leaves to itself is held for 90 seconds by its backend, or for 300 by the print server.
constexpr auto kLongestTime = 3s + 12s;

const std::size_t kEvery = 10 * cutEvery();

struct Case {
  const Golden* exchange = nullptr;
  std::size_t size = 0;  // of the replies, that comes
  simulator::Faults faults;

  [[nodiscard]] std::string name() const {
    const char* end = faults.cut ? "cut" : (faults.reset ? "reset" : "silent");
    return fmt::format("{}, {} after {} bytes", exchange->name, end, size);
  }
};

// A printer that says what the exchange's does, whatever that is.
simulator::Model printerOf(const Golden& exchange) {
  const auto says = [](const Talk& talk) {
    return simulator::Reply{.answers = false, .strays = {talk.replies}};
  };
  const auto talk = talkWithin(exchange, exchange.all(Golden::What::kReply).size());
  simulator::Model model;
  if (exchange.kind == Golden::Kind::kInkjet) {
    model.printer = simulator::InkjetModel{};
    model.replyTo(simulator::Request::kInkjetQuery) = says(talk[0]);
  } else {
    model.printer = simulator::LaserModel{};
    model.replyTo(simulator::Request::kDeviceQuery) = says(talk[0]);
    model.replyTo(simulator::Request::kSuppliesQuery) = says(talk[1]);
  }
  return model;
}

// What the queue is to show of this report; nothing when it shows what it showed before.
std::optional<std::vector<int>> levelsOf(const nlohmann::json& answer) {
  if (answer.at("status") != 0) return std::nullopt;
  std::vector<int> levels;
  const bool isLaser = answer.at("report").at("PrintHeadType") == "LaserSupplies";
  for (int i = 1; answer.at("report").contains(fmt::format("Supply {}", i)); ++i) {
    const nlohmann::json& supply = answer.at("report").at(fmt::format("Supply {}", i));
    const int percentage = supply.value("SupplyPercentage", -1);
    if (supply.at("SupplyStatus") == "Missing") {
      levels.push_back(-1);
    } else if (percentage < 0 || (percentage > 100 && !isLaser)) {
      levels.push_back(-2);
    } else {
      levels.push_back(std::min(percentage, 100));
    }
  }
  if (levels.empty()) return std::nullopt;  // a printer that reports no supplies changes nothing
  return levels;
}

// A queue, and the printers at the end of it, one after the other.
class Lane {
 public:
  Lane(const PrivatePrintServer& server, int number, const char* type)
      : mName(fmt::format("{}{}", type, number)) {
    addQueue(server, mName, mPort.uri(), postScriptDriver());
    const Ran ran = server.moxsupply(
        {"enable", mName, "--type", type, "--timeout", kTimeout, "--deadline", kDeadline});
    EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  }

  [[nodiscard]] bool isBusy() const { return mPrinter != nullptr; }
  [[nodiscard]] int job() const { return mJob; }
  [[nodiscard]] std::string uri() const { return mPort.uri(); }

  void begin(PrintServer& server, Case next) {
    mCase = std::move(next);
    mBefore = queue(server).markerLevels;
    mPrinter = std::make_unique<SimulatedPrinter>(mPort, printerOf(*mCase.exchange), mCase.faults);
    mStart = Clock::now();
    const auto job = server.submitCommand(mName, "ReportLevels", 300s);
    ASSERT_TRUE(job) << job.error().what;
    mJob = *job;
  }

  // The job is over, or must be.
  void finish(PrintServer& server) {
    SCOPED_TRACE(mCase.name());
    EXPECT_LT(Clock::now() - mStart, kLongestTime);
    const auto job = server.job(mName, mJob);
    if (job) {
      EXPECT_TRUE(job->state == IPP_JSTATE_COMPLETED || job->state == IPP_JSTATE_CANCELED)
          << ippEnumString("job-state", job->state);
      if (!job->isOver()) static_cast<void>(server.cancelJob(mName, mJob, "root"));
    }
    const PrintQueue after = queue(server);
    EXPECT_FALSE(after.isStopped);
    EXPECT_TRUE(after.acceptsJobs);
    const auto sent = levelsOf(nlohmann::json::parse(answerTo(*mCase.exchange, mCase.size)));
    EXPECT_TRUE(after.markerLevels == mBefore || after.markerLevels == sent)
        << fmt::format("{}", fmt::join(after.markerLevels, ","));
    mPrinter.reset();
  }

  [[nodiscard]] Clock::duration time() const { return Clock::now() - mStart; }

  // A printer without a fault is reported, and its job is over.
  void expectGood(PrintServer& server, const PrivatePrintServer& tools,
                  const simulator::Model& good, const std::vector<int>& levels) {
    const SimulatedPrinter printer(mPort, good);
    const auto job = server.submitCommand(mName, "ReportLevels", 300s);
    EXPECT_EQ(endOf(tools, mName, *job), "completed");
    EXPECT_EQ(queue(server).markerLevels, levels);
    EXPECT_TRUE(server.unfinishedJobs(mName).value().empty());
  }

 private:
  [[nodiscard]] PrintQueue queue(PrintServer& server) const { return server.queue(mName).value(); }

  std::string mName;
  ReservedPort mPort;
  Case mCase;
  std::vector<int> mBefore;
  std::unique_ptr<SimulatedPrinter> mPrinter;
  int mJob = 0;
  Clock::time_point mStart;
};

// The jobs that the print server is at work on, or will be: neither over nor held back.
std::set<int> jobsAtWork() {
  std::set<int> ids;
  cups_job_t* jobs = nullptr;
  const int count = cupsGetJobs2(CUPS_HTTP_DEFAULT, &jobs, nullptr, 0, CUPS_WHICHJOBS_ACTIVE);
  for (int i = 0; i < count; ++i) {
    if (jobs[i].state != IPP_JSTATE_HELD && jobs[i].state != IPP_JSTATE_STOPPED) {
      ids.insert(jobs[i].id);
    }
  }
  cupsFreeJobs(count, jobs);
  return ids;
}

std::vector<Case> casesOf(const Golden& exchange, std::size_t& offset) {
  std::vector<Case> cases;
  const std::size_t size = exchange.all(Golden::What::kReply).size();
  for (; offset < size; offset += kEvery) {
    cases.push_back({&exchange, offset, {.cut = offset}});
    cases.push_back({&exchange, offset, {.reset = offset}});
    cases.push_back({&exchange, offset, {.silent = offset}});
  }
  offset -= size;
  return cases;
}

// What is to be tried with printers of a kind, over how many queues at once.
struct Work {
  const char* type;
  std::vector<int> goodLevels;
  simulator::Model good;
  std::vector<Case> cases{};
  std::list<Lane> lanes{};
};

// Begins two jobs at most: not all at once.
void goOn(PrintServer& server, Work& work, const std::set<int>& jobsAtWork) {
  int begun = 0;
  for (Lane& lane : work.lanes) {
    const bool isOverdue = lane.isBusy() && lane.time() > kLongestTime;
    if (lane.isBusy() && (!jobsAtWork.contains(lane.job()) || isOverdue)) lane.finish(server);
    if (lane.isBusy() || work.cases.empty() || begun == 2) continue;
    ++begun;
    lane.begin(server, std::move(work.cases.back()));
    work.cases.pop_back();
  }
}

bool isDone(const Work& work) {
  return work.cases.empty() && std::ranges::none_of(work.lanes, &Lane::isBusy);
}

TEST(BrokenLinks, KeepNeitherJobNorQueueNorProcess) {
  if (::geteuid() != 0) GTEST_SKIP() << "takes root, to run a print server";
  constexpr int kLaserLanes = kIsSlowBuild ? 8 : 40;
  constexpr int kInkjetLanes = kLaserLanes / 8;
  Work laser = {.type = "laser",
                .goodLevels = {8, 70},
                .good = laserPrinter({{"Cyan Toner", 8}, {"Black Toner", 70}})};
  Work inkjet = {.type = "inkjet", .goodLevels = {61, 80, 47, 92}, .good = inkjetPrinter("B0", 61)};
  std::list<Golden> exchanges;
  std::size_t offset = 0;
  for (const std::string& name : exchangeNames()) {
    const Golden& golden = exchanges.emplace_back(readGolden(name));
    Work& work = golden.kind == Golden::Kind::kLaser ? laser : inkjet;
    std::ranges::move(casesOf(golden, offset), std::back_inserter(work.cases));
  }
  EXPECT_GE(laser.cases.size() + inkjet.cases.size(), 1050U / cutEvery());

  PrivatePrintServer tools;
  ::setenv("CUPS_SERVER", (tools.folder() / "cups.sock").c_str(), 1);
  auto connected = PrintServer::connect();
  PrintServer& server = *connected;
  for (int i = 0; i < kLaserLanes; ++i) laser.lanes.emplace_back(tools, i, laser.type);
  for (int i = 0; i < kInkjetLanes; ++i) inkjet.lanes.emplace_back(tools, i, inkjet.type);
  for (Work* work : {&laser, &inkjet}) {
    for (Lane& lane : work->lanes) lane.expectGood(server, tools, work->good, work->goodLevels);
  }

  while (!(isDone(laser) && isDone(inkjet)) && !HasFailure()) {
    const std::set<int> atWork = jobsAtWork();
    goOn(server, laser, atWork);
    goOn(server, inkjet, atWork);
    std::this_thread::sleep_for(20ms);
  }

  ASSERT_FALSE(HasFailure());
  for (Work* work : {&laser, &inkjet}) {
    for (Lane& lane : work->lanes) EXPECT_TRUE(areGoneWithin(2s, lane.uri()));
    work->lanes.front().expectGood(server, tools, work->good, work->goodLevels);
  }
}

}  // namespace
}  // namespace moxsupply::testing
