#include "monitoring/WebServer.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

namespace moxsupply {

namespace {

constexpr std::string_view kHeadTooLong =
    "HTTP/1.1 431 Request Header Fields Too Large\r\n"
    "Connection: close\r\n"
    "Content-Type: text/plain\r\n"
    "Content-Length: 24\r\n"
    "\r\n"
    "The request is too long\n";

// How much is thrown away of what a client sends after its request.
constexpr std::size_t kMostDiscarded = 65536;

bool isTryAgain(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

// Where the head of a request ends, past its empty line.
std::size_t endOfHead(const std::string& text) {
  const std::size_t strict = text.find("\r\n\r\n");
  return strict == std::string::npos ? strict : strict + 4;
}

}  // namespace

WebServer::WebServer(EventLoop& loop, FileDescriptor listener, std::size_t mostConnections,
                     OnRequest onRequest)
    : mLoop(loop),
      mListener(std::move(listener)),
      mMostConnections(mostConnections),
      mOnRequest(std::move(onRequest)) {
  listen();
}

WebServer::~WebServer() {
  mLoop.forget(mListener.get());
  while (!mConnections.empty()) end(mConnections.begin()->first);
}

void WebServer::listen() {
  mLoop.watch(mListener.get(), EPOLLIN, [this](std::uint32_t) { acceptSome(); });
}

void WebServer::acceptSome() {
  constexpr int kMostAtOnce = 64;  // the others get their turn in between
  for (int i = 0; i < kMostAtOnce; ++i) {
    FileDescriptor socket(
        ::accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket) {
      if (errno == ECONNABORTED || errno == EINTR) continue;
      if (isTryAgain(errno)) return;
      // No descriptor is left. New clients wait until there may be one.
      mLoop.forget(mListener.get());
      mLoop.at(Clock::now() + std::chrono::milliseconds(100), [this] { listen(); });
      return;
    }
    if (!makeRoom()) continue;
    const Id id = mNextId++;
    Connection& connection = mConnections[id];
    connection.socket = std::move(socket);
    limit(id, connection, Clock::now() + kPatienceForHead);
    mLoop.watch(connection.socket.get(), EPOLLIN,
                [this, id](std::uint32_t events) { proceed(id, events); });
  }
}

bool WebServer::makeRoom() {
  if (mConnections.size() < mMostConnections) return true;
  const auto oldest = std::ranges::find_if(
      mConnections, [](const auto& entry) { return entry.second.state != State::kWaiting; });
  if (oldest == mConnections.end()) return false;
  end(oldest->first);
  return true;
}

void WebServer::limit(Id id, Connection& connection, Clock::time_point until) {
  mLoop.cancel(connection.timer);
  connection.timer = mLoop.at(until, [this, id] { timeIsUp(id); });
}

void WebServer::timeIsUp(Id id) {
  Connection& connection = mConnections.at(id);
  const bool goesOn = connection.state == State::kWaiting && ask(id, connection, true);
  if (!goesOn) end(id);
}

void WebServer::proceed(Id id, std::uint32_t events) {
  const auto found = mConnections.find(id);
  if (found == mConnections.end()) return;
  Connection& connection = found->second;
  bool goesOn = (events & (EPOLLERR | EPOLLHUP)) == 0;
  if (goesOn) {
    switch (connection.state) {
      case State::kAsking:
        goesOn = receive(id, connection);
        break;
      case State::kWaiting:
        break;
      case State::kTaking:
        goesOn = send(id, connection);
        break;
      case State::kEnding:
        goesOn = discard(connection);
        break;
    }
  }
  if (!goesOn) end(id);
}

bool WebServer::receive(Id id, Connection& connection) {
  std::array<char, kLongestHead> buffer{};
  const ssize_t count = ::recv(connection.socket.get(), buffer.data(), buffer.size(), 0);
  if (count < 0) return isTryAgain(errno);
  if (count == 0) return false;
  connection.head.append(buffer.data(), static_cast<std::size_t>(count));
  const std::size_t end = endOfHead(connection.head);
  if (std::min(end, connection.head.size()) > kLongestHead) {
    return answer(id, connection, std::string(kHeadTooLong));
  }
  if (end == std::string::npos) return true;
  connection.head.resize(end);
  connection.arrived = Clock::now();
  return ask(id, connection, false);
}

bool WebServer::ask(Id id, Connection& connection, bool isLast) {
  Answer said = mOnRequest(connection.head, connection.arrived, isLast);
  if (said.wait && !isLast) {
    connection.state = State::kWaiting;
    connection.topic = said.wait->topic;
    mWaiting.emplace(connection.topic, id);
    mLoop.change(connection.socket.get(), 0);  // its end is still told
    limit(id, connection, said.wait->until);
    return true;
  }
  return answer(id, connection, std::move(said.bytes));
}

void WebServer::wake(const std::string& topic) {
  const auto [begin, end] = mWaiting.equal_range(topic);
  std::vector<Id> woken;
  std::transform(begin, end, std::back_inserter(woken),
                 [](const auto& entry) { return entry.second; });
  for (const Id id : woken) timeIsUp(id);
}

bool WebServer::answer(Id id, Connection& connection, std::string bytes) {
  if (connection.state == State::kWaiting) {
    const auto [begin, end] = mWaiting.equal_range(connection.topic);
    mWaiting.erase(std::find_if(begin, end, [&](const auto& entry) { return entry.second == id; }));
  }
  connection.state = State::kTaking;
  connection.answer = std::move(bytes);
  mAnswerBytes += connection.answer.size();
  limit(id, connection, Clock::now() + kPatienceForAnswer);
  // Whoever has been taking its answer for longest makes room.
  for (auto other = mConnections.begin(); mAnswerBytes > kMostAnswerBytes;) {
    if (other->first == id) break;
    const Id candidate = (other++)->first;
    if (mConnections.at(candidate).state == State::kTaking) end(candidate);
  }
  return send(id, connection);
}

bool WebServer::send(Id id, Connection& connection) {
  const std::string& answer = connection.answer;
  while (connection.sent < answer.size()) {
    const ssize_t count = ::send(connection.socket.get(), answer.data() + connection.sent,
                                 answer.size() - connection.sent, MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && !isTryAgain(errno)) return false;
    if (count < 0) {
      mLoop.change(connection.socket.get(), EPOLLOUT);
      return true;
    }
    connection.sent += static_cast<std::size_t>(count);
  }
  mAnswerBytes -= std::exchange(connection.answer, {}).size();
  connection.state = State::kEnding;
  // The client hangs up first: were there something left of it to read, its end of the connection
  // would be reset, and the answer with it.
  ::shutdown(connection.socket.get(), SHUT_WR);
  mLoop.change(connection.socket.get(), EPOLLIN);
  limit(id, connection, Clock::now() + kPatienceForEnd);
  return true;
}

bool WebServer::discard(Connection& connection) {
  std::array<char, 4096> buffer{};
  const ssize_t count = ::recv(connection.socket.get(), buffer.data(), buffer.size(), 0);
  if (count < 0) return isTryAgain(errno);
  connection.discarded += static_cast<std::size_t>(count);
  return count > 0 && connection.discarded <= kMostDiscarded;
}

void WebServer::end(Id id) {
  Connection& connection = mConnections.at(id);
  if (connection.state == State::kWaiting) {
    const auto [begin, end] = mWaiting.equal_range(connection.topic);
    mWaiting.erase(std::find_if(begin, end, [&](const auto& entry) { return entry.second == id; }));
  }
  mAnswerBytes -= connection.answer.size();
  mLoop.cancel(connection.timer);
  mLoop.forget(connection.socket.get());
  mConnections.erase(id);
}

}  // namespace moxsupply
