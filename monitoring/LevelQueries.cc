#include "monitoring/LevelQueries.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "system/FileDescriptor.h"
#include "system/Pipe.h"
#include "system/Process.h"

namespace moxsupply {

namespace {

namespace asio = boost::asio;
using asio::awaitable;
using asio::use_awaitable;
using asio::posix::stream_descriptor;
using boost::system::error_code;
using namespace asio::experimental::awaitable_operators;

using Clock = std::chrono::steady_clock;

// What a process writes at most: its line of JSON, with every supply and the longest names, has
// well below 100,000 bytes.
constexpr std::size_t kMostBytes = std::size_t{1} << 20U;

// What a process gets beyond its deadline to end by itself.
constexpr std::chrono::seconds kGrace(1);

// The names of supplies do not depend on the language of whoever starts the exporter, or a series
// would change its name with it.
std::vector<std::string> environmentFor(const std::string& uri) {
  std::vector<std::string> variables =
      environmentWith({"LC_ALL=C.UTF-8", "LANGUAGE=", "DEVICE_URI=" + uri});
  std::erase_if(variables, [](const std::string& variable) {
    const bool isOurs = variable == "LC_ALL=C.UTF-8" || variable == "LANGUAGE=";
    return !isOurs && (variable.starts_with("LC_") || variable.starts_with("LANG"));
  });
  return variables;
}

}  // namespace

// It is over when the process has ended and both streams have, or are longer than anybody wants to
// read, or when its time is up.
class LevelQueries::Running {
 public:
  explicit Running(asio::io_context& context)
      : mTime(context), mOutput(context), mErrors(context), mEnd(context) {}

  // How it ended. `patience`: for all of it.
  awaitable<LevelsEnding> run(std::vector<std::string> command, std::string uri,
                              Clock::duration patience) {
    const auto begun = Clock::now();
    if (const int error = start(command, uri); error != 0) {
      mEnding.exitStatus = 127;
      mEnding.errors =
          fmt::format("moxsupply levels: cannot be started: {}\n", std::strerror(error));
    } else {
      mTime.expires_at(begun + patience);
      const auto happened = co_await (
          (read(mOutput, mEnding.output) && read(mErrors, mEnding.errors) && awaitEnd()) ||
          awaitTime());
      mEnding.wasStopped = happened.index() == 1 && !mEnding.isCut;
    }
    mProcess.reset();  // kills what is left
    mEnding.time = std::chrono::round<std::chrono::milliseconds>(Clock::now() - begun);
    co_return std::move(mEnding);
  }

  // Kills it; `run` goes on to its end.
  void stop() {
    isStopped = true;
    mProcess.reset();
    mTime.cancel();
  }

  bool isStopped = false;

 private:
  // Returns the errno of what went wrong.
  int start(const std::vector<std::string>& command, const std::string& uri) {
    Pipe output = makePipe(Blocking::kNo);
    Pipe errors = makePipe(Blocking::kNo);
    const FileDescriptor nothing =
        aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)));
    if (!output || !errors || !nothing) return errno;
    ::fcntl(output.writeEnd.get(), F_SETFL, 0);  // the program's ends block
    ::fcntl(errors.writeEnd.get(), F_SETFL, 0);
    auto process = Process::start(
        {.program = command.front(),
         .arguments = command,
         .environment = environmentFor(uri),
         .descriptors = {nothing.get(), output.writeEnd.get(), errors.writeEnd.get()},
         .inOwnGroup = true});  // with the CUPS backend that it may start
    if (!process) return process.error();
    mOutput.assign(output.readEnd.release());
    mErrors.assign(errors.readEnd.release());
    mEnd.assign(::dup(process->descriptor()));
    mProcess = *std::move(process);
    return 0;
  }

  awaitable<void> read(stream_descriptor& stream, std::string& text) {
    std::array<char, 16384> buffer{};
    for (error_code error; !error;) {
      const std::size_t count = co_await stream.async_read_some(
          asio::buffer(buffer), asio::redirect_error(use_awaitable, error));
      text.append(buffer.data(), count);
      if (text.size() > kMostBytes) {
        mEnding.isCut = true;
        mTime.cancel();
        co_return;
      }
    }
  }

  awaitable<void> awaitEnd() {
    error_code ignored;
    co_await mEnd.async_wait(stream_descriptor::wait_read,
                             asio::redirect_error(use_awaitable, ignored));
    if (ignored || !mProcess) co_return;
    // What it may have left of its group would keep its streams open.
    mProcess->signal(SIGKILL);
    mProcess->wait();
    const int status = mProcess->waitStatus().value();
    if (WIFEXITED(status)) mEnding.exitStatus = WEXITSTATUS(status);
  }

  awaitable<void> awaitTime() {
    error_code ignored;
    co_await mTime.async_wait(asio::redirect_error(use_awaitable, ignored));
  }

  asio::steady_timer mTime;  // cancelled, it is over at once
  stream_descriptor mOutput;
  stream_descriptor mErrors;
  stream_descriptor mEnd;
  std::optional<Process> mProcess;
  LevelsEnding mEnding;
};

LevelQueries::LevelQueries(asio::io_context& context, CommandFor commandFor, OnEnd onEnd)
    : mContext(context), mCommandFor(std::move(commandFor)), mOnEnd(std::move(onEnd)) {}

LevelQueries::~LevelQueries() {
  try {
    for (const auto& [id, running] : mRunning) running->stop();
  } catch (...) {
    // What could not be stopped ends with this process, as its child.
  }
}

void LevelQueries::begin(const Prober::Assignment& assignment) {
  const auto id = assignment.id;
  const auto running = std::make_shared<Running>(mContext);
  mRunning[id] = running;
  const auto ask = [](std::shared_ptr<Running> one, std::vector<std::string> command,
                      std::string uri, Clock::duration patience) -> awaitable<LevelsEnding> {
    co_await asio::post(co_await asio::this_coro::executor, use_awaitable);
    co_return co_await one->run(std::move(command), std::move(uri), patience);
  };
  asio::co_spawn(
      mContext, ask(running, mCommandFor(assignment), assignment.uri, assignment.deadline + kGrace),
      [this, id, running, deadline = assignment.deadline, isQueue = assignment.isQueue](
          const std::exception_ptr& failed, LevelsEnding ending) {
        if (running->isStopped) return;
        mRunning.erase(id);
        if (failed) ending = {};
        mOnEnd(id, isQueue ? queueResultOf(ending, deadline, std::chrono::system_clock::now())
                           : queryResultOf(ending, deadline));
      });
}

void LevelQueries::stop(Prober::Id id) {
  const auto found = mRunning.find(id);
  if (found == mRunning.end()) return;
  found->second->stop();
  mRunning.erase(found);
}

}  // namespace moxsupply
