#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "http/Http.h"
#include "system/FileDescriptor.h"

namespace boost::asio {
class io_context;
}

namespace moxsupply {

// The connections of HTTP clients. None of them can keep the others waiting: one that is slow to
// ask, waits for its answer or is slow to take it costs a descriptor and a little memory, both
// bounded.
class HttpServer {
 public:
  using Clock = std::chrono::steady_clock;

  // An answer that there will be: with news of `topic`, or at a time without.
  struct Wait {
    std::string topic;
    Clock::time_point until;
  };
  struct Reply {
    HttpAnswer answer;
    std::optional<Wait> wait;
  };

  // Answers to a request, which came at `arrived`. When it says that it waits, it is asked again
  // after that, and when that time is over `isLast`, so that it then answers.
  using OnRequest =
      std::function<Reply(const HttpRequest& request, Clock::time_point arrived, bool isLast)>;

  // The bounds on a connection.
  static constexpr std::chrono::seconds kPatienceForHead{5};     // from its first byte on
  static constexpr std::chrono::seconds kPatienceForNext{75};    // request on the same connection
  static constexpr std::chrono::seconds kPatienceForAnswer{30};  // to take all of it
  static constexpr std::chrono::seconds kPatienceForEnd{2};      // to hang up
  static constexpr std::size_t kLongestAnswer = std::size_t{4} << 20U;
  static constexpr std::size_t kMostAnswerBytes = std::size_t{64} << 20U;  // of all connections

  // Whether a request is answered before all that came earlier.
  using IsUrgent = std::function<bool(const HttpRequest& request)>;

  // `listener` listens. Beyond `mostConnections`, whoever has waited longest in vain makes room.
  HttpServer(boost::asio::io_context& context, FileDescriptor listener, std::size_t mostConnections,
             OnRequest onRequest, IsUrgent isUrgent);
  ~HttpServer();

  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  HttpServer(HttpServer&&) = delete;
  HttpServer& operator=(HttpServer&&) = delete;

  // There is news of this topic.
  void wake(const std::string& topic);

 private:
  class Connections;
  std::shared_ptr<Connections> mConnections;
};

}  // namespace moxsupply
