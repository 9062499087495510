// To be loaded before the C library (LD_PRELOAD): counts the allocations of a run, all its
// processes together, and lets one fail.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "tests/failing/FailurePoint.h"

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the C library's own
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace {

using moxsupply::testing::FailurePoint;

FailurePoint* mapped() noexcept {
  const char* path = std::getenv(moxsupply::testing::kFailurePointVariable);
  const int file = path == nullptr ? -1 : ::open(path, O_RDWR | O_CLOEXEC);
  if (file < 0) return nullptr;
  void* memory =
      ::mmap(nullptr, sizeof(FailurePoint), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  return memory == MAP_FAILED ? nullptr : static_cast<FailurePoint*>(memory);
}

FailurePoint* thePoint = nullptr;

// The file of the code at an address.
const char* fileWith(const void* address) noexcept {
  Dl_info found{};
  return ::dladdr(address, &found) == 0 || found.dli_fname == nullptr ? "?" : found.dli_fname;
}

// A library that dies without memory is no mistake of ours: says whose code it was. The C library's
// functions for strings are told apart from who gave them a null pointer: he is on top of the stack.
void tellWhereItDied(int /*signal*/, siginfo_t* /*info*/, void* context) noexcept {
  const auto* registers = &static_cast<const ucontext_t*>(context)->uc_mcontext.gregs[0];
  const char* file = fileWith(reinterpret_cast<const void*>(registers[REG_RIP]));
  if (std::strstr(file, "/libc.so") != nullptr) {
    file = fileWith(*reinterpret_cast<void* const*>(registers[REG_RSP]));
  }
  for (const char* text : {"with-failure: died in ", file, "\n"}) {
    static_cast<void>(::write(STDERR_FILENO, text, std::strlen(text)) > 0);
  }
}

// Allocations begin before constructors do.
__attribute__((constructor)) void begin() noexcept {
  thePoint = mapped();
  struct sigaction action {};
  action.sa_sigaction = &tellWhereItDied;
  action.sa_flags = SA_SIGINFO | static_cast<int>(SA_RESETHAND);
  ::sigaction(SIGSEGV, &action, nullptr);
}

}  // namespace

// A place for a debugger's breakpoint, with a name of its own.
extern "C" __attribute__((noinline)) void moxsupplyAllocationFails() noexcept { errno = ENOMEM; }

namespace {

bool fails() noexcept {
  if (thePoint == nullptr || !thePoint->isReached()) return false;
  moxsupplyAllocationFails();
  return true;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(std::size_t size) noexcept {
  return fails() ? nullptr : __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_realloc(block, size);
}

__attribute__((visibility("default"))) void* memalign(std::size_t alignment,
                                                      std::size_t size) noexcept {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment,
                                                           std::size_t size) noexcept {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) int posix_memalign(void** block, std::size_t alignment,
                                                          std::size_t size) noexcept {
  void* memory = fails() ? nullptr : __libc_memalign(alignment, size);
  if (memory == nullptr) return ENOMEM;
  *block = memory;
  return 0;
}

}  // extern "C"
