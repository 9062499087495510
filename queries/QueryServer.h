#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <cstddef>
#include <string>
#include <tl/expected.hpp>
#include <vector>

#include "links/ConnectedQuery.h"
#include "system/FileDescriptor.h"
#include "system/Process.h"

namespace moxsupply {

// A process that has one query after the other, of whichever printers.
struct QueryProcess {
  boost::asio::posix::stream_descriptor socket;  // to talk with it
  QueryTask task;
  int queries = 1;  // that it has had
};

// The process from which those of queries are forked (ForkServer), and those that wait for their
// next. When it is gone all of them end with it, and the next query starts it again.
class QueryServer {
 public:
  // Processes that wait for their next query: few run at once but where many printers are new.
  static constexpr std::size_t kMostIdle = 8;

  // Queries of a process: what it leaks, and who may have taken it over, goes with it.
  static constexpr int kMostQueries = 100;

  // `command` starts it, with the requests on its standard input.
  QueryServer(boost::asio::io_context& context, std::vector<std::string> command);

  // Ends it with all that came from it.
  ~QueryServer();

  QueryServer(const QueryServer&) = delete;
  QueryServer& operator=(const QueryServer&) = delete;
  QueryServer(QueryServer&&) = delete;
  QueryServer& operator=(QueryServer&&) = delete;

  // Has a process begin a query: one that waits for it, or a new one. On failure the errno.
  boost::asio::awaitable<tl::expected<QueryProcess, int>> begin(QueryRequest request);

  // Takes back one whose query has gone well, for another one.
  void takeBack(QueryProcess process);

 private:
  [[nodiscard]] int start();
  [[nodiscard]] bool isGone();
  boost::asio::awaitable<int> fork(std::string request, FileDescriptor socket);

  boost::asio::io_context& mContext;
  std::vector<std::string> mCommand;
  boost::asio::posix::stream_descriptor mRequests;
  Process mProcess;
  std::vector<QueryProcess> mIdle;
};

}  // namespace moxsupply
