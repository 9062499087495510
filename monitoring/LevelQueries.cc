#include "monitoring/LevelQueries.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/epoll.h>
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
#include "system/Process.h"

namespace moxsupply {

namespace {

// What a process writes at most: its line of JSON, with every supply and the longest names, has
// well below 100,000 bytes.
constexpr std::size_t kMostBytes = std::size_t{1} << 20U;

// What a process gets beyond its deadline to end by itself.
constexpr std::chrono::seconds kGrace(1);

// The names of supplies do not depend on the language of whoever starts the exporter, or a series
// would change its name with it.
std::vector<std::string> environmentInOneLanguage() {
  std::vector<std::string> variables = environmentWith({"LC_ALL=C.UTF-8", "LANGUAGE="});
  std::erase_if(variables, [](const std::string& variable) {
    const bool isOurs = variable == "LC_ALL=C.UTF-8" || variable == "LANGUAGE=";
    return !isOurs && (variable.starts_with("LC_") || variable.starts_with("LANG"));
  });
  return variables;
}

}  // namespace

// One process, from its start to its end. It is over when it has ended and both streams have, or
// are longer than anybody wants to read, or when its time is up.
class LevelQueries::Running {
 public:
  Running(EventLoop& loop, std::function<void()> onEnd, EventLoop::Clock::duration patience)
      : mLoop(loop), mOnEnd(std::move(onEnd)), mBegun(EventLoop::Clock::now()) {
    mTimer = mLoop.at(mBegun + patience, [this] {
      mEnding.wasStopped = true;
      over();
    });
  }

  ~Running() {
    mLoop.cancel(mTimer);
    for (const FileDescriptor* stream : {&mOutput, &mErrors}) mLoop.forget(stream->get());
    if (mProcess) mLoop.forget(mProcess->descriptor());
  }

  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  Running(Running&&) = delete;
  Running& operator=(Running&&) = delete;

  void start(const std::vector<std::string>& command) {
    Pipe output = makePipe(Blocking::kNo);
    Pipe errors = makePipe(Blocking::kNo);
    const FileDescriptor nothing =
        aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)));
    if (!output || !errors || !nothing) return fail(std::strerror(errno));
    ::fcntl(output.writeEnd.get(), F_SETFL, 0);  // the program's ends block
    ::fcntl(errors.writeEnd.get(), F_SETFL, 0);
    auto process = Process::start(
        {.program = command.front(),
         .arguments = command,
         .environment = environmentInOneLanguage(),
         .descriptors = {nothing.get(), output.writeEnd.get(), errors.writeEnd.get()},
         .inOwnGroup = true});  // with the CUPS backend that it may start
    if (!process) return fail(std::strerror(process.error()));
    mProcess = std::move(*process);
    mOutput = std::move(output.readEnd);
    mErrors = std::move(errors.readEnd);
    listen(mOutput, mEnding.output);
    listen(mErrors, mEnding.errors);
    mLoop.watch(mProcess->descriptor(), EPOLLIN, [this](std::uint32_t) { reap(); });
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
    mLoop.forget(mProcess->descriptor());
    mProcess->signal(SIGKILL);  // what it may have left of its group
    mProcess->wait();
    const int status = mProcess->waitStatus().value();
    if (WIFEXITED(status)) mEnding.exitStatus = WEXITSTATUS(status);
    mProcess.reset();
    endIfOver();
  }

  void endIfOver() {
    if (!mOutput && !mErrors && !mProcess) over();
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
  std::optional<Process> mProcess;
  FileDescriptor mOutput;
  FileDescriptor mErrors;
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
  auto process = std::make_unique<Running>(
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
