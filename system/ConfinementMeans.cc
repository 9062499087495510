#include "system/ConfinementMeans.h"

#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace moxsupply {

ConfinementMeans ConfinementMeans::ofThisKernel() {
  // Asked without a filter, a kernel that has it says that there is none at this address.
  const auto seccomp = ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr);
  return {seccomp == -1 && errno == EFAULT, landlockVersion() >= 1};
}

std::int64_t landlockVersion() {
  return ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
}

}  // namespace moxsupply
