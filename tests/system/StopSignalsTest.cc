#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <csignal>
#include <string>

#include "system/StopSignals.h"
#include "tests/support/FilterProcess.h"

namespace moxsupply::testing {
namespace {

// In a process of its own, since signals stay blocked.
std::string inAnotherProcess(const std::function<std::string()>& action) {
  FilterProcess process(BackChannel::kClosed, action);
  const auto ending = process.wait();
  return ending.signal == 0 ? ending.result : fmt::format("ended by {}", ending.signal);
}

bool isReadable(const StopSignals& signals) {
  pollfd readable = {.fd = signals.descriptor(), .events = POLLIN, .revents = 0};
  return ::poll(&readable, 1, 0) == 1;
}

TEST(StopSignals, AreReadInsteadOfEndingTheProcess) {
  EXPECT_EQ(inAnotherProcess([] {
              const StopSignals signals;
              std::string told = isReadable(signals) ? "readable" : "none";
              told += fmt::format(" {}", signals.take());
              for (const int number : {SIGTERM, SIGINT}) {
                ::raise(number);
                told += isReadable(signals) ? ", readable" : ", none";
                told += fmt::format(" {}", signals.take());
              }
              return told + (isReadable(signals) ? ", readable" : ", none");
            }),
            "none 0, readable 15, readable 2, none");
}

TEST(StopSignals, AreKeptAlsoWhenTheyAreIgnored) {
  EXPECT_EQ(inAnotherProcess([] {
              ::signal(SIGINT, SIG_IGN);
              const StopSignals signals;
              ::raise(SIGINT);
              return fmt::format("{}", signals.take());
            }),
            "2");
}

TEST(StopSignals, AreKeptOnceEach) {
  EXPECT_EQ(inAnotherProcess([] {
              const StopSignals signals;
              for (const int number : {SIGTERM, SIGINT, SIGTERM}) ::raise(number);
              int sum = 0;
              for (int i = 0; i < 2; ++i) sum += signals.take();
              return fmt::format("{}, then {}", sum, signals.take());
            }),
            "17, then 0");
}

TEST(StopSignals, EndTheProcessAgainOnceTheyAreLetThrough) {
  EXPECT_EQ(inAnotherProcess([]() -> std::string {
              const StopSignals signals;
              ::raise(SIGTERM);
              signals.letThrough();
              return "goes on";
            }),
            fmt::format("ended by {}", SIGTERM));
}

TEST(StopSignals, AreOthersAsWellWhereTheseAreWanted) {
  EXPECT_EQ(inAnotherProcess([] {
              const StopSignals signals{SIGHUP};
              ::raise(SIGHUP);
              return std::to_string(signals.take());
            }),
            std::to_string(SIGHUP));
}

TEST(StopSignals, AreNoOthers) {
  EXPECT_EQ(inAnotherProcess([]() -> std::string {
              const StopSignals signals;
              ::raise(SIGHUP);
              return "goes on";
            }),
            fmt::format("ended by {}", SIGHUP));
}

}  // namespace
}  // namespace moxsupply::testing
