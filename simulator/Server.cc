#include "simulator/Server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>
#include <utility>
#include <vector>

namespace moxsupply::simulator {

namespace {

using Clock = Connection::Clock;

// For poll: whole milliseconds from now, rounded up; -1 is for ever.
int timeoutUntil(Clock::time_point time, Clock::time_point now) {
  if (time == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - now).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
}

bool happened(const pollfd& polled) { return polled.revents != 0; }

}  // namespace

Server::Server(const Model& model, FileDescriptor listener, Printer::Complain complain,
               Faults faults)
    : Server(
          [&model]() -> Answers {
            return [&model](Request request) { return answerTo(model, request); };
          },
          std::move(listener), std::move(complain), std::move(faults)) {}

Server::Server(NewConversation newConversation, FileDescriptor listener, Printer::Complain complain,
               Faults faults)
    : mNewConversation(std::move(newConversation)),
      mListener(std::move(listener)),
      mComplain(std::move(complain)),
      mFaults(std::move(faults)) {}

void Server::serve(std::span<const int> until) {
  for (;;) {
    const std::vector<pollfd> polled = poll(until);
    const std::span<const pollfd> all(polled);
    if (std::ranges::any_of(all.first(until.size()), happened)) return;
    proceed(all.subspan(until.size() + 1));
    if (happened(all[until.size()])) acceptAll();
  }
}

std::vector<pollfd> Server::poll(std::span<const int> until) const {
  const auto now = Clock::now();
  auto wakeUpTime = Clock::time_point::max();
  std::vector<pollfd> polled;
  polled.reserve(until.size() + 1 + mConnections.size());
  for (const int descriptor : until) polled.push_back({descriptor, POLLIN, 0});
  polled.push_back({mIsFull ? -1 : mListener.get(), POLLIN, 0});
  for (const Connection& connection : mConnections) {
    const Connection::Wait wait = connection.waitsFor(now);
    polled.push_back({connection.socket(), wait.events, 0});
    wakeUpTime = std::min(wakeUpTime, wait.until);
  }
  ::poll(polled.data(), polled.size(), timeoutUntil(wakeUpTime, now));
  return polled;
}

void Server::proceed(std::span<const pollfd> polled) {
  const auto now = Clock::now();
  auto event = polled.begin();
  const auto ended = mConnections.remove_if(
      [&](Connection& connection) { return !connection.proceed((event++)->revents, now); });
  if (ended > 0) mIsFull = false;
}

void Server::finish() {
  acceptAll();
  for (Connection& connection : mConnections) connection.finish();
  mConnections.clear();
}

void Server::acceptAll() {
  for (;;) {
    FileDescriptor socket(
        ::accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      mIsFull = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
      return;
    }
    const int atOnce = 1;  // a write of a model goes out as it is, and is not joined with the next
    static_cast<void>(::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce));
    mConnections.emplace_back(std::move(socket), Printer(mNewConversation(), mComplain, mFaults),
                              mFaults.neverClose ? AtTheEnd::kStay : AtTheEnd::kHangUp,
                              Connection::Clock::now() + mFaults.wake);
  }
}

}  // namespace moxsupply::simulator
