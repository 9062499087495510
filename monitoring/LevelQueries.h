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

// Queries, each a process: the module asks a printer on descriptors 1 and 3 of its process, of
// which there is one pair only, and what a printer or a print server sends is decoded apart.
class LevelQueries {
 public:
  using OnEnd = std::function<void(Prober::Id, QueryResult)>;

  // The command that asks one printer and writes its report as JSON, by the deadline, or that reads
  // a print queue (QueueLevelsCommand). It has the URI in its environment, as DEVICE_URI: others
  // see arguments, and passwords in them.
  using CommandFor = std::function<std::vector<std::string>(const Prober::Assignment&)>;

  // A process that has not ended a second after its deadline is killed.
  LevelQueries(boost::asio::io_context& context, CommandFor commandFor, OnEnd onEnd);

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
  class Running;  // one process, from its start to its end

  boost::asio::io_context& mContext;
  CommandFor mCommandFor;
  OnEnd mOnEnd;
  std::map<Prober::Id, std::shared_ptr<Running>> mRunning;
};

}  // namespace moxsupply
