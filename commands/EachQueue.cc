#include "commands/EachQueue.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "commands/Command.h"
#include "system/ManyApart.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

constexpr std::size_t kMostAtOnce = 16;

constexpr std::string_view kGood = "good ";
constexpr std::string_view kBad = "bad ";

QueueOutcome outcomeIn(const std::optional<std::string>& result) {
  if (!result) return {translated("it did not come to an end"), false};
  const bool isGood = result->starts_with(kGood);
  return {result->substr(isGood ? kGood.size() : kBad.size()), isGood};
}

}  // namespace

int doForEachQueue(std::string_view command, const std::vector<std::string>& queues,
                   std::chrono::seconds patience,
                   const std::function<void(const std::string&, const TellOutcome&)>& work) {
  int exitStatus = EXIT_SUCCESS;
  doApart({.count = queues.size(),
           .atOnce = kMostAtOnce,
           .patience = patience,
           .work =
               [&](std::size_t place, const Apart::Finish& finish) {
                 work(queues[place], [&finish](const QueueOutcome& outcome) {
                   finish(fmt::format("{}{}", outcome.isGood ? kGood : kBad, outcome.what));
                 });
               },
           .take =
               [&](std::size_t place, const std::optional<std::string>& result) {
                 const auto outcome = outcomeIn(result);
                 if (!outcome.isGood) exitStatus = kExitFailed;
                 const int printed = print(
                     command, fmt::format("{}: {}\n", forTerminal(queues[place]), outcome.what));
                 exitStatus = std::max(exitStatus, printed);
                 return printed == 0;
               }});
  return exitStatus;
}

}  // namespace moxsupply
