#include "host/Query.h"

#include <cstdio>

#include "host/ReportJson.h"
#include "values/Dictionary.h"

namespace moxsupply {

Answer askPrinterOnStandardOutput(MoxFilter& filter) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  Dictionary report;
  const Status status = filter.inkStatusQuery(&report);
  return {status, reportAsJson(status, report)};
}

}  // namespace moxsupply
