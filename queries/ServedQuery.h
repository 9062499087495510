#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "links/ConnectedQuery.h"
#include "links/TcpLink.h"
#include "queries/Query.h"
#include "queries/QueryServer.h"

namespace moxsupply {

// A query of a printer on the network, in a process that may not connect (ConnectedQuery): the
// connections that it needs are made here, and handed over. A name is looked up by another process.
class ServedQuery : public Query {
 public:
  // `server` must outlive it.
  ServedQuery(boost::asio::io_context& context, QueryServer& server, QueryRequest request);

  boost::asio::awaitable<LevelsEnding> run() override;
  void stop() override;

 private:
  boost::asio::awaitable<void> talk();
  boost::asio::awaitable<void> have(QueryTask task);
  boost::asio::awaitable<bool> hear();
  boost::asio::awaitable<bool> connect();
  boost::asio::awaitable<int> connectTo(const NetworkAddress& address);
  boost::asio::awaitable<void> awaitTime();
  bool takeAddresses(std::string_view bytes);
  void end();

  QueryServer& mServer;
  QueryRequest mRequest;
  boost::asio::steady_timer mTime;  // cancelled, it is over at once
  std::optional<QueryProcess> mProcess;
  bool mHasSpoken = false;
  boost::asio::posix::stream_descriptor mLink;  // while it is being made
  std::vector<NetworkAddress> mAddresses;
  int mConnections = 0;
  std::string mResult;
  LevelsEnding mEnding;
};

}  // namespace moxsupply
