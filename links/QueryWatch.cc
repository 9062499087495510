#include "links/QueryWatch.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

using std::chrono::milliseconds;

// At least once a second, for the progress line.
constexpr milliseconds kBetweenLooks(1000);

constexpr std::size_t kLongestLine = 4096;

// A printer that is awake takes a connection sooner.
constexpr std::chrono::seconds kMayBeAsleepAfter(3);

}  // namespace

QueryWatch::QueryWatch(std::string waitingFor, const Deadlines& deadlines,
                       std::function<void(const QueryWatch&)> onDeadline)
    : mDeadlines(deadlines), mOnDeadline(std::move(onDeadline)) {
  mProgress.waitingFor(std::move(waitingFor));
  if (!mOnDeadline) return;
  mWake = makePipe(Blocking::kNo);
  if (!mWake) throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
  mThread = std::thread([this] { watch(); });
}

QueryWatch::~QueryWatch() {
  mWake.writeEnd = FileDescriptor();
  if (mThread.joinable()) mThread.join();
}

void QueryWatch::isConnecting(std::string waitingFor) {
  const std::lock_guard lock(mMutex);
  mConnectingTo = waitingFor;
  mProgress.waitingFor(std::move(waitingFor));
  if (mWake) static_cast<void>(writeAll(mWake.writeEnd.get(), "."));
}

void QueryWatch::isAsking(std::string waitingFor) {
  const std::lock_guard lock(mMutex);
  mConnectingTo.clear();
  if (!mConnectedAt) mConnectedAt = Clock::now();
  mProgress.waitingFor(std::move(waitingFor));
}

std::optional<QueryWatch::Clock::time_point> QueryWatch::connectedAt() const {
  const std::lock_guard lock(mMutex);
  return mConnectedAt;
}

void QueryWatch::listenTo(FileDescriptor messages) {
  const std::lock_guard lock(mMutex);
  mMessages = std::move(messages);
  if (mWake) static_cast<void>(writeAll(mWake.writeEnd.get(), "."));
}

std::string QueryWatch::backendMessage() const {
  const std::lock_guard lock(mMutex);
  return mBackendMessage;
}

void QueryWatch::watch() {
  for (auto end = deadline(); Clock::now() < end; end = deadline()) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    std::array<pollfd, 2> sources{};
    {
      const std::lock_guard lock(mMutex);
      sources = {{{.fd = mWake.readEnd.get(), .events = POLLIN, .revents = 0},
                  {.fd = mMessages.get(), .events = POLLIN, .revents = 0}}};
    }
    ::poll(sources.data(), sources.size(),
           static_cast<int>(std::clamp(left, milliseconds(0), kBetweenLooks).count()));

    const std::lock_guard lock(mMutex);
    char wake = 0;
    const bool isOver = sources[0].revents != 0 && ::read(mWake.readEnd.get(), &wake, 1) == 0;
    try {
      hear();
      if (!isOver) showProgress();
    } catch (const std::bad_alloc&) {  // what is said of the wait is not worth its end
    }
    if (isOver) return;
  }
  {
    const std::lock_guard lock(mMutex);
    mProgress.clear();
  }
  mOnDeadline(*this);
}

QueryWatch::Clock::time_point QueryWatch::deadline() const {
  return connectedAt() ? mDeadlines.all : std::min(mDeadlines.connection, mDeadlines.all);
}

void QueryWatch::showProgress() {
  if (!mConnectingTo.empty() && Clock::now() - mStart >= kMayBeAsleepAfter) {
    mProgress.waitingFor(translated("{}; the printer may be asleep", mConnectingTo));
  }
  mProgress.refresh();
}

// Takes in what the backend has said since the last time.
void QueryWatch::hear() {
  std::array<char, kLongestLine> buffer{};
  const ssize_t count = ::read(mMessages.get(), buffer.data(), buffer.size());
  if (count == 0) mMessages = FileDescriptor();
  if (count > 0) mUnfinishedLine.append(buffer.data(), static_cast<std::size_t>(count));

  for (std::size_t end = 0; (end = mUnfinishedLine.find('\n')) != std::string::npos;) {
    const std::string line = mUnfinishedLine.substr(0, end);
    mUnfinishedLine.erase(0, end + 1);
    const std::size_t colon = line.find(": ");
    if (colon == std::string::npos) continue;
    const std::string_view kind = std::string_view(line).substr(0, colon);
    std::string text = forTerminal(std::string_view(line).substr(colon + 2));
    if (kind == "STATE" && text == "-connecting-to-device") {
      mConnectingTo.clear();
      if (!mConnectedAt) mConnectedAt = Clock::now();
    }
    const bool isTrouble = kind == "ERROR" || kind == "WARNING";
    if (kind == "INFO") {
      if (!mConnectedAt) mConnectingTo = text;
      mProgress.waitingFor(text);
    }
    if (isTrouble || (kind == "INFO" && !mBackendHasTrouble)) mBackendMessage = std::move(text);
    mBackendHasTrouble = mBackendHasTrouble || isTrouble;
  }
  if (mUnfinishedLine.size() > kLongestLine) mUnfinishedLine.clear();
}

}  // namespace moxsupply
