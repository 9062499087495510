#pragma once

#include <boost/asio/awaitable.hpp>

#include "queries/QueryResult.h"

namespace moxsupply {

// One query that is under way, in a process of its own.
class Query {
 public:
  Query() = default;
  virtual ~Query() = default;
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  Query(Query&&) = delete;
  Query& operator=(Query&&) = delete;

  // Begins it; how it ended.
  virtual boost::asio::awaitable<LevelsEnding> run() = 0;

  // Kills it; `run` goes on to its end.
  virtual void stop() = 0;

  bool isStopped = false;
};

}  // namespace moxsupply
