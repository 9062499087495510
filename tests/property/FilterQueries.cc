#include "tests/property/FilterQueries.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "simulator/Answer.h"
#include "tests/support/FilterProcess.h"

namespace moxsupply::testing {

namespace {

using simulator::Request;

// What the child found out; as text, for the way from one process to the other.
struct Finding {
  std::uint64_t index = 0;  // of the printer
  std::string wrong;

  static Finding parse(const std::string& text) {
    std::size_t end = 0;
    const std::uint64_t index = std::stoull(text, &end);
    return {.index = index, .wrong = text.substr(end + 1)};
  }
  [[nodiscard]] std::string text() const {
    constexpr std::size_t kMost = 30'000;  // the child must be rid of it in one go
    return fmt::format("{} {}", index, wrong.substr(0, kMost));
  }
};

// The next request of the filter; nothing when it ends or sends something else.
std::optional<Request> nextRequest(FilterProcess& filter) {
  simulator::RequestReader reader;
  for (Bytes next = filter.receive(1); !next.empty(); next = filter.receive(1)) {
    const auto findings = reader.read(next);
    if (findings.empty() && !reader.holdsJunk()) continue;
    if (findings.size() != 1) return std::nullopt;
    const auto* request = std::get_if<Request>(&findings.front());
    return request == nullptr ? std::nullopt : std::optional(*request);
  }
  return std::nullopt;
}

// Answers as the printer. Returns whether just the requests came that were expected.
bool answerRequests(FilterProcess& filter, const simulator::Model& model,
                    const std::vector<Request>& requests) {
  for (const Request expected : requests) {
    if (nextRequest(filter) != expected) return false;
    std::vector<Bytes> pieces;
    for (auto& write : simulator::answerTo(model, expected)) {
      pieces.push_back(std::move(write.bytes));
    }
    filter.sendInPieces(pieces);
  }
  return true;
}

}  // namespace

void queryEachPrinter(Draw kind, const Requests& requests, const Check& check) {
  const PrinterRange printers = PrinterRange::fromEnvironment().few();
  tell(printers);
  FilterProcess filter(BackChannel::kNonBlockingPipe, [&]() -> std::string {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    for (std::uint64_t index = printers.begin; index < printers.end; ++index) {
      const std::string wrong = check(printers.draw(kind, index));
      if (!wrong.empty()) return Finding{.index = index, .wrong = wrong}.text();
    }
    return {};
  });

  std::optional<DrawnPrinter> misunderstood;
  for (std::uint64_t index = printers.begin; index < printers.end && !misunderstood; ++index) {
    DrawnPrinter printer = printers.draw(kind, index);
    if (!answerRequests(filter, printer.model, requests(printer))) misunderstood = printer;
  }
  filter.endBackChannel();
  const auto ending = filter.wait();
  if (!ending.result.empty()) {
    const Finding finding = Finding::parse(ending.result);
    return failOver(printers, printers.draw(kind, finding.index), finding.wrong);
  }
  if (misunderstood) return failOver(printers, *misunderstood, "another request was expected");
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(hexText(ending.written), "");
}

}  // namespace moxsupply::testing
