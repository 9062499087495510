// What `moxsupply report` costs on four golden queries beside a bare program that makes the same
// calls: instructions, as callgrind counts them, and the most memory that it had at once. A line a
// query on standard output, numbers only:
//   NAME  INSTRUCTIONS-BARE-C  -BARE-C++  -REPORT  KIB-BARE-C  -BARE-C++  -REPORT

#include <fmt/core.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/RecordedCalls.h"
#include "front/MoxFilter.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply {
namespace {

using testing::BackChannel;
using testing::Bytes;
using testing::FilterProcess;
using testing::Golden;

using Words = std::vector<std::string>;

constexpr std::array kQueries = {"laser-mono-toner", "laser-dot-counts-fill-levels",
                                 "inkjet-lantern", "inkjet-quarry"};

[[noreturn]] void fail(const std::string& what) {
  fmt::print(stderr, "report-costs: {}\n", what);
  std::exit(EXIT_FAILURE);
}

const char* printerType(const Golden& golden) {
  return golden.kind == Golden::Kind::kLaser ? "Laser" : "Inkjet";
}

// What a query of this printer does, in a filter's place.
Words callsOf(const Golden& golden, const Bytes& replies) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [&] {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const auto calls = bench::recordCalls([&] {
      Dictionary report;
      const auto query = MoxFilter::initWithPrinterType(printerType(golden), golden.transport, 8);
      static_cast<void>(query->inkStatusQuery(&report));
    });
    return bench::asArguments(calls);
  });
  filter.send(replies);
  std::istringstream calls(filter.wait().result);
  Words words;
  for (std::string word; calls >> word;) words.push_back(word);
  return words;
}

// Runs a command in a filter's place, with these replies on its back channel. The commands have no
// environment (env -i): the loader and the C library look at it, and would count differently.
void run(const Words& command, const Bytes& replies) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, command, {}, replies);
  const auto ending = filter.wait();
  if (ending.exitStatus != 0) fail(fmt::format("{}: {}", command.back(), ending.result));
}

// The number behind a word, in a file.
long numberAfter(const std::string& file, const std::string& word) {
  std::ifstream text(file);
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with(word)) return std::stol(line.substr(word.size()));
  }
  fail(fmt::format("{} has no line with \"{}\"", file, word));
}

Words with(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

long instructionsOf(const Words& command, const Bytes& replies, const std::string& folder) {
  const std::string counts = folder + "/callgrind";
  run(with({"env", "-i", "valgrind", "-q", "--tool=callgrind", "--callgrind-out-file=" + counts},
           command),
      replies);
  return numberAfter(counts, "summary: ");
}

long peakKibOf(const Words& command, const Bytes& replies, const std::string& folder) {
  const std::string measured = folder + "/memory";
  run(with({"env", "-i", "/usr/bin/time", "--format=peak %M", "--output=" + measured}, command),
      replies);
  return numberAfter(measured, "peak ");
}

void measure(const std::string& name) {
  const testing::TemporaryFolder folder;
  const Golden golden = testing::readGolden(name);
  const Bytes replies = golden.all(Golden::What::kReply);
  const Words calls = callsOf(golden, replies);
  const std::array<Words, 3> commands = {
      with({BARE_CALLS}, calls), with({BARE_CALLS_CXX}, calls),
      Words{MOXSUPPLY, "report", "--printer-type", printerType(golden), "--transport",
            golden.transport, "--timeout", "8", "--output", "/dev/null"}};
  std::string line = name;
  for (const Words& command : commands) {
    line += fmt::format(" {}", instructionsOf(command, replies, folder.path()));
  }
  for (const Words& command : commands) {
    line += fmt::format(" {}", peakKibOf(command, replies, folder.path()));
  }
  fmt::print("{}\n", line);
}

}  // namespace
}  // namespace moxsupply

int main() try {
  for (const char* name : moxsupply::kQueries) moxsupply::measure(name);
  return EXIT_SUCCESS;
} catch (const std::exception& error) {
  std::fprintf(stderr, "report-costs: %s\n", error.what());
  return EXIT_FAILURE;
}
