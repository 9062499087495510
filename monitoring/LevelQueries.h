#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "monitoring/Prober.h"
#include "monitoring/QueryResult.h"

namespace boost::asio {
class io_context;
}

namespace moxsupply {

class Query;
class QueryServer;

// Queries, each a process: the module asks a printer on descriptors 1 and 3 of its process, of
// which there is one pair only, and what a printer or a print server sends is decoded apart.
class LevelQueries {
 public:
  using OnEnd = std::function<void(Prober::Id, QueryResult)>;

  struct Commands {
    // The command that asks one printer and writes its report as JSON, by the deadline, or that
    // reads a print queue (QueueLevelsCommand). It has the URI in its environment, as DEVICE_URI:
    // others see arguments, and passwords in them.
    std::function<std::vector<std::string>(const Prober::Assignment&)> commandFor;

    // The one from which queries of printers on the network are forked instead (QueryServer); empty
    // starts a program for them, too.
    std::vector<std::string> server = {};
  };

  // A program that has not ended a second after its deadline is killed, and what was forked at its
  // deadline.
  LevelQueries(boost::asio::io_context& context, Commands commands, OnEnd onEnd);

  // Kills those that still run.
  ~LevelQueries();

  LevelQueries(const LevelQueries&) = delete;
  LevelQueries& operator=(const LevelQueries&) = delete;
  LevelQueries(LevelQueries&&) = delete;
  LevelQueries& operator=(LevelQueries&&) = delete;

  // Its end is told later, also when the process cannot be started.
  void begin(const Prober::Assignment& assignment);

  // Kills it. Its end is not told.
  void stop(Prober::Id id);

 private:
  class StartedQuery;  // a program, from its start to its end

  [[nodiscard]] std::shared_ptr<Query> queryFor(const Prober::Assignment& assignment);

  boost::asio::io_context& mContext;
  Commands mCommands;
  OnEnd mOnEnd;
  std::unique_ptr<QueryServer> mServer;
  std::map<Prober::Id, std::shared_ptr<Query>> mRunning;
};

}  // namespace moxsupply
