#include "simulator/Replay.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <span>
#include <utility>
#include <variant>

namespace moxsupply::simulator {

using transcript::Event;
using transcript::Operation;

Result<Replay> Replay::of(const transcript::Transcript& transcript, Pauses pauses) {
  std::vector<Script> scripts;
  for (const transcript::Session& query : transcript) {
    if (Script script = scriptOf(query, pauses); !script.empty()) {
      scripts.push_back(std::move(script));
    }
  }
  if (scripts.empty()) return misuse("the transcript holds no request that a printer knows");
  return Replay(std::move(scripts));
}

Replay::Script Replay::scriptOf(const transcript::Session& query, Pauses pauses) {
  Script script;
  RequestReader reader;
  std::vector<Write> early;
  for (const Operation& operation : query.operations) {
    if (operation.event == Event::kSent) {
      for (const auto& finding : reader.read(operation.bytes)) {
        const auto* request = std::get_if<Request>(&finding);
        if (request != nullptr) script.push_back({*request, std::exchange(early, {})});
      }
    } else if (operation.event != Event::kFailed) {
      const bool hangsUp = operation.event == Event::kEnded;
      auto& writes = script.empty() ? early : script.back().answer;
      writes.push_back(
          {.pause = pauses == Pauses::kNone ? std::chrono::milliseconds(0) : operation.pause,
           .bytes = operation.bytes,
           .then = hangsUp ? Then::kHangUp : Then::kNext});
    }
  }
  return script;
}

Answers Replay::conversation() const {
  // What is left of the script that this connection follows.
  std::span<const Step> rest;
  return [scripts = mScripts, rest](Request request) mutable -> std::vector<Write> {
    const auto follow = [&](std::span<const Step> steps) {
      const auto step = std::ranges::find(steps, request, &Step::request);
      if (step == steps.end()) return false;
      rest = steps.subspan(static_cast<std::size_t>(std::distance(steps.begin(), step)));
      return true;
    };
    const bool isKnown = follow(rest) || std::ranges::any_of(*scripts, [&](const Script& script) {
                           return follow(script);
                         });
    if (!isKnown) return {};
    const Step& step = rest.front();
    rest = rest.subspan(1);
    return step.answer;
  };
}

}  // namespace moxsupply::simulator
