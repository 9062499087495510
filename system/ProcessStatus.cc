#include "system/ProcessStatus.h"

#include <algorithm>
#include <sstream>
#include <string>

#include "system/ReadFile.h"

namespace moxsupply {

std::optional<ProcessStatus> processStatus(pid_t process) {
  constexpr std::size_t kLongest = 4096;
  const auto stat = readFile("/proc/" + std::to_string(process) + "/stat", kLongest);
  if (!stat) return std::nullopt;
  // The second field is a name in parentheses that may hold anything. Behind it stand the state and
  // the parent, the third and fourth field; the start time is the 22nd.
  std::istringstream fields(stat->substr(std::min(stat->rfind(')') + 1, stat->size())));
  ProcessStatus status;
  std::string skipped;
  fields >> skipped >> status.parent;
  for (int field = 5; field < 22; ++field) fields >> skipped;
  if (!(fields >> status.startTime)) return std::nullopt;
  return status;
}

}  // namespace moxsupply
