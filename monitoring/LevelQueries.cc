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

#include "links/DeviceUri.h"
#include "monitoring/Query.h"
#include "monitoring/QueryEnvironment.h"
#include "monitoring/QueryServer.h"
#include "monitoring/ServedQuery.h"
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

}  // namespace

// It is over when the process has ended and both streams have, or are longer than anybody wants to
// read, or when its time is up.
class LevelQueries::StartedQuery : public Query {
 public:
  // `patience`: for all of it.
  StartedQuery(asio::io_context& context, std::vector<std::string> command, std::string uri,
               Clock::duration patience)
      : mCommand(std::move(command)),
        mUri(std::move(uri)),
        mPatience(patience),
        mTime(context),
        mOutput(context),
        mErrors(context),
        mEnd(context) {}

  awaitable<LevelsEnding> run() override {
    const auto begun = Clock::now();
    if (const int error = start(); error != 0) {
      mEnding.exitStatus = 127;
      mEnding.errors =
          fmt::format("moxsupply levels: cannot be started: {}\n", std::strerror(error));
    } else {
      mTime.expires_at(begun + mPatience);
      const auto happened = co_await (
          (read(mOutput, mEnding.output) && read(mErrors, mEnding.errors) && awaitEnd()) ||
          awaitTime());
      mEnding.wasStopped = happened.index() == 1 && !mEnding.isCut;
    }
    mProcess.reset();  // kills what is left
    mEnding.time = std::chrono::round<std::chrono::milliseconds>(Clock::now() - begun);
    co_return std::move(mEnding);
  }

  void stop() override {
    isStopped = true;
    mProcess.reset();
    mTime.cancel();
  }

 private:
  // Returns the errno of what went wrong.
  int start() {
    Pipe output = makePipe(Blocking::kNo);
    Pipe errors = makePipe(Blocking::kNo);
    const FileDescriptor nothing =
        aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)));
    if (!output || !errors || !nothing) return errno;
    ::fcntl(output.writeEnd.get(), F_SETFL, 0);  // the program's ends block
    ::fcntl(errors.writeEnd.get(), F_SETFL, 0);
    auto process = Process::start(
        {.program = mCommand.front(),
         .arguments = mCommand,
         .environment = queryEnvironment({"DEVICE_URI=" + mUri}),
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

  std::vector<std::string> mCommand;
  std::string mUri;
  Clock::duration mPatience;
  asio::steady_timer mTime;  // cancelled, it is over at once
  stream_descriptor mOutput;
  stream_descriptor mErrors;
  stream_descriptor mEnd;
  std::optional<Process> mProcess;
  LevelsEnding mEnding;
};

LevelQueries::LevelQueries(asio::io_context& context, Commands commands, OnEnd onEnd)
    : mContext(context), mCommands(std::move(commands)), mOnEnd(std::move(onEnd)) {
  if (!mCommands.server.empty()) {
    mServer = std::make_unique<QueryServer>(context, mCommands.server);
  }
}

LevelQueries::~LevelQueries() {
  try {
    for (const auto& [id, query] : mRunning) query->stop();
  } catch (...) {
    // What could not be stopped ends with this process, as its child.
  }
}

std::shared_ptr<Query> LevelQueries::queryFor(const Prober::Assignment& assignment) {
  const auto uri = parseDeviceUri(assignment.uri);
  if (mServer && uri && uri->scheme == "socket") {
    const auto deadline = static_cast<std::uint32_t>(assignment.deadline.count());
    return std::make_shared<ServedQuery>(mContext, *mServer,
                                         QueryRequest{assignment.uri, assignment.kind, deadline});
  }
  return std::make_shared<StartedQuery>(mContext, mCommands.commandFor(assignment), assignment.uri,
                                        assignment.deadline + kGrace);
}

void LevelQueries::begin(const Prober::Assignment& assignment) {
  const auto id = assignment.id;
  const auto query = queryFor(assignment);
  mRunning[id] = query;
  const auto ask = [](std::shared_ptr<Query> one) -> awaitable<LevelsEnding> {
    co_await asio::post(co_await asio::this_coro::executor, use_awaitable);
    co_return co_await one->run();
  };
  asio::co_spawn(
      mContext, ask(query),
      [this, id, query, deadline = assignment.deadline, isQueue = assignment.isQueue](
          const std::exception_ptr& failed, LevelsEnding ending) {
        if (query->isStopped) return;
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
