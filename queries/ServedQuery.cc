#include "queries/ServedQuery.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <utility>

#include "links/DeviceUri.h"
#include "system/HandedDescriptor.h"
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

// A printer whose type is not known is asked twice, and once more when it has woken up.
constexpr int kMostConnections = 4;

}  // namespace

ServedQuery::ServedQuery(asio::io_context& context, QueryServer& server, QueryRequest request)
    : mServer(server), mRequest(std::move(request)), mTime(context), mLink(context) {}

awaitable<LevelsEnding> ServedQuery::run() {
  const auto begun = Clock::now();
  mTime.expires_at(begun + std::chrono::seconds(mRequest.deadline));
  const auto happened = co_await (talk() || awaitTime());
  mEnding.wasStopped = happened.index() == 1;
  end();
  if (const auto written = unpacked(mResult)) {
    mEnding.exitStatus = written->exitStatus;
    mEnding.output = written->output;
    mEnding.errors = written->errors;
  }
  mEnding.time = std::chrono::round<std::chrono::milliseconds>(Clock::now() - begun);
  co_return std::move(mEnding);
}

void ServedQuery::stop() {
  isStopped = true;
  end();
  mTime.cancel();
}

// Kills its process, if it still has one.
void ServedQuery::end() {
  error_code ignored;
  if (mProcess) mProcess->socket.close(ignored);
  mLink.close(ignored);
}

awaitable<void> ServedQuery::talk() {
  if (const auto address = numericAddressOf(parseDeviceUri(mRequest.uri).value())) {
    mAddresses.push_back(*address);
  } else {
    co_await have(QueryTask::kFind);
  }
  if (!mAddresses.empty()) co_await have(QueryTask::kAsk);
}

// Has a process do it. One that did it well is given back; one that died while it waited tells
// nothing of the printer.
awaitable<void> ServedQuery::have(QueryTask task) {
  mRequest.task = task;
  bool isDone = false;
  do {
    auto process = co_await mServer.begin(mRequest);
    if (!process) {
      mResult =
          packed({127, {}, fmt::format("cannot be started: {}", std::strerror(process.error()))});
      co_return;
    }
    if (isStopped) co_return;
    mProcess = *std::move(process);
    mHasSpoken = false;
    isDone = co_await hear();
  } while (!isDone && !mHasSpoken && mProcess->queries > 1 && mProcess->socket.is_open());
  if (isDone && mProcess->socket.is_open()) {
    mServer.takeBack(*std::exchange(mProcess, std::nullopt));
  }
}

// Hears what it says, until it has said all. Returns whether it has, and it was no failure.
awaitable<bool> ServedQuery::hear() {
  while (mProcess->socket.is_open()) {
    const auto message = takeOver(mProcess->socket.native_handle(), kLongestQueryWord);
    if (!message) {
      if (errno != EAGAIN) co_return false;  // it is gone
      error_code ignored;
      co_await mProcess->socket.async_wait(stream_descriptor::wait_read,
                                           asio::redirect_error(use_awaitable, ignored));
      continue;
    }
    mHasSpoken = true;
    const std::string_view rest = std::string_view(message->text).substr(1);
    switch (QueryWord(message->text.front())) {
      case QueryWord::kAddresses:
        co_return takeAddresses(rest);
      case QueryWord::kConnect:
        if (!co_await connect()) co_return false;
        break;
      case QueryWord::kPart:
        mResult += rest;
        if (mResult.size() <= kMostBytesOfQuery) break;
        mEnding.isCut = true;
        co_return false;
      case QueryWord::kLastPart:
        mResult += rest;
        co_return unpacked(mResult).value_or(Written()).exitStatus == 0;
      default:
        co_return false;
    }
  }
  co_return false;
}

// They come before a printer is asked: what one says has no part in them.
bool ServedQuery::takeAddresses(std::string_view bytes) {
  const std::size_t count = bytes.size() / sizeof(NetworkAddress);
  if (!mAddresses.empty() || count == 0 || count > kMostAddresses) return false;
  mAddresses.resize(count);
  std::memcpy(mAddresses.data(), bytes.data(), count * sizeof(NetworkAddress));
  return true;
}

// Makes a connection and hands it over. Returns whether that is done.
awaitable<bool> ServedQuery::connect() {
  if (mAddresses.empty() || ++mConnections > kMostConnections) co_return false;
  int error = 0;
  for (const NetworkAddress& address : mAddresses) {
    error = co_await connectTo(address);
    if (error == 0) {
      const int link = mLink.native_handle();
      ::fcntl(link, F_SETFL, 0);  // a query waits in its reads
      error = handOver(mProcess->socket.native_handle(), "+", link);
      mLink.close();
      co_return error == 0;
    }
    mLink.close();
  }
  const Problem problem = noConnectionTo(parseDeviceUri(mRequest.uri).value(), error);
  mResult = packed({1, {}, problem.what + '\n' + problem.advice});
  co_return false;
}

// Returns the errno of what went wrong.
awaitable<int> ServedQuery::connectTo(const NetworkAddress& address) {
  FileDescriptor socket = socketFor(address, SOCK_NONBLOCK);
  if (!socket) co_return errno;
  int error = moxsupply::connectTo(address, socket);
  mLink.assign(socket.release());
  if (error != EINPROGRESS) co_return error;
  error_code cancelled;
  co_await mLink.async_wait(stream_descriptor::wait_write,
                            asio::redirect_error(use_awaitable, cancelled));
  socklen_t size = sizeof error;
  if (cancelled || ::getsockopt(mLink.native_handle(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
    co_return ECANCELED;
  }
  co_return error;
}

awaitable<void> ServedQuery::awaitTime() {
  error_code ignored;
  co_await mTime.async_wait(asio::redirect_error(use_awaitable, ignored));
}

}  // namespace moxsupply
