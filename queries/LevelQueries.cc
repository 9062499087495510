#include "queries/LevelQueries.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

#include "links/ConnectedQuery.h"
#include "links/DeviceUri.h"
#include "queries/Query.h"
#include "queries/QueryEnvironment.h"
#include "queries/QueryServer.h"
#include "queries/ServedQuery.h"
#include "queue/QueueUri.h"
#include "system/FileDescriptor.h"
#include "system/Pipe.h"
#include "system/Process.h"
#include "text/Written.h"

namespace moxsupply {

namespace {

namespace asio = boost::asio;
using asio::awaitable;
using asio::use_awaitable;
using asio::posix::stream_descriptor;
using boost::system::error_code;
using namespace asio::experimental::awaitable_operators;

using Clock = std::chrono::steady_clock;

// What is said of one queue that cannot be read.
constexpr std::size_t kMostBytesOfErrors = std::size_t{64} << 10U;

// What a process gets beyond its deadline to end by itself.
constexpr std::chrono::seconds kGrace(1);

}  // namespace

// It is over when the process has ended and both streams have, or are longer than anybody wants to
// read, or when its time is up.
class LevelQueries::StartedQuery : public Query {
 public:
  // `uris`: with blanks between them. `patience`, `mostBytes`: for all of it.
  StartedQuery(asio::io_context& context, std::vector<std::string> command, std::string uris,
               Clock::duration patience, std::size_t mostBytes = kMostBytesOfQuery)
      : mCommand(std::move(command)),
        mUris(std::move(uris)),
        mPatience(patience),
        mMostBytes(mostBytes),
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
         .environment = queryEnvironment({"DEVICE_URI=" + mUris}),
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
      if (text.size() > mMostBytes) {
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
  std::string mUris;
  Clock::duration mPatience;
  std::size_t mMostBytes;
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
    for (const auto& [name, server] : mPrintServers) {
      if (server.query) server.query->stop();
    }
  } catch (...) {
    // What could not be stopped ends with this process, as its child.
  }
}

std::shared_ptr<Query> LevelQueries::queryFor(const Assignment& assignment) {
  const auto uri = parseDeviceUri(assignment.uri);
  if (mServer && uri && uri->scheme == "socket") {
    const auto deadline = static_cast<std::uint32_t>(assignment.deadline.count());
    return std::make_shared<ServedQuery>(
        mContext, *mServer,
        QueryRequest{.uri = assignment.uri, .kind = assignment.kind, .deadline = deadline});
  }
  return std::make_shared<StartedQuery>(mContext, mCommands.commandFor(assignment), assignment.uri,
                                        assignment.deadline + kGrace);
}

void LevelQueries::begin(const Assignment& assignment) {
  if (const auto queue = parseQueueUri(assignment.uri); queue && assignment.isQueue) {
    mPrintServers[queue->server].waiting.push_back(assignment);
    return readQueuesSoon(queue->server);
  }
  const auto query = queryFor(assignment);
  mRunning[assignment.id] = query;
  run(query, [this, id = assignment.id, deadline = assignment.deadline](const auto& ending) {
    mRunning.erase(id);
    mOnEnd(id, queryResultOf(ending, deadline));
  });
}

// Begins it. Its end is told later, and not when it is stopped.
void LevelQueries::run(const std::shared_ptr<Query>& query,
                       std::function<void(const LevelsEnding&)> onEnd) {
  const auto ask = [](std::shared_ptr<Query> one) -> awaitable<LevelsEnding> {
    co_await asio::post(co_await asio::this_coro::executor, use_awaitable);
    co_return co_await one->run();
  };
  asio::co_spawn(mContext, ask(query),
                 [query, onEnd = std::move(onEnd)](const std::exception_ptr& failed,
                                                   const LevelsEnding& ending) {
                   if (!query->isStopped) onEnd(failed ? LevelsEnding{} : ending);
                 });
}

// Once all that begin at this moment are known.
void LevelQueries::readQueuesSoon(const std::string& server) {
  asio::post(mContext, [this, server, isThere = std::weak_ptr(mIsThere)] {
    if (!isThere.expired()) readQueues(server);
  });
}

// Reads those that wait for this print server, unless it is being read.
void LevelQueries::readQueues(const std::string& server) {
  const auto found = mPrintServers.find(server);
  if (found == mPrintServers.end() || found->second.query) return;
  Server& one = found->second;
  if (one.waiting.empty()) {
    mPrintServers.erase(found);
    return;
  }
  const Assignment first = one.waiting.front();
  std::string uris;
  one.asked.clear();
  std::erase_if(one.waiting, [&](const Assignment& queue) {
    if (queue.deadline != first.deadline || one.asked.size() == kMostQueuesAtOnce) return false;
    uris += (uris.empty() ? "" : " ") + queue.uri;
    one.asked.emplace_back(queue);
    return true;
  });
  const std::size_t mostBytes = one.asked.size() * (kMostBytesOfQuery + kMostBytesOfErrors);
  one.query = std::make_shared<StartedQuery>(mContext, mCommands.commandFor(first), std::move(uris),
                                             first.deadline + kGrace, mostBytes);
  run(one.query, [this, server](const LevelsEnding& ending) { takeQueues(server, ending); });
}

// Tells what came of each. Those without an answer share the end of the process, unless they were
// not to blame.
void LevelQueries::takeQueues(const std::string& server, const LevelsEnding& ending) {
  auto& [waiting, asked, query] = mPrintServers.at(server);
  const bool hasDied = !ending.exitStatus && !ending.wasStopped && !ending.isCut;
  std::string_view rest = ending.output;
  bool isOver = false;
  // Who hears of one may stop others.
  for (auto& place : asked) {
    auto answer = takePacked(rest);
    LevelsEnding own = ending;
    own.output.clear();
    if (answer) {
      own = {.exitStatus = answer->exitStatus,
             .isCut = answer->output.size() > kMostBytesOfQuery,
             .output = std::move(answer->output),
             .errors = std::move(answer->errors)};
    }
    const auto one = std::exchange(place, std::nullopt);
    if (!answer && hasDied && std::exchange(isOver, true)) {
      if (one) waiting.push_back(*one);  // it died of the one before
    } else if (one) {
      mOnEnd(one->id, queueResultOf(own, one->deadline, std::chrono::system_clock::now()));
    }
  }
  asked.clear();
  query.reset();
  readQueues(server);
}

void LevelQueries::stop(Assignment::Id id) {
  if (stopQueue(id)) return;
  const auto found = mRunning.find(id);
  if (found == mRunning.end()) return;
  found->second->stop();
  mRunning.erase(found);
}

// Returns whether it was one. A process that reads others as well goes on.
bool LevelQueries::stopQueue(Assignment::Id id) {
  for (auto& [name, server] : mPrintServers) {
    if (std::erase_if(server.waiting, [id](const auto& one) { return one.id == id; }) > 0)
      return true;
    const auto asked =
        std::ranges::find_if(server.asked, [id](const auto& one) { return one && one->id == id; });
    if (asked == server.asked.end()) continue;
    asked->reset();
    const bool isForNobody =
        std::ranges::none_of(server.asked, [](const auto& one) { return one.has_value(); });
    if (isForNobody && server.query) {
      server.query->stop();
      server.query.reset();
      readQueuesSoon(name);
    }
    return true;
  }
  return false;
}

}  // namespace moxsupply
