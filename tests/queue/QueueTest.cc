#include "tests/queue/QueueTest.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <thread>

namespace moxsupply::testing {

namespace {

std::unique_ptr<PrivatePrintServer> thePrintServer;

std::string nextQueue() {
  static int number = 0;
  return fmt::format("office{}", ++number);
}

// What the print server's jobs have said.
std::string jobsLog() {
  std::istringstream log(thePrintServer->log());
  std::string text;
  for (std::string line; std::getline(log, line);) {
    if (line.find("[Job ") != std::string::npos && line.find("envp[") == std::string::npos) {
      text += line + '\n';
    }
  }
  return text;
}

}  // namespace

QueueTest::QueueTest() : mQueue(nextQueue()) {}

void QueueTest::TearDownTestSuite() { thePrintServer.reset(); }

void QueueTest::startPrintServer(PrivatePrintServer::Policy policy, std::chrono::seconds pause) {
  if (::geteuid() == 0) thePrintServer = std::make_unique<PrivatePrintServer>(policy, pause);
}

void QueueTest::SetUp() {
  if (thePrintServer == nullptr) GTEST_SKIP() << "takes root, to run a print server";
}

void QueueTest::TearDown() {
  if (HasFailure() && thePrintServer != nullptr) std::fputs(jobsLog().c_str(), stderr);
}

PrivatePrintServer& QueueTest::server() { return *thePrintServer; }

void QueueTest::addEnabledQueue(const std::string& type) const {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Ran ran = server().moxsupply({"enable", queue(), "--type", type});
  ASSERT_EQ(ran.exitStatus, 0) << ran.errors;
}

int QueueTest::report() const {
  const int job = submit(server(), queue(), "ReportLevels");
  EXPECT_EQ(endOf(server(), queue(), job), "completed");
  return job;
}

bool QueueTest::isIdleWithin(std::chrono::nanoseconds patience) const {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (attributes()["printer-state"] != Values{"3"}) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

}  // namespace moxsupply::testing
