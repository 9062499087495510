#include "system/Confinement.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <system_error>
#include <tuple>

#include "system/ConfinementMeans.h"
#include "system/MemoryFile.h"

namespace moxsupply {

namespace {

// Allowed whatever their arguments.
constexpr auto kCalls = std::to_array<int>(
    {// what is open
     SCMP_SYS(read), SCMP_SYS(readv), SCMP_SYS(write), SCMP_SYS(writev), SCMP_SYS(recvmsg),
     SCMP_SYS(close), SCMP_SYS(dup), SCMP_SYS(dup2), SCMP_SYS(dup3), SCMP_SYS(pipe2),
     // waiting, and what time it is
     SCMP_SYS(poll), SCMP_SYS(ppoll), SCMP_SYS(select), SCMP_SYS(_newselect), SCMP_SYS(pselect6),
     SCMP_SYS(nanosleep), SCMP_SYS(clock_nanosleep), SCMP_SYS(clock_gettime),
     SCMP_SYS(gettimeofday), SCMP_SYS(time), SCMP_SYS(restart_syscall), SCMP_SYS(ppoll_time64),
     SCMP_SYS(pselect6_time64), SCMP_SYS(clock_gettime64), SCMP_SYS(clock_nanosleep_time64),
     // memory
     SCMP_SYS(brk), SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(madvise), SCMP_SYS(getrandom),
     // threads, and signals that they keep from themselves
     SCMP_SYS(futex), SCMP_SYS(futex_time64), SCMP_SYS(set_robust_list), SCMP_SYS(rseq),
     SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity), SCMP_SYS(gettid), SCMP_SYS(getpid),
     SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigpending), SCMP_SYS(rt_sigtimedwait),
     SCMP_SYS(rt_sigtimedwait_time64), SCMP_SYS(rt_sigreturn), SCMP_SYS(sigreturn),
     // the end
     SCMP_SYS(exit), SCMP_SYS(exit_group)});

// F_SETOWN among the others would have the kernel send signals.
constexpr auto kFcntls =
    std::to_array<int>({F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL, F_SETFL});

struct FreeFilter {
  void operator()(void* filter) const { ::seccomp_release(filter); }
};
using Filter = std::unique_ptr<void, FreeFilter>;

constexpr std::uint64_t kAllBits = ~std::uint64_t{0};

// Without one of its rules, a filter would refuse for good what a query cannot do without.
void add(const Filter& filter, std::uint32_t action, int call,
         std::span<const scmp_arg_cmp> conditions = {}) {
  const int error = ::seccomp_rule_add_array(
      filter.get(), action, call, static_cast<unsigned>(conditions.size()), conditions.data());
  if (error == -ENOMEM) throw std::bad_alloc();
}

// Where these bits of an argument, counted from 0, have this value.
void allowWhere(const Filter& filter, int call, unsigned argument, std::uint64_t bits,
                std::uint64_t value) {
  const scmp_arg_cmp condition = {
      .arg = argument, .op = SCMP_CMP_MASKED_EQ, .datum_a = bits, .datum_b = value};
  add(filter, SCMP_ACT_ALLOW, call, {&condition, 1});
}

void allowWithoutCode(const Filter& filter, int call) { allowWhere(filter, call, 2, PROT_EXEC, 0); }

// (A call that this machine's kind has not is left out.)
void allowAll(const Filter& filter) {
  const std::uint32_t machine = ::seccomp_arch_native();
  for (const int call : kCalls) add(filter, SCMP_ACT_ALLOW, call);
  for (const int call : {SCMP_SYS(fcntl), SCMP_SYS(fcntl64)}) {
    for (const int command : kFcntls) {
      allowWhere(filter, call, 1, kAllBits, static_cast<std::uint64_t>(command));
    }
  }
  allowWhere(filter, SCMP_SYS(ioctl), 1, kAllBits, FIONREAD);
  for (const int call : {SCMP_SYS(mmap2), SCMP_SYS(mprotect)}) allowWithoutCode(filter, call);
  // What the mmap of i386 and of s390x is to do stands in memory, where no filter can look. i386
  // has the other one; s390x cannot do without.
  if (machine == SCMP_ARCH_S390X) {
    add(filter, SCMP_ACT_ALLOW, SCMP_SYS(mmap));
  } else if (machine != SCMP_ARCH_X86) {
    allowWithoutCode(filter, SCMP_SYS(mmap));
  }
  // A thread, and no process. What clone3 is to make stands in memory, too; the C library takes
  // clone where there is none. On s390x the stack stands before the flags.
  const unsigned flags = machine == SCMP_ARCH_S390X ? 1 : 0;
  allowWhere(filter, SCMP_SYS(clone), flags, CLONE_THREAD, CLONE_THREAD);
  add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3));
}

using Program = std::vector<sock_filter>;

Program programOf(const Filter& filter) {
  const FileDescriptor file = memoryFile("");
  if (!file) throw std::system_error(errno, std::generic_category(), "memfd_create");
  if (::seccomp_export_bpf(filter.get(), file.get()) != 0) throw std::bad_alloc();
  const auto size = static_cast<std::size_t>(::lseek(file.get(), 0, SEEK_END));
  Program program(size / sizeof(sock_filter));
  const auto count = ::pread(file.get(), program.data(), size, 0);
  if (count != static_cast<ssize_t>(size)) throw std::bad_alloc();
  return program;
}

bool areEqual(const Program& one, const Program& other) {
  return std::ranges::equal(one, other, [](const sock_filter& a, const sock_filter& b) {
    return std::tie(a.code, a.jt, a.jf, a.k) == std::tie(b.code, b.jt, b.jf, b.k);
  });
}

// While it lives, this process may use so much processor time, and ends with more. (Without memory
// the library may go round in circles.)
class ProcessorTimeLimit {
 public:
  ProcessorTimeLimit() { set(2); }
  ~ProcessorTimeLimit() { set(0); }
  ProcessorTimeLimit(const ProcessorTimeLimit&) = delete;
  ProcessorTimeLimit& operator=(const ProcessorTimeLimit&) = delete;
  ProcessorTimeLimit(ProcessorTimeLimit&&) = delete;
  ProcessorTimeLimit& operator=(ProcessorTimeLimit&&) = delete;

 private:
  static void set(time_t seconds) {
    const itimerval limit = {.it_interval = {}, .it_value = {.tv_sec = seconds, .tv_usec = 0}};
    ::setitimer(ITIMER_VIRTUAL, &limit, nullptr);
  }
};

// The program that the kernel runs before each call. Whoever cannot make it asks nobody: without
// it, nothing would keep a query in.
Program callFilter() {
  const ProcessorTimeLimit limit;
  const Filter filter(::seccomp_init(SCMP_ACT_ERRNO(EPERM)));
  if (!filter) throw std::bad_alloc();
  allowAll(filter);
  constexpr std::uint32_t kAsATree = 2;  // and not one call after the other
  ::seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_OPTIMIZE, kAsATree);
  // The library leaves out what it has no memory for, and does not say so: twice it is never the
  // same.
  Program program = programOf(filter);
  if (!areEqual(program, programOf(filter))) throw std::bad_alloc();
  return program;
}

// What this kernel's Landlock can refuse of files, a bit each: 13 kinds at first, and links between
// folders, cutting files and commands to devices later on. 0 where it has none.
std::uint64_t fileRights() {
  constexpr std::array<unsigned, 5> kKinds = {13, 14, 15, 15, 16};
  const auto version = landlockVersion();
  if (version < 1) return 0;
  const auto known = std::min<std::size_t>(static_cast<std::size_t>(version), kKinds.size());
  return (std::uint64_t{1} << kKinds.at(known - 1)) - 1;
}

}  // namespace

// A sanitizer looks into its own process and at files, and writes where it was told to.
bool Confinement::isInForce() { return MOXSUPPLY_SANITIZED == 0; }

void Confinement::giveUpFiles() {
  const std::uint64_t rights = fileRights();
  const FileDescriptor rules(
      static_cast<int>(::syscall(SYS_landlock_create_ruleset, &rights, sizeof rights, 0)));
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);  // it is not to be had otherwise
  ::syscall(SYS_landlock_restrict_self, rules.get(), 0);
}

Confinement::Confinement() {
  if (isInForce()) mCalls = callFilter();
}

void Confinement::enter() const {
  if (!isInForce()) return;
  giveUpFiles();
  const sock_fprog program = {.len = static_cast<unsigned short>(mCalls.size()),
                              .filter = const_cast<sock_filter*>(mCalls.data())};
  ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

}  // namespace moxsupply
