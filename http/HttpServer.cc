#include "http/HttpServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <deque>
#include <exception>
#include <list>
#include <new>
#include <tuple>
#include <utility>

namespace moxsupply {

namespace {

namespace asio = boost::asio;
using asio::awaitable;
using asio::use_awaitable;
using asio::ip::tcp;
using boost::system::error_code;
using namespace asio::experimental::awaitable_operators;

using Clock = HttpServer::Clock;
using Timer = asio::steady_timer;

// How much is thrown away of what a client sends after its last request.
constexpr std::size_t kMostDiscarded = 65536;

// How many clients are taken in before those that are here are looked after.
constexpr std::size_t kMostAtOnce = 256;

// Lets one after the other have its turn, with all that happens in between: however many come at
// once, a new client is heard soon.
class Turns {
 public:
  explicit Turns(asio::io_context& context) : mContext(context) {}

  // A turn, for as long as it lives. What gives it on is made at its beginning, when there may be
  // no memory for it; at its end, nobody would have a turn any more.
  class Turn {
   public:
    explicit Turn(Turns& turns) try : mOver(turns.mContext, Timer::time_point::max()) {
      mOver.async_wait([&turns](const error_code& /*over*/) { turns.giveOn(); });
    } catch (...) {
      turns.giveOn();
    }

   private:
    Timer mOver;  // its own end ends the wait
  };

  // To be waited for before a Turn is made.
  awaitable<void> await() {
    if (!std::exchange(mIsTaken, true)) co_return;
    Timer mine(mContext, Timer::time_point::max());
    mWaiting.push_back(&mine);
    try {
      error_code ignored;
      co_await mine.async_wait(asio::redirect_error(use_awaitable, ignored));
    } catch (...) {
      std::erase(mWaiting, &mine);
      throw;
    }
  }

 private:
  void giveOn() {
    mIsTaken = !mWaiting.empty();
    if (!mIsTaken) return;
    mWaiting.front()->cancel();
    mWaiting.pop_front();
  }

  asio::io_context& mContext;
  bool mIsTaken = false;
  std::deque<Timer*> mWaiting;
};

// What a connection is doing.
enum class State : std::uint8_t {
  kIdle,     // between two requests
  kAsking,   // its request is coming
  kEnding,   // all is said; the client may hang up
  kTaking,   // its answer goes out
  kWaiting,  // for news
};

struct Connection : std::enable_shared_from_this<Connection> {
  explicit Connection(tcp::socket accepted)
      : socket(std::move(accepted)), limit(socket.get_executor()), news(socket.get_executor()) {}

  void enter(State next) {
    state = next;
    since = Clock::now();
  }

  tcp::socket socket;
  Timer limit;         // of what it is doing now
  Timer news;          // never expires; to cancel it tells of news
  std::string unread;  // came behind the head of the last request
  State state = State::kAsking;
  Clock::time_point since = Clock::now();
  std::string topic;            // of the news that it waits for
  std::size_t answerBytes = 0;  // that it is taking
  bool hasBegunAnswer = false;  // the first bytes of the next answer have gone out
  bool isHalfClosed = false;    // the client has said that it will not send more
};

}  // namespace

class HttpServer::Connections : public std::enable_shared_from_this<Connections> {
 public:
  Connections(asio::io_context& context, FileDescriptor listener, std::size_t mostConnections,
              OnRequest onRequest, IsUrgent isUrgent)
      : mContext(context),
        mListener(context),
        mTurns(context),
        mMostConnections(mostConnections),
        mOnRequest(std::move(onRequest)),
        mIsUrgent(std::move(isUrgent)) {
    mListener.assign(protocolOf(listener.get()), listener.release());
    mListener.non_blocking(true);
  }

  // What ends it, but for its own close, ends the whole: nobody would be heard any more.
  void begin() {
    asio::co_spawn(mContext, acceptAll(shared_from_this()), [](const std::exception_ptr& failed) {
      if (failed) std::rethrow_exception(failed);
    });
  }

  void close() {
    error_code ignored;
    mListener.close(ignored);
    for (const auto& connection : mAll) end(*connection);
  }

  void wake(const std::string& topic) {
    for (const auto& connection : mAll) {
      if (connection->state == State::kWaiting && connection->topic == topic) {
        connection->news.cancel();
      }
    }
  }

 private:
  using Self = std::shared_ptr<Connections>;

  static tcp protocolOf(int listener) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    return address.ss_family == AF_INET6 ? tcp::v6() : tcp::v4();
  }

  // Lets a connection go: whatever its coroutine waits for fails.
  static void end(Connection& connection) {
    error_code ignored;
    connection.socket.close(ignored);
    unlimit(connection);
    connection.news.cancel();
  }

  awaitable<void> acceptAll(Self self) {
    while (mListener.is_open()) {
      bool hasRoom = false;
      try {
        hasRoom = co_await acceptSome(self);
      } catch (const std::bad_alloc&) {
        // There may be memory again once there are fewer clients.
      }
      if (hasRoom) continue;
      makeRoom();
      error_code ignored;
      Timer pause(mContext, std::chrono::milliseconds(100));
      co_await pause.async_wait(asio::redirect_error(use_awaitable, ignored));
    }
  }

  // Returns whether the system had room for the next.
  awaitable<bool> acceptSome(Self self) {
    error_code error;
    tcp::socket socket =
        co_await mListener.async_accept(asio::redirect_error(use_awaitable, error));
    if (error == asio::error::no_descriptors || error == asio::error::no_memory ||
        error == asio::error::no_buffer_space) {
      co_return false;
    }
    if (error) co_return true;
    if (mAll.size() >= mMostConnections) makeRoom();
    take(self, std::move(socket));
    // As many as have a place come in before any of them has its turn.
    for (std::size_t count = 1; count < kMostAtOnce && mAll.size() < mMostConnections; ++count) {
      tcp::socket next = mListener.accept(error);
      if (error) break;
      take(self, std::move(next));
    }
    co_return true;
  }

  void take(const Self& self, tcp::socket socket) {
    // A program that this one starts would keep it open. (The library has no accept that says so.)
    ::fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
    const auto connection = std::make_shared<Connection>(std::move(socket));
    mAll.push_back(connection);
    try {
      asio::co_spawn(mContext, serve(self, connection), asio::detached);
    } catch (...) {
      mAll.remove(connection);
      throw;
    }
  }

  // Who has hung up goes first, though it may still listen; otherwise who wants nothing now,
  // otherwise who has been at it for longest.
  void makeRoom() {
    using Rank = std::tuple<bool, bool, Clock::time_point>;
    Connection* last = nullptr;
    Rank lowest;
    for (const auto& connection : mAll) {
      // One that has been let go already is only waiting for its turn to notice.
      if (!connection->socket.is_open()) continue;
      const bool wants = connection->state != State::kIdle && connection->state != State::kEnding;
      const Rank rank(lookAt(*connection) == 0, wants, connection->since);
      if (last != nullptr && rank >= lowest) continue;
      last = connection.get();
      lowest = rank;
    }
    if (last != nullptr) end(*last);
  }

  // What can be seen of the client's end: POLLRDHUP when it will not send more, POLLERR or POLLHUP
  // when nobody is there.
  static short lookAt(Connection& connection) {
    pollfd end = {.fd = connection.socket.native_handle(), .events = POLLRDHUP, .revents = 0};
    ::poll(&end, 1, 0);
    return end.revents;
  }

  // Whether nobody would take an answer; from far away that may be seen too late.
  static bool hasGone(Connection& connection) {
    if (!connection.socket.is_open()) return true;
    if ((lookAt(connection) & POLLRDHUP) != 0) beginAnswer(connection);
    return (lookAt(connection) & (POLLERR | POLLHUP)) != 0;
  }

  // Of a client that has gone there is no other sign than the end of what it sends, which one that
  // only has finished asking shows, too. So the first bytes of its answer, which are the same
  // whatever it will be, are sent: only where nobody is left does the network refuse them.
  static void beginAnswer(Connection& connection) {
    if (connection.hasBegunAnswer) return;
    // So few go as a whole or not at all.
    connection.hasBegunAnswer = ::send(connection.socket.native_handle(), kAnswerBegins.data(),
                                       kAnswerBegins.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0;
  }

  // One connection, from its first byte to its last.
  awaitable<void> serve(Self /*self*/, std::shared_ptr<Connection> connection) {
    try {
      while (co_await serveOne(*connection)) {
      }
      co_await takeLeave(*connection);
    } catch (const std::exception&) {
      // Whatever went wrong, it ends this connection only.
    }
    end(*connection);
    mAll.remove(connection);
  }

  // One request and its answer. Returns whether another one may follow.
  awaitable<bool> serveOne(Connection& connection) {
    HttpHead head;
    if (!co_await receive(connection, head)) co_return false;
    const auto request = head.mistake() ? std::nullopt : head.request();
    if (!request) {
      co_await send(connection, lineOfText(head.mistake()->status, head.mistake()->what), false,
                    true);
      co_return false;
    }
    const auto arrived = Clock::now();
    const auto answer = co_await answerTo(connection, *request, arrived);
    if (!answer) co_return false;
    const bool goesOn = request->keepsAlive && !connection.isHalfClosed;
    const bool isSent =
        co_await send(connection, *answer, request->method == HttpRequest::Method::kHead, !goesOn);
    co_return isSent&& goesOn;
  }

  // Gives a connection so much time for what it does next.
  static void limit(Connection& connection, Clock::duration time) {
    connection.limit.expires_after(time);
    connection.limit.async_wait([weak = connection.weak_from_this()](const error_code& error) {
      const auto late = weak.lock();
      // What has expired may have been given more time since.
      if (!error && late && late->limit.expiry() <= Clock::now()) end(*late);
    });
  }

  static void unlimit(Connection& connection) {
    connection.limit.expires_at(Timer::time_point::max());
  }

  // Returns whether a head came, whole or with a mistake in it; and not the client's end.
  static awaitable<bool> receive(Connection& connection, HttpHead& head) {
    const bool isFirst = connection.state == State::kAsking;
    if (!isFirst) connection.enter(State::kIdle);
    bool isLimited = isFirst;
    limit(connection, isFirst ? Clock::duration(kPatienceForHead) : kPatienceForNext);
    for (;;) {
      std::string_view unread = connection.unread;
      head.take(unread);
      connection.unread.erase(0, connection.unread.size() - unread.size());
      if (head.isWhole() || head.mistake()) break;
      if (head.hasBegun() && !isLimited) {
        connection.enter(State::kAsking);
        limit(connection, kPatienceForHead);
        isLimited = true;
      }
      std::array<char, HttpHead::kLongest> buffer{};
      error_code error;
      const std::size_t count = co_await connection.socket.async_read_some(
          asio::buffer(buffer), asio::redirect_error(use_awaitable, error));
      if (error) co_return false;
      connection.unread.append(buffer.data(), count);
    }
    unlimit(connection);
    co_return true;
  }

  // Nothing when the client has gone meanwhile.
  awaitable<std::optional<HttpAnswer>> answerTo(Connection& connection, const HttpRequest& request,
                                                Clock::time_point arrived) {
    for (bool isLast = false;;) {
      auto reply = co_await replyInTurn(connection, request, arrived, isLast);
      if (!reply) co_return std::nullopt;
      if (!reply->wait) co_return std::move(reply->answer);
      connection.enter(State::kWaiting);
      connection.topic = reply->wait->topic;
      if (!co_await awaitNews(connection, reply->wait->until)) co_return std::nullopt;
      isLast = true;
    }
  }

  // Nothing when the client has gone, or was let go while it waited for its turn: to make an answer
  // for nobody would keep others waiting until they are let go, too.
  awaitable<std::optional<Reply>> replyInTurn(Connection& connection, const HttpRequest& request,
                                              Clock::time_point arrived, bool isLast) {
    if (mIsUrgent(request)) co_return reply(request, arrived, isLast);
    co_await mTurns.await();
    const Turns::Turn turn(mTurns);
    if (hasGone(connection)) co_return std::nullopt;
    co_return reply(request, arrived, isLast);
  }

  Reply reply(const HttpRequest& request, Clock::time_point arrived, bool isLast) const {
    Reply reply;
    try {
      reply = mOnRequest(request, arrived, isLast);
      if (!reply.wait && reply.answer.body->size() > kLongestAnswer) {
        reply.answer = lineOfText(500, "The answer is too long.");
      }
    } catch (const std::exception&) {
      reply.answer = lineOfText(500, "This could not be answered.");
    }
    return reply;
  }

  // Waits for news or for the time. Returns whether the client is still there: one that has gone
  // gives its place back at once.
  static awaitable<bool> awaitNews(Connection& connection, Clock::time_point until) {
    connection.news.expires_at(Timer::time_point::max());
    Timer time(connection.socket.get_executor(), until);
    const auto happened = co_await (waitFor(connection.news) || waitFor(time) || watch(connection));
    co_return happened.index() != 2 && connection.socket.is_open();
  }

  static awaitable<void> waitFor(Timer& timer) {
    error_code ignored;
    co_await timer.async_wait(asio::redirect_error(use_awaitable, ignored));
  }

  // Returns when the client has gone.
  static awaitable<void> watch(Connection& connection) {
    error_code error;
    while (!connection.isHalfClosed) {
      if (connection.unread.size() >= HttpHead::kLongest) break;  // enough for later
      std::array<char, 1024> buffer{};
      const std::size_t count = co_await connection.socket.async_read_some(
          asio::buffer(buffer), asio::redirect_error(use_awaitable, error));
      connection.unread.append(buffer.data(), count);
      connection.isHalfClosed = error == asio::error::eof;
      if (error && !connection.isHalfClosed) co_return;
    }
    if (connection.isHalfClosed) beginAnswer(connection);
    co_await connection.socket.async_wait(tcp::socket::wait_error,
                                          asio::redirect_error(use_awaitable, error));
  }

  // Returns whether all of it went out.
  awaitable<bool> send(Connection& connection, const HttpAnswer& answer, bool isHead, bool closes) {
    const std::string head = headOf(answer, closes);
    std::string_view rest = head;
    if (std::exchange(connection.hasBegunAnswer, false)) rest.remove_prefix(kAnswerBegins.size());
    const std::string_view body = isHead ? std::string_view() : std::string_view(*answer.body);
    connection.enter(State::kTaking);
    connection.answerBytes = rest.size() + body.size();
    makeRoomForAnswers(connection);
    limit(connection, kPatienceForAnswer);
    error_code error;
    const std::array<asio::const_buffer, 2> buffers = {asio::buffer(rest), asio::buffer(body)};
    co_await asio::async_write(connection.socket, buffers,
                               asio::redirect_error(use_awaitable, error));
    unlimit(connection);
    connection.answerBytes = 0;
    co_return !error;
  }

  // Whoever has been taking its answer for longest makes room for those of others.
  void makeRoomForAnswers(const Connection& newest) {
    std::size_t all = 0;
    for (const auto& connection : mAll) all += connection->answerBytes;
    for (const auto& connection : mAll) {  // the oldest connection first
      if (all <= kMostAnswerBytes) return;
      if (connection.get() == &newest || connection->state != State::kTaking) continue;
      all -= std::exchange(connection->answerBytes, 0);
      end(*connection);
    }
  }

  // The client hangs up first: were there something left of it to read, its end of the connection
  // would be reset, and the answer with it.
  static awaitable<void> takeLeave(Connection& connection) {
    connection.enter(State::kEnding);
    error_code error;
    connection.socket.shutdown(tcp::socket::shutdown_send, error);
    limit(connection, kPatienceForEnd);
    std::size_t discarded = 0;
    while (!error && discarded <= kMostDiscarded) {
      std::array<char, 4096> buffer{};
      discarded += co_await connection.socket.async_read_some(
          asio::buffer(buffer), asio::redirect_error(use_awaitable, error));
    }
  }

  asio::io_context& mContext;
  tcp::acceptor mListener;
  Turns mTurns;
  std::size_t mMostConnections;
  OnRequest mOnRequest;
  IsUrgent mIsUrgent;
  std::list<std::shared_ptr<Connection>> mAll;  // in the order of arrival
};

HttpServer::HttpServer(asio::io_context& context, FileDescriptor listener,
                       std::size_t mostConnections, OnRequest onRequest, IsUrgent isUrgent)
    : mConnections(std::make_shared<Connections>(context, std::move(listener), mostConnections,
                                                 std::move(onRequest), std::move(isUrgent))) {
  mConnections->begin();
}

HttpServer::~HttpServer() {
  try {
    mConnections->close();
  } catch (...) {
    // What could not be let go ends with the context.
  }
}

void HttpServer::wake(const std::string& topic) { mConnections->wake(topic); }

}  // namespace moxsupply
