// To be loaded before the C library (LD_PRELOAD): says when main begins; then it counts the
// allocations of a run, all its processes together, and lets one fail.
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>

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
  void* memory = ::mmap(nullptr, sizeof(FailurePoint), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  return memory == MAP_FAILED ? nullptr : static_cast<FailurePoint*>(memory);
}

FailurePoint* thePoint = nullptr;

// A library that dies without memory is no mistake of ours: shows whose code it was.
void tellWhereItDied(int /*signal*/) noexcept {
  constexpr int kMost = 16;
  std::array<void*, kMost> places{};
  const int count = ::backtrace(places.data(), kMost);
  ::backtrace_symbols_fd(places.data(), count, STDERR_FILENO);
}

// From here on: without memory for the static objects of a library, nobody gets as far as main.
void begin() noexcept {
  void* place = nullptr;
  ::backtrace(&place, 1);  // loads what it needs
  thePoint = mapped();
  struct sigaction action {};
  action.sa_handler = &tellWhereItDied;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  ::sigaction(SIGSEGV, &action, nullptr);
  ::sigaction(SIGABRT, &action, nullptr);
}

using Main = int(int, char**, char**);
Main* theMain = nullptr;

int beginThenMain(int count, char** arguments, char** environment) {
  ::syscall(SYS_prctl, moxsupply::testing::kMainBegins, 0, 0, 0, 0);
  begin();
  return theMain(count, arguments, environment);
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

// The C library's, with a main around main.
__attribute__((visibility("default"))) int
__libc_start_main(  // NOLINT(*-reserved-identifier,cert-*)
    Main* main, int count, char** arguments, void (*init)(), void (*fini)(), void (*loaderFini)(),
    void* stackEnd) {
  using Start = int(Main*, int, char**, void (*)(), void (*)(), void (*)(), void*);
  theMain = main;
  auto* start = reinterpret_cast<Start*>(::dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(&beginThenMain, count, arguments, init, fini, loaderFini, stackEnd);
}

__attribute__((visibility("default"))) void* malloc(std::size_t size) noexcept {
  return fails() ? nullptr : __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t nmemb, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_calloc(nmemb, size);
}

__attribute__((visibility("default"))) void* realloc(void* ptr, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_realloc(ptr, size);
}

__attribute__((visibility("default"))) void* memalign(std::size_t alignment,
                                                      std::size_t size) noexcept {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment,
                                                           std::size_t size) noexcept {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) int posix_memalign(void** memptr, std::size_t alignment,
                                                          std::size_t size) noexcept {
  void* memory = fails() ? nullptr : __libc_memalign(alignment, size);
  if (memory == nullptr) return ENOMEM;
  *memptr = memory;
  return 0;
}

}  // extern "C"
