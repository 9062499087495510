#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <string>
#include <vector>

#include "system/FileDescriptor.h"
#include "system/Process.h"

namespace moxsupply {

// The process from which queries are forked (ForkServer). One that is gone is started again by the
// next query; those that came from it have ended with it.
class QueryServer {
 public:
  // `command` starts it, with the requests on its standard input.
  QueryServer(boost::asio::io_context& context, std::vector<std::string> command);

  // Ends it with all that came from it.
  ~QueryServer();

  QueryServer(const QueryServer&) = delete;
  QueryServer& operator=(const QueryServer&) = delete;
  QueryServer(QueryServer&&) = delete;
  QueryServer& operator=(QueryServer&&) = delete;

  // Has it fork a query, which talks over `socket`. Returns 0, or the errno of what went wrong.
  boost::asio::awaitable<int> begin(std::string request, FileDescriptor socket);

 private:
  [[nodiscard]] int start();

  std::vector<std::string> mCommand;
  boost::asio::posix::stream_descriptor mRequests;
  Process mProcess;
};

}  // namespace moxsupply
