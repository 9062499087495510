#include "monitoring/LevelQueries.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>
#include <vector>

#include "system/FileDescriptor.h"
#include "system/Pipe.h"

namespace moxsupply {

namespace {

// What a process writes at most: its line of JSON, with every supply and the longest names, has
// well below 100,000 bytes.
constexpr std::size_t kMostBytes = std::size_t{1} << 20U;

// What a process gets beyond its deadline to end by itself.
constexpr std::chrono::seconds kGrace(1);

// The names of supplies do not depend on the language of whoever starts the exporter, or a series
// would change its name with it.
std::vector<std::string> environment() {
  std::vector<std::string> variables = {"LC_ALL=C.UTF-8", "LANGUAGE="};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text(*variable);
    if (!text.starts_with("LC_") && !text.starts_with("LANG")) variables.emplace_back(text);
  }
  return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// A program with these descriptors for its output, nothing to read, and the signals that this
// process blocks or ignores as its own. Returns the errno of what went wrong.
int spawn(std::vector<std::string> command, int output, int errors, pid_t& pid) {
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  posix_spawnattr_t attributes;
  ::posix_spawnattr_init(&attributes);
  sigset_t none;
  ::sigemptyset(&none);
  ::posix_spawnattr_setsigmask(&attributes, &none);
  sigset_t reset;
  ::sigemptyset(&reset);
  for (const int number : {SIGINT, SIGTERM, SIGPIPE}) ::sigaddset(&reset, number);
  ::posix_spawnattr_setsigdefault(&attributes, &reset);
  // In a group of its own, with the CUPS backend that it may start.
  ::posix_spawnattr_setflags(
      &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);

  std::vector<std::string> variables = environment();
  const int error = ::posix_spawn(&pid, command.front().c_str(), &actions, &attributes,
                                  pointersTo(command).data(), pointersTo(variables).data());
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

// One process, from its start to its end. It is over when it has ended and both streams have, or
// are longer than anybody wants to read, or when its time is up.
class LevelQueries::Process {
 public:
  Process(EventLoop& loop, std::function<void()> onEnd, EventLoop::Clock::duration patience)
      : mLoop(loop), mOnEnd(std::move(onEnd)), mBegun(EventLoop::Clock::now()) {
    mTimer = mLoop.at(mBegun + patience, [this] {
      mEnding.wasStopped = true;
      over();
    });
  }

  ~Process() {
    mLoop.cancel(mTimer);
    for (const FileDescriptor* descriptor : {&mOutput, &mErrors, &mEnd}) {
      mLoop.forget(descriptor->get());
    }
    if (mPid <= 0) return;
    ::kill(-mPid, SIGKILL);
    ::waitpid(mPid, nullptr, 0);
  }

  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  Process(Process&&) = delete;
  Process& operator=(Process&&) = delete;

  void start(std::vector<std::string> command) {
    Pipe output = makePipe(Blocking::kNo);
    Pipe errors = makePipe(Blocking::kNo);
    int error = output && errors ? 0 : errno;
    if (error == 0) {
      ::fcntl(output.writeEnd.get(), F_SETFL, 0);  // the program's ends block
      ::fcntl(errors.writeEnd.get(), F_SETFL, 0);
      error = spawn(std::move(command), output.writeEnd.get(), errors.writeEnd.get(), mPid);
    }
    if (error == 0) {
      mEnd = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, mPid, 0)));
      if (!mEnd) error = errno;
    }
    if (error != 0) return fail(std::strerror(error));
    mOutput = std::move(output.readEnd);
    mErrors = std::move(errors.readEnd);
    listen(mOutput, mEnding.output);
    listen(mErrors, mEnding.errors);
    mLoop.watch(mEnd.get(), EPOLLIN, [this](std::uint32_t) { reap(); });
  }

  [[nodiscard]] LevelsEnding ending() {
    mEnding.time = std::chrono::round<std::chrono::milliseconds>(EventLoop::Clock::now() - mBegun);
    return std::move(mEnding);
  }

 private:
  // The end is told from the loop, as every other.
  void fail(const char* why) {
    mEnding.exitStatus = 127;
    mEnding.errors = fmt::format("moxsupply levels: cannot be started: {}\n", why);
    mLoop.cancel(mTimer);
    mTimer = mLoop.at(EventLoop::Clock::now(), [this] { over(); });
  }

  void listen(FileDescriptor& stream, std::string& text) {
    mLoop.watch(stream.get(), EPOLLIN, [this, &stream, &text](std::uint32_t) {
      std::array<char, 16384> buffer{};
      const ssize_t count = ::read(stream.get(), buffer.data(), buffer.size());
      if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
      if (count > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
        if (text.size() <= kMostBytes) return;
        mEnding.isCut = true;
        return over();
      }
      mLoop.forget(stream.get());
      stream = FileDescriptor();
      endIfOver();
    });
  }

  void reap() {
    ::kill(-mPid, SIGKILL);  // what it may have left of its group
    int status = 0;
    ::waitpid(std::exchange(mPid, -1), &status, 0);
    if (WIFEXITED(status)) mEnding.exitStatus = WEXITSTATUS(status);
    mLoop.forget(mEnd.get());
    mEnd = FileDescriptor();
    endIfOver();
  }

  void endIfOver() {
    if (!mOutput && !mErrors && !mEnd) over();
  }

  // The last thing that it does: this object goes.
  void over() const {
    const auto onEnd = mOnEnd;
    onEnd();
  }

  EventLoop& mLoop;
  std::function<void()> mOnEnd;
  EventLoop::Clock::time_point mBegun;
  EventLoop::Timer mTimer;
  LevelsEnding mEnding;
  pid_t mPid = -1;
  FileDescriptor mOutput;
  FileDescriptor mErrors;
  FileDescriptor mEnd;
};

LevelQueries::LevelQueries(EventLoop& loop, CommandFor commandFor, std::chrono::seconds deadline,
                           OnEnd onEnd)
    : mLoop(loop),
      mCommandFor(std::move(commandFor)),
      mDeadline(deadline),
      mOnEnd(std::move(onEnd)) {}

LevelQueries::~LevelQueries() = default;

void LevelQueries::begin(const Prober::Assignment& assignment) {
  const auto id = assignment.id;
  auto process = std::make_unique<Process>(
      mLoop, [this, id] { end(id); }, mDeadline + kGrace);
  process->start(mCommandFor(assignment));
  mProcesses[id] = std::move(process);
}

void LevelQueries::stop(Prober::Id id) { mProcesses.erase(id); }

void LevelQueries::end(Prober::Id id) {
  const auto process = std::move(mProcesses.extract(id).mapped());
  mOnEnd(id, queryResultOf(process->ending(), mDeadline));
}

}  // namespace moxsupply
