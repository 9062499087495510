#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "queries/Assignment.h"
#include "queries/QueryResult.h"

namespace boost::asio {
class io_context;
}

namespace moxsupply {

class Query;
class QueryServer;

// Queries that are under way, each in a process: the module asks a printer on descriptors 1 and 3
// of its process, of which there is one pair only, and what a printer or a print server sends is
// decoded apart.
class LevelQueries {
 public:
  using OnEnd = std::function<void(Assignment::Id, QueryResult)>;

  struct Commands {
    // The command that asks one printer and writes its report as JSON, by the deadline, or that
    // reads print queues (QueueLevelsCommand). It has the URIs in its environment, as DEVICE_URI:
    // others see arguments, and passwords in them.
    std::function<std::vector<std::string>(const Assignment&)> commandFor;

    // The one whose copies ask printers on the network instead (QueryServer); empty starts a
    // program for them, too.
    std::vector<std::string> server = {};
  };

  // Of one print server, in one process and over one connection.
  static constexpr std::size_t kMostQueuesAtOnce = 64;

  // A program that has not ended a second after its deadline is killed, and such a copy at its
  // deadline.
  LevelQueries(boost::asio::io_context& context, Commands commands, OnEnd onEnd);

  // Kills those that still run.
  ~LevelQueries();

  LevelQueries(const LevelQueries&) = delete;
  LevelQueries& operator=(const LevelQueries&) = delete;
  LevelQueries(LevelQueries&&) = delete;
  LevelQueries& operator=(LevelQueries&&) = delete;

  // Its end is told later, also when the process cannot be started.
  // Of the queues of one print server so many are read together; those that come while it is read
  // wait for the next turn, which is when their deadline begins.
  void begin(const Assignment& assignment);

  // Kills it. Its end is not told.
  void stop(Assignment::Id id);

 private:
  class StartedQuery;  // a program, from its start to its end

  // The queues of a print server that are to be read.
  struct Server {
    std::vector<Assignment> waiting = {};
    std::vector<std::optional<Assignment>> asked = {};  // none: it was stopped
    std::shared_ptr<Query> query = {};
  };

  [[nodiscard]] std::shared_ptr<Query> queryFor(const Assignment& assignment);
  void run(const std::shared_ptr<Query>& query, std::function<void(const LevelsEnding&)> onEnd);
  void readQueuesSoon(const std::string& server);
  void readQueues(const std::string& server);
  void takeQueues(const std::string& server, const LevelsEnding& ending);
  bool stopQueue(Assignment::Id id);

  boost::asio::io_context& mContext;
  Commands mCommands;
  OnEnd mOnEnd;
  std::unique_ptr<QueryServer> mServer;
  std::map<Assignment::Id, std::shared_ptr<Query>> mRunning;
  std::map<std::string, Server> mPrintServers;  // by HOST:PORT
  std::shared_ptr<void> mIsThere = std::make_shared<char>();
};

}  // namespace moxsupply
