#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "simulator/Answer.h"
#include "simulator/Printer.h"
#include "simulator/Requests.h"
#include "text/Problem.h"
#include "transcript/Transcript.h"

namespace moxsupply::simulator {

// Whether a replay takes as long as what was recorded took.
enum class Pauses : bool { kNone, kAsRecorded };

// The printer of a transcript again: answers each request with the bytes that followed it there,
// cut as they were, and hangs up where it did.
//
// What is asked on a connection is looked for behind what was asked there last, and then in all
// queries of the transcript, from the first on. To a request that is not in it the printer is
// silent. Bytes that came before the first request come with its answer.
class Replay {
 public:
  // Refuses a transcript that holds no request that a printer knows.
  [[nodiscard]] static Result<Replay> of(const transcript::Transcript& transcript,
                                         Pauses pauses = Pauses::kAsRecorded);

  // Answers of one connection.
  [[nodiscard]] Answers conversation() const;

 private:
  struct Step {
    Request request;
    std::vector<Write> answer;
  };
  using Script = std::vector<Step>;  // one query

  explicit Replay(std::vector<Script> scripts)
      : mScripts(std::make_shared<const std::vector<Script>>(std::move(scripts))) {}

  static Script scriptOf(const transcript::Session& query, Pauses pauses);

  std::shared_ptr<const std::vector<Script>> mScripts;
};

}  // namespace moxsupply::simulator
