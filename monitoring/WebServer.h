#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "monitoring/EventLoop.h"
#include "system/FileDescriptor.h"

namespace moxsupply {

// The connections of HTTP clients, one request each. None of them can keep the others waiting: a
// client that is slow to ask, waits for its answer or is slow to take it costs a descriptor and a
// little memory, both bounded, and no thread.
class WebServer {
 public:
  using Clock = EventLoop::Clock;

  // An answer, or what it waits for: `topic`, or a time at which it comes without.
  struct Wait {
    std::string topic;
    Clock::time_point until;
  };
  struct Answer {
    std::string bytes;
    std::optional<Wait> wait;
  };

  // Answers to the head of a request, which came at `arrived`. When it says that it waits, it is
  // asked again after that, as `isLast`, and then answers.
  using OnRequest =
      std::function<Answer(const std::string& head, Clock::time_point arrived, bool isLast)>;

  // The bounds on a connection.
  static constexpr std::size_t kLongestHead = 8192;                        // bytes of a request
  static constexpr std::chrono::seconds kPatienceForHead{5};               // for all of it
  static constexpr std::chrono::seconds kPatienceForAnswer{30};            // to take all of it
  static constexpr std::chrono::seconds kPatienceForEnd{2};                // to hang up
  static constexpr std::size_t kMostAnswerBytes = std::size_t{64} << 20U;  // of all connections

  // `listener` listens and does not block. Beyond `mostConnections` the one goes that has been
  // asking or taking its answer for longest.
  WebServer(EventLoop& loop, FileDescriptor listener, std::size_t mostConnections,
            OnRequest onRequest);
  ~WebServer();

  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;
  WebServer(WebServer&&) = delete;
  WebServer& operator=(WebServer&&) = delete;

  // Answers to all that wait for this.
  void wake(const std::string& topic);

 private:
  using Id = std::uint64_t;  // in the order of arrival

  enum class State : std::uint8_t { kAsking, kWaiting, kTaking, kEnding };

  struct Connection {
    FileDescriptor socket;
    State state = State::kAsking;
    std::string head;
    Clock::time_point arrived;
    std::string topic;
    std::string answer;
    std::size_t sent = 0;
    std::size_t discarded = 0;
    EventLoop::Timer timer;
  };

  void listen();
  void acceptSome();
  bool makeRoom();
  void proceed(Id id, std::uint32_t events);
  bool receive(Id id, Connection& connection);
  bool ask(Id id, Connection& connection, bool isLast);
  bool answer(Id id, Connection& connection, std::string bytes);
  bool send(Id id, Connection& connection);
  static bool discard(Connection& connection);
  void limit(Id id, Connection& connection, Clock::time_point until);
  void timeIsUp(Id id);
  void end(Id id);

  EventLoop& mLoop;
  FileDescriptor mListener;
  std::size_t mMostConnections;
  OnRequest mOnRequest;
  std::map<Id, Connection> mConnections;
  std::multimap<std::string, Id> mWaiting;  // by topic
  std::size_t mAnswerBytes = 0;             // that are being taken
  Id mNextId = 0;
};

}  // namespace moxsupply
