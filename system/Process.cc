#include "system/Process.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "system/Pipe.h"

namespace moxsupply {

namespace {

// Those that a program of ours may ignore, or reads from a descriptor.
constexpr std::array<int, 4> kOwnSignals = {SIGHUP, SIGINT, SIGPIPE, SIGTERM};

std::string_view nameOf(std::string_view variable) {
  return variable.substr(0, variable.find('='));
}

bool isProgram(const std::string& path) { return ::access(path.c_str(), X_OK) == 0; }

// Where PATH has a program, or the errno of why it has not.
tl::expected<std::string, int> pathOf(const std::string& program) {
  if (program.find('/') != std::string::npos) return program;
  const char* folders = std::getenv("PATH");
  std::string_view rest = folders == nullptr ? "/usr/bin:/bin" : folders;
  int error = ENOENT;
  while (!program.empty() && !rest.empty()) {
    const std::string_view folder = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(folder.size() + 1, rest.size()));
    const std::string path = (folder.empty() ? "." : std::string(folder)) + '/' + program;
    if (isProgram(path)) return path;
    if (errno == EACCES) error = EACCES;
  }
  return tl::unexpected(error);
}

std::vector<char*> pointersTo(std::span<const std::string> texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  // The kernel only reads them.
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.data()));
  pointers.push_back(nullptr);
  return pointers;
}

// All that the child needs, made before it is: another thread of this process may hold a lock while
// it forks, so that nothing may be allocated in the child, nor formatted, nor looked up.
struct Prepared {
  const char* path;
  char* const* arguments;
  char* const* environment;
  std::span<const int> descriptors;
  bool inOwnGroup;
  pid_t parent;
  int whatWentWrong;  // takes the errno, and is closed when the program is there
};

// In the child: it ends with its parent.
void endWith(pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(127);  // it ended before the line above
}

// In the child. Every call in it is one that a signal handler may make, too.
[[noreturn]] void becomeProgram(const Prepared& prepared) {
  const auto giveUp = [&] {
    const int error = errno;
    static_cast<void>(::write(prepared.whatWentWrong, &error, sizeof error) > 0);
    ::_exit(127);
  };
  endWith(prepared.parent);
  if (prepared.inOwnGroup) ::setpgid(0, 0);
  for (const int number : kOwnSignals) ::signal(number, SIG_DFL);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);

  int place = 0;
  for (const int descriptor : prepared.descriptors) {
    if (::dup2(descriptor, place++) < 0) giveUp();
  }
  ::execve(prepared.path, prepared.arguments, prepared.environment);
  giveUp();
  ::_exit(127);
}

}  // namespace

std::vector<std::string> environmentWith(const std::vector<std::string>& changed) {
  std::vector<std::string> variables = changed;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const bool isChanged = std::ranges::any_of(
        changed, [&](const std::string& one) { return nameOf(one) == nameOf(*variable); });
    if (!isChanged) variables.emplace_back(*variable);
  }
  return variables;
}

// (glibc 2.36 has pidfd_open, older ones the call only.)
Process::Process(pid_t pid, bool hasOwnGroup)
    : mPid(pid),
      mHasOwnGroup(hasOwnGroup),
      mEnd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))) {}

tl::expected<Process, int> Process::fork(const std::function<void()>& work) {
  std::fflush(nullptr);  // or the copy would write it, too
  const pid_t parent = ::getpid();
  const pid_t pid = ::fork();
  if (pid < 0) return tl::unexpected(errno);
  if (pid == 0) {
    endWith(parent);
    try {
      work();
    } catch (...) {
      ::_exit(1);
    }
    ::_exit(0);
  }
  Process process(pid, false);
  if (!process.mEnd) return tl::unexpected(errno);
  return process;
}

tl::expected<Process, int> Process::start(const ProgramStart& start) {
  const auto path = pathOf(start.program);
  if (!path) return tl::unexpected(path.error());
  const std::vector<char*> arguments = pointersTo(start.arguments);
  const std::vector<char*> environment = pointersTo(start.environment);
  Pipe whatWentWrong = makePipe(Blocking::kYes);
  if (!whatWentWrong) return tl::unexpected(errno);
  std::fflush(nullptr);  // or what this process has written so far might come behind what it writes

  const Prepared prepared = {
      path->c_str(),    arguments.data(), environment.data(),          start.descriptors,
      start.inOwnGroup, ::getpid(),       whatWentWrong.writeEnd.get()};
  const pid_t pid = ::fork();
  if (pid < 0) return tl::unexpected(errno);
  if (pid == 0) becomeProgram(prepared);

  Process process(pid, start.inOwnGroup);
  if (!process.mEnd) return tl::unexpected(errno);
  whatWentWrong.writeEnd = FileDescriptor();
  int error = 0;
  ssize_t count = 0;
  do {
    count = ::read(whatWentWrong.readEnd.get(), &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  if (count == static_cast<ssize_t>(sizeof error)) return tl::unexpected(error);
  return process;
}

void Process::signal(int number) const {
  if (mPid > 0) ::kill(mHasOwnGroup ? -mPid : mPid, number);
}

bool Process::endsWithin(std::chrono::milliseconds patience) const {
  pollfd ended = {.fd = mEnd.get(), .events = POLLIN, .revents = 0};
  const auto time = std::clamp<std::chrono::milliseconds::rep>(patience.count(), 0, INT_MAX);
  return ::poll(&ended, 1, static_cast<int>(time)) > 0;
}

bool Process::waitFor(std::chrono::milliseconds patience) {
  if (mPid <= 0) return true;
  if (!endsWithin(patience)) return false;
  reap();
  return true;
}

void Process::stop(int number, std::chrono::milliseconds patience) {
  signal(number);
  if (mPid > 0) static_cast<void>(endsWithin(patience));
  kill();
}

void Process::wait() {
  if (mPid > 0) reap();
}

void Process::kill() noexcept {
  if (mPid <= 0) return;
  signal(SIGKILL);
  reap();
}

void Process::reap() noexcept {
  int status = 0;
  while (::waitpid(mPid, &status, 0) < 0 && errno == EINTR) {
  }
  mPid = -1;
  mEnd = FileDescriptor();
  mWaitStatus = status;
}

std::optional<int> Process::shellStatus() const {
  if (!mWaitStatus) return std::nullopt;
  return WIFSIGNALED(*mWaitStatus) ? 128 + WTERMSIG(*mWaitStatus) : WEXITSTATUS(*mWaitStatus);
}

}  // namespace moxsupply
