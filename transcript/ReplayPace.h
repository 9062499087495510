#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "transcript/Transcript.h"

namespace moxsupply::transcript {

// How to play a query again without waiting as long as it took, and to the same end.
//
// What matters of a pause is how many reads timed out in it. Without such pauses nothing need be
// waited for. With them, reads get the shortest timeout there is, one second, and a pause in which
// k reads timed out becomes k and a half seconds.
class ReplayPace {
 public:
  explicit ReplayPace(const Session& query)
      : mRecordedTimeout(std::chrono::seconds(query.timeout)),
        mHasSilence(std::ranges::any_of(query.operations, [this](const Operation& operation) {
          return silentReads(operation) > 0;
        })) {}

  // Seconds for each single read.
  [[nodiscard]] std::uint32_t timeout() const { return mHasSilence ? 1 : kPatience; }

  // Whether a read times out before the last operation.
  [[nodiscard]] bool hasSilence() const { return mHasSilence; }

  // How long to wait before bytes come from the printer, or its end.
  [[nodiscard]] std::chrono::milliseconds pauseBefore(const Operation& operation) const {
    const auto reads = silentReads(operation);
    return reads == 0 ? std::chrono::milliseconds(0)
                      : std::chrono::milliseconds(1000 * reads + 500);
  }

 private:
  // Long enough for a busy machine. Nobody waits for it: after the last operation the link ends.
  static constexpr std::uint32_t kPatience = 20;
  // A query gives up after 4, then it asks the next question or is over.
  static constexpr std::int64_t kMostSilentReads = 8;

  // A timeout of zero counts none: such a query takes what is there and never waits.
  [[nodiscard]] std::int64_t silentReads(const Operation& operation) const {
    if (mRecordedTimeout.count() == 0) return 0;
    return std::min<std::int64_t>(operation.pause / mRecordedTimeout, kMostSilentReads);
  }

  std::chrono::milliseconds mRecordedTimeout;
  bool mHasSilence;
};

}  // namespace moxsupply::transcript
