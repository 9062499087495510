#include "links/AskAsFilter.h"

#include <cstdio>
#include <optional>

#include "links/RecordedLink.h"

namespace moxsupply {

Report askAsFilter(MoxFilter& filter, Recording* recording) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::optional<RecordedLink> link;
  if (recording != nullptr) link.emplace(*recording);
  Report report{};
  report.status = filter.inkStatusQuery(&report.dictionary);
  return report;
}

}  // namespace moxsupply
