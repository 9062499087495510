// How long a query can take at most, in reads: each waits at most the timeout for its first byte,
// so the reads are the bound. And what a query leaves behind, which is nothing.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <memory>

#include "front/MoxFilter.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/Hex.h"
#include "tests/support/Processes.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kBytesOfAttempt = 65'536;
constexpr std::size_t kTooMany = 7;  // bytes that no read is left for

std::int32_t statusOfQuery(const char* printerType, std::uint32_t timeout) {
  const auto filter = MoxFilter::initWithPrinterType(printerType, "usb", timeout);
  Dictionary report;
  return static_cast<std::int32_t>(filter->inkStatusQuery(&report));
}

// Queries a printer that sends these bytes and no two of them together. Returns the status, and how
// many bytes no read was left for.
std::string queryByteByByte(const char* printerType, const Bytes& bytes) {
  FilterProcess filter(BackChannel::kMessages, [&] {
    const std::int32_t status = statusOfQuery(printerType, 1);
    return fmt::format("{}, {} left", status, restOfBackChannel().size());
  });
  for (const std::uint8_t& byte : bytes) filter.send({&byte, 1});
  filter.endBackChannel();
  return filter.wait().result;
}

// Bytes that begin no packet, and `end`, as many as are taken for one reply.
Bytes attemptThatEndsWith(const Bytes& end) {
  return joined({repeated('x', kBytesOfAttempt - end.size()), end});
}

Bytes times(std::size_t count, const Bytes& bytes) {
  Bytes all;
  for (std::size_t i = 0; i < count; ++i) all.insert(all.end(), bytes.begin(), bytes.end());
  return all;
}

TEST(LongestQuery, OfAnInkjetHasFourTimes65536Reads) {
  const Bytes bytes = times(4, attemptThatEndsWith({}));
  EXPECT_EQ(queryByteByByte("Inkjet", joined({bytes, repeated('x', kTooMany)})), "-6, 7 left");
}

TEST(LongestQuery, OfALaserHasFourTimes65536ReadsWhenItsFirstQueryIsNotAnswered) {
  const Bytes bytes = times(4, attemptThatEndsWith({}));
  EXPECT_EQ(queryByteByByte("Laser", joined({bytes, repeated('x', kTooMany)})), "-6, 7 left");
}

// The fourth reply to the first query is its answer, if only just: it ends within its head, of
// which the last byte still stands in the buffer from the third. So there is a second query.
TEST(LongestQuery, OfALaserHasEightTimes65536Reads) {
  const Bytes bytes =
      joined({times(2, attemptThatEndsWith({})), attemptThatEndsWith(hex("A5 A5 A5 A5 A5 A5 01")),
              attemptThatEndsWith(hex("A5 A5 A5 A5 E0 21")), times(4, attemptThatEndsWith({})),
              repeated('x', kTooMany)});
  ASSERT_EQ(bytes.size(), 524'288 + kTooMany);
  EXPECT_EQ(queryByteByByte("Laser", bytes), "-4, 7 left");
}

// ---- 1,000 queries.

bool hasChildren() { return ::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD; }

// Plays an exchange so many times to queries of one process. Returns what these leave behind.
std::string leftAfterQueries(const Golden& exchange, int count) {
  const bool isLaser = exchange.kind == Golden::Kind::kLaser;
  FilterProcess filter(BackChannel::kSocketPair, [&] {
    const std::size_t before = openDescriptors();
    int failed = 0;
    for (int i = 0; i < count; ++i)
      failed += statusOfQuery(isLaser ? "Laser" : "Inkjet", 8) == 0 ? 0 : 1;
    const std::size_t after = openDescriptors();
    return fmt::format("{} failed, {} descriptors, {}", failed,
                       static_cast<int>(after) - static_cast<int>(before),
                       hasChildren() ? "a child" : "no child");
  });
  for (int i = 0; i < count && filter.isRunning(); ++i) {
    for (const Golden::Step& step : exchange.steps) {
      if (step.what == Golden::What::kRequest) {
        filter.receive(step.bytes().size());
      } else {
        filter.send(step.bytes());
      }
    }
  }
  return filter.wait().result;
}

TEST(AThousandQueries, LeaveNoDescriptorAndNoProcess) {
  for (const char* name : {"laser-page-counts-fill-levels", "inkjet-lantern"}) {
    Golden exchange = readGolden(name);
    if (exchange.steps[0].what != Golden::What::kRequest) {
      const bool isLaser = exchange.kind == Golden::Kind::kLaser;
      ASSERT_FALSE(isLaser) << name << " does not list its requests";
      exchange.steps.insert(
          exchange.steps.begin(),
          {Golden::What::kRequest, {hex("A5 00 05 50 E0 81 00 FF")}, std::nullopt});
    }
    EXPECT_EQ(leftAfterQueries(exchange, 1000), "0 failed, 0 descriptors, no child") << name;
  }
}

}  // namespace
}  // namespace moxsupply::testing
