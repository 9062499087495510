#include "simulator/ChildCommand.h"

#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace moxsupply::simulator {

namespace {

constexpr int kGrace = 1000;  // milliseconds

// How a command starts: the signals that this process blocks or ignores are its own again.
class SpawnAttributes {
 public:
  explicit SpawnAttributes(bool ownGroup) {
    ::posix_spawnattr_init(&mAttributes);
    sigset_t none;
    ::sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&mAttributes, &none);
    sigset_t reset;
    ::sigemptyset(&reset);
    for (const int number : {SIGINT, SIGTERM, SIGPIPE}) ::sigaddset(&reset, number);
    ::posix_spawnattr_setsigdefault(&mAttributes, &reset);
    int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    if (ownGroup) flags |= POSIX_SPAWN_SETPGROUP;
    ::posix_spawnattr_setflags(&mAttributes, static_cast<short>(flags));
  }
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&mAttributes); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  SpawnAttributes(SpawnAttributes&&) = delete;
  SpawnAttributes& operator=(SpawnAttributes&&) = delete;

  [[nodiscard]] const posix_spawnattr_t* get() const { return &mAttributes; }

 private:
  posix_spawnattr_t mAttributes{};
};

}  // namespace

ChildCommand::ChildCommand(std::vector<std::string> command)
    : mHasOwnGroup(::isatty(STDIN_FILENO) == 0) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  const SpawnAttributes attributes(mHasOwnGroup);
  const int error =
      ::posix_spawnp(&mPid, arguments[0], nullptr, attributes.get(), arguments.data(), environ);
  if (error != 0) throw std::system_error(error, std::generic_category(), command.front());
  mEnded = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, mPid, 0)));
  if (!mEnded) {
    const int reason = errno;
    ::kill(mPid, SIGKILL);
    throw std::system_error(reason, std::generic_category(), "pidfd_open");
  }
}

void ChildCommand::stop(int signal) const {
  signalAll(signal);
  pollfd ended = {.fd = descriptor(), .events = POLLIN, .revents = 0};
  ::poll(&ended, 1, kGrace);
  signalAll(SIGKILL);
}

void ChildCommand::signalAll(int signal) const { ::kill(mHasOwnGroup ? -mPid : mPid, signal); }

int ChildCommand::wait() const {
  int status = 0;
  while (::waitpid(mPid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace moxsupply::simulator
