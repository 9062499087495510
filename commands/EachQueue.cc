#include "commands/EachQueue.h"

#include <fmt/format.h>

#include <cstdlib>
#include <deque>
#include <optional>
#include <utility>

#include "commands/Command.h"
#include "system/Apart.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::size_t kMostAtOnce = 8;

constexpr std::string_view kGood = "good ";
constexpr std::string_view kBad = "bad ";

QueueOutcome outcomeIn(const std::optional<std::string>& result) {
  if (!result) return {"it did not come to an end", false};
  const bool isGood = result->starts_with(kGood);
  return {result->substr(isGood ? kGood.size() : kBad.size()), isGood};
}

struct Begun {
  std::optional<Apart> work;  // nothing where it could not be begun
  Apart::Clock::time_point end;
};

}  // namespace

int doForEachQueue(std::string_view command, const std::vector<std::string>& queues,
                   std::chrono::seconds patience,
                   const std::function<void(const std::string&, const TellOutcome&)>& work) {
  std::deque<Begun> begun;
  int exitStatus = EXIT_SUCCESS;
  auto next = queues.begin();
  for (const std::string& queue : queues) {
    for (; next != queues.end() && begun.size() < kMostAtOnce; ++next) {
      auto apart = Apart::begin([&](const Apart::Finish& finish) {
        work(*next, [&finish](const QueueOutcome& outcome) {
          finish(fmt::format("{}{}", outcome.isGood ? kGood : kBad, outcome.what));
        });
      });
      begun.push_back({apart ? std::optional(*std::move(apart)) : std::nullopt,
                       Apart::Clock::now() + patience});
    }
    Begun first = std::move(begun.front());
    begun.pop_front();
    const auto outcome =
        outcomeIn(first.work ? first.work->resultBy(first.end) : std::optional<std::string>());
    if (!outcome.isGood) exitStatus = kExitFailed;
    const int printed = print(command, fmt::format("{}: {}\n", forTerminal(queue), outcome.what));
    if (printed != 0) return printed;
  }
  return exitStatus;
}

}  // namespace moxsupply
