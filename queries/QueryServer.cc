#include "queries/QueryServer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <chrono>
#include <utility>

#include "queries/QueryEnvironment.h"
#include "system/HandedDescriptor.h"
#include "system/Pipe.h"

namespace moxsupply {

namespace asio = boost::asio;
using asio::posix::stream_descriptor;

QueryServer::QueryServer(asio::io_context& context, std::vector<std::string> command)
    : mContext(context), mCommand(std::move(command)), mRequests(context) {
  mIdle.reserve(kMostIdle);
  static_cast<void>(start());  // what stands in its way is told to the first query
}

QueryServer::~QueryServer() {
  boost::system::error_code ignored;
  mRequests.close(ignored);
  mProcess.waitFor(std::chrono::seconds(1));  // it ends its queries first
}

asio::awaitable<tl::expected<QueryProcess, int>> QueryServer::begin(QueryRequest request) {
  if (isGone()) mIdle.clear();  // or they may not have ended yet
  const std::string text = request.text();
  while (true) {
    const auto idle = std::ranges::find(mIdle, request.task, &QueryProcess::task);
    if (idle == mIdle.end()) break;
    QueryProcess process = std::move(*idle);
    mIdle.erase(idle);
    ++process.queries;
    if (handOver(process.socket.native_handle(), text, -1) == 0) co_return process;
  }
  Pipe ends = makePacketPair();
  if (!ends) co_return tl::unexpected(errno);
  QueryProcess process = {.socket = stream_descriptor(mContext, ends.readEnd.release()),
                          .task = request.task};
  process.socket.non_blocking(true);
  const int error = co_await fork(text, std::move(ends.writeEnd));
  if (error != 0) co_return tl::unexpected(error);
  co_return process;
}

void QueryServer::takeBack(QueryProcess process) {
  const bool isWelcome = process.queries < kMostQueries && mIdle.size() < kMostIdle;
  if (isWelcome) mIdle.push_back(std::move(process));
}

bool QueryServer::isGone() {
  if (!mRequests.is_open()) return true;
  pollfd requests = {.fd = mRequests.native_handle(), .events = 0, .revents = 0};
  return ::poll(&requests, 1, 0) > 0;
}

// Returns 0, or the errno of what went wrong.
asio::awaitable<int> QueryServer::fork(std::string request, FileDescriptor socket) {
  bool isNew = false;
  while (true) {
    if (!mRequests.is_open()) {
      if (const int error = start(); error != 0) co_return error;
      isNew = true;
    }
    const int error = handOver(mRequests.native_handle(), request, socket.get());
    if (error == 0) co_return 0;
    if (error == EAGAIN) {
      boost::system::error_code ignored;
      co_await mRequests.async_wait(stream_descriptor::wait_write,
                                    asio::redirect_error(asio::use_awaitable, ignored));
      continue;
    }
    mRequests.close();  // it is gone
    if (isNew) co_return error;
  }
}

// Returns the errno of what went wrong.
int QueryServer::start() {
  Pipe requests = makePacketPair();
  const FileDescriptor nothing =
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
  if (!requests || !nothing) return errno;
  auto process = Process::start(
      {.program = mCommand.front(),
       .arguments = mCommand,
       // All that its copies would have to look up each by itself is looked up at its start.
       .environment = queryEnvironment({"LD_BIND_NOW=1"}),
       .descriptors = {requests.writeEnd.get(), nothing.get(), nothing.get()}});
  if (!process) return process.error();
  mRequests.assign(requests.readEnd.release());
  mProcess = *std::move(process);  // the one before ends, if it has not
  return 0;
}

}  // namespace moxsupply
