#pragma once

#include <optional>
#include <string>
#include <vector>

#include "filter/CommandFile.h"
#include "queue/FilterLine.h"
#include "text/Problem.h"

namespace moxsupply {

// The command filter that answered a queue's commands before ours was put in its place. It is run
// as the print server would have run it: with the arguments, the environment and the descriptors of
// this process.
class FormerFilter {
 public:
  // That of the queue's PPD file; nothing where there was none.
  [[nodiscard]] static std::optional<FormerFilter> of(const std::string& ppdPath);

  // Lets it take the place of this process, and so answer the whole job. Returns only what keeps
  // it from that. `arguments`: those of this process; `commands` are for one that reads them from
  // standard input, since this process has done so.
  [[nodiscard]] Problem become(char** arguments,
                               const std::vector<CommandFile::Command>& commands) const;

  // Lets it answer these commands, and waits for its end. Returns whether it succeeded.
  [[nodiscard]] Result<bool> answer(char** arguments,
                                    const std::vector<CommandFile::Command>& commands) const;

 private:
  explicit FormerFilter(FilterLine line);

  [[nodiscard]] Result<> isTrusted() const;
  [[nodiscard]] Problem cannotRun(const std::string& why) const;

  FilterLine mLine;
  std::string mPath;
};

}  // namespace moxsupply
