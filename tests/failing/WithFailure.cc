// Runs a program in which one thing fails that can fail, once.
//   with-failure allocation|refusal|interruption NUMBER FILE PROGRAM [ARGUMENT...]
//     allocation     of memory
//     refusal        a system call, as by a machine whose tables or disks are full
//     interruption   a system call, with EINTR
//     NUMBER         which of them, all processes of the program together; 0: none
//     FILE           takes how many there were, and the name of the call that has failed
// It ends as the program does, with 128 and the signal's number where a signal ended it, once every
// process that came from it has ended. SIGTERM is passed on to the program.
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include "tests/failing/FailingCalls.h"
#include "tests/failing/FailurePoint.h"

namespace moxsupply::testing {
namespace {

constexpr int kCannotRun = 125;

[[noreturn]] void giveUp(const char* what) {
  std::perror(what);
  std::_Exit(kCannotRun);
}

// Of a file, or of this process and those that come from it.
void* sharedMemory(std::size_t size, int file) {
  const int kind = file < 0 ? MAP_SHARED | MAP_ANONYMOUS : MAP_SHARED;
  void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, kind, file, 0);
  if (memory == MAP_FAILED) giveUp("mmap");
  return memory;
}

void endWithParent() { ::prctl(PR_SET_PDEATHSIG, SIGKILL); }

[[noreturn]] void become(char** command) {
  endWithParent();
  ::execvp(command[0], command);
  giveUp(command[0]);
}

constexpr int kFirstOwnDescriptor = 5;  // below are those that a filter is given

int aboveProgramsOwn(int descriptor) {
  const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstOwnDescriptor);
  ::close(descriptor);
  return copy;
}

// Whoever reads what the program writes waits for the end of these.
void letGoOfProgramsDescriptors() {
  for (int descriptor = 0; descriptor < kFirstOwnDescriptor; ++descriptor) {
    if (descriptor != STDERR_FILENO) ::close(descriptor);
  }
}

volatile std::sig_atomic_t theProgram = 0;

void passOn(int signal) { ::kill(theProgram, signal); }

void passSignalsOnTo(pid_t process) {
  theProgram = process;
  struct sigaction action {};
  action.sa_handler = &passOn;
  ::sigaction(SIGTERM, &action, nullptr);
}

int shellStatusOf(pid_t process) {
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

struct Outcome {
  int status = kCannotRun;
  std::string failed = {};  // the name of the call
};

Outcome runWithAllocation(FailurePoint& point, int file, char** command) {
  ::setenv(kFailurePointVariable, fmt::format("/proc/{}/fd/{}", ::getpid(), file).c_str(), 1);
  const pid_t process = ::fork();
  if (process < 0) giveUp("fork");
  if (process == 0) become(command);
  passSignalsOnTo(process);
  letGoOfProgramsDescriptors();
  // Processes that nobody waits for come to this one, and are waited for as well.
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  const int status = shellStatusOf(process);
  while (::waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {
  }
  return {.status = status, .failed = point.failing == 0 ? "" : "malloc"};
}

// How the process of the program hands its listener over: without a call, since each may be one of
// those that wait for the listener's answer.
struct Listener {
  std::atomic<int> number = -1;
  std::atomic<bool> isTaken = false;
};

// The kernel has the other process decide about each of these calls.
void askAbout(std::span<const FailingCall> calls, Listener& listener) {
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
  seccomp_rule_add_array(filter, SCMP_ACT_NOTIFY, SCMP_SYS(prctl), 0, nullptr);
  seccomp_rule_add_array(filter, SCMP_ACT_NOTIFY, SCMP_SYS(execve), 0, nullptr);
  for (const FailingCall& call : calls) {
    seccomp_rule_add_array(filter, SCMP_ACT_NOTIFY, call.number, 0, nullptr);
  }
  if (const int error = seccomp_load(filter); error != 0) {
    errno = -error;
    giveUp("seccomp");
  }
  listener.number = seccomp_notify_fd(filter);
  while (!listener.isTaken) ::sched_yield();
}

int takenFrom(pid_t process, Listener& listener) {
  const int handle = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  while (listener.number < 0 && ::waitpid(process, nullptr, WNOHANG) == 0) ::usleep(50);
  const int taken = static_cast<int>(::syscall(SYS_pidfd_getfd, handle, listener.number.load(), 0));
  listener.isTaken = true;
  return taken;
}

std::string nameOf(int call) {
  char* text = seccomp_syscall_resolve_num_arch(SCMP_ARCH_NATIVE, call);
  std::string name = text == nullptr ? "" : text;
  std::free(text);
  return name;
}

// What is in memory can be read as long as there is memory.
bool readsMemoryFile(const seccomp_notif& asked) {
  if (asked.data.nr != SCMP_SYS(read)) return false;
  std::error_code ignored;
  const std::string file = std::filesystem::read_symlink(
      fmt::format("/proc/{}/fd/{}", asked.pid, asked.data.args[0]), ignored);
  return file.starts_with("/memfd:");
}

// Answers the kernel until no process is left. `loading`: the process of the program. What any
// process calls from its execve until its main begins is the loader's.
std::string decide(int listener, FailurePoint& point, std::span<const FailingCall> calls,
                   std::set<std::uint32_t> loading) {
  std::string failed;
  for (pollfd question = {.fd = listener, .events = POLLIN, .revents = 0};;) {
    if (::poll(&question, 1, -1) < 0) continue;
    if ((question.revents & POLLIN) == 0) break;
    seccomp_notif asked{};
    if (::ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &asked) != 0) continue;  // who asked is gone
    seccomp_notif_resp answer{
        .id = asked.id, .val = 0, .error = 0, .flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE};
    const auto call = std::ranges::find(calls, asked.data.nr, &FailingCall::number);
    if (asked.data.nr == SCMP_SYS(prctl) && asked.data.args[0] == kMainBegins) {
      loading.erase(asked.pid);
    } else if (call != calls.end() && !loading.contains(asked.pid) && !readsMemoryFile(asked) &&
               point.isReached()) {
      failed = nameOf(asked.data.nr);
      answer.flags = 0;
      answer.error = -call->error;
    } else if (asked.data.nr == SCMP_SYS(execve)) {
      loading.insert(asked.pid);
    }
    ::ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &answer);
  }
  return failed;
}

Outcome runWithCall(FailurePoint& point, std::span<const FailingCall> calls, char** command) {
  auto& handed = *new (sharedMemory(sizeof(Listener), -1)) Listener;
  const pid_t process = ::fork();
  if (process < 0) giveUp("fork");
  if (process == 0) {
    endWithParent();
    askAbout(calls, handed);
    ::execvp(command[0], command);
    std::_Exit(kCannotRun);
  }
  passSignalsOnTo(process);
  letGoOfProgramsDescriptors();
  const int listener = takenFrom(process, handed);
  if (listener < 0) giveUp("pidfd_getfd");
  Outcome outcome;
  outcome.failed = decide(listener, point, calls, {static_cast<std::uint32_t>(process)});
  outcome.status = shellStatusOf(process);
  return outcome;
}

int run(std::string_view what, const char* number, const char* file, char** command) {
  const int shared = aboveProgramsOwn(::memfd_create("failure-point", MFD_CLOEXEC));
  if (shared < 0 || ::ftruncate(shared, sizeof(FailurePoint)) != 0) giveUp("memfd_create");
  auto& point = *new (sharedMemory(sizeof(FailurePoint), shared)) FailurePoint;
  point.failing = std::strtoull(number, nullptr, 10);

  ::setenv("LD_PRELOAD", FAILING_ALLOCATIONS, 1);
  const Outcome outcome =
      what == "allocation"
          ? runWithAllocation(point, shared, command)
          : runWithCall(point, what == "refusal" ? refusedCalls() : interruptedCalls(), command);
  std::ofstream(file) << point.counted << ' ' << outcome.failed << '\n';
  return outcome.status;
}

}  // namespace
}  // namespace moxsupply::testing

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fputs(
        "usage: with-failure allocation|refusal|interruption NUMBER FILE PROGRAM [ARGUMENT...]\n",
        stderr);
    return 2;
  }
  return moxsupply::testing::run(argv[1], argv[2], argv[3], argv + 4);
}
