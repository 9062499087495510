#include "links/FilterQuery.h"

#include <cstdio>
#include <optional>

#include "links/RecordedLink.h"
#include "renderings/ReportJson.h"
#include "values/Dictionary.h"

namespace moxsupply {

Answer askPrinterOnStandardOutput(MoxFilter& filter, Recording* recording) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::optional<RecordedLink> link;
  if (recording != nullptr) link.emplace(*recording);
  Dictionary report;
  const Status status = filter.inkStatusQuery(&report);
  return {status, reportAsJson(status, report)};
}

}  // namespace moxsupply
