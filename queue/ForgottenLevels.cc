#include "queue/ForgottenLevels.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "links/DeviceUri.h"
#include "queue/PpdEdit.h"
#include "queue/Refresh.h"
#include "renderings/MarkerAttributes.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::chrono::seconds kPatience(5);

bool isForgotten(const PrintQueue& queue) {
  return queue.markerMessage.empty() &&
         std::ranges::all_of(queue.markerLevels, [](int level) { return level == kNoCartridge; });
}

// Whether a job of the queue would reach its filter, and no paper.
Result<> canForget(const OpenQueue& open) {
  const PrintQueue& queue = open.queue;
  if (open.ppd.empty()) return failure("the queue has no driver any more");
  if (queue.isStopped) return failure("the queue is stopped");
  if (!queue.acceptsJobs) return failure("the queue takes no jobs");
  if (!bringsAnswersBack(queue.deviceUri)) {
    return failure(
        fmt::format("its printer is reached over {}", forTerminal(linkOf(queue.deviceUri))));
  }
  return {};
}

// The queue's driver is one that lets it forget.
bool forgets(OpenQueue& open) {
  constexpr int kMostTries = 2;  // the first may be a report that was under way already
  for (int tries = 0; tries < kMostTries; ++tries) {
    if (!report(open.server, open.queue.name, kPatience)) return false;
    const auto after = open.server.queue(open.queue.name);
    if (after && isForgotten(*after)) return true;
  }
  return false;
}

}  // namespace

Result<> forgetLevels(OpenQueue& open) {
  if (isForgotten(open.queue)) return {};
  if (auto can = canForget(open); !can) return can;
  const std::string ppd = withNoSupplyReports(open.ppd, open.queue.markerLevels.size());
  if (auto set = open.server.setPpd(open.queue.name, ppd); !set) return set;
  if (forgets(open)) return {};
  return failure("the queue is busy");
}

}  // namespace moxsupply
