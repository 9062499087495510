#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <utility>

#include "system/FileDescriptor.h"
#include "system/Process.h"

namespace moxsupply {

// Work in a process of its own, a copy of this one: for what takes descriptors of which a process
// has one pair only, and for what can be ended only with its process. To be begun while this
// process has one thread.
class Apart {
 public:
  using Clock = std::chrono::steady_clock;

  // Hands over what came out of the work, and ends its process: it does not return. Any of its
  // threads may call it.
  using Finish = std::function<void(std::string_view result)>;

  // The errno of what went wrong, where it cannot be begun.
  [[nodiscard]] static tl::expected<Apart, int> begin(
      const std::function<void(const Finish&)>& work);

  // Readable once there is a result, or there will be none.
  [[nodiscard]] int descriptor() const { return mResult.get(); }

  // What came out; nothing when nothing has by then. Ends the process.
  [[nodiscard]] std::optional<std::string> resultBy(Clock::time_point end);

 private:
  Apart(FileDescriptor result, Process process)
      : mResult(std::move(result)), mProcess(std::move(process)) {}

  FileDescriptor mResult;
  Process mProcess;
};

}  // namespace moxsupply
