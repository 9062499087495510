#include "monitoring/Notifier.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "monitoring/Digest.h"
#include "system/FileDescriptor.h"
#include "system/MemoryFile.h"
#include "system/Process.h"

namespace moxsupply {

namespace {

namespace asio = boost::asio;
using asio::posix::stream_descriptor;
using boost::system::error_code;

constexpr std::chrono::seconds kTryAgainAfter(60);

// Whose notices they are: those of the exporter on this machine.
std::string nameOfThisMachine() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

Moment now() {
  return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

std::string inWords(const Process& process) {
  const auto status = process.shellStatus();
  return status ? fmt::format("ended with {}", *status) : "took too long, and was ended";
}

}  // namespace

class Notifier::Parts {
 public:
  Parts(asio::io_context& context, Settings settings, std::function<void(std::int64_t)> told,
        std::function<void(const std::string&)> log)
      : mSettings(std::move(settings)),
        mTell(std::move(told)),
        mLog(std::move(log)),
        mNextTime(context),
        mPatience(context),
        mEnd(context) {}

  void setNotices(std::vector<Notice> notices) {
    // Of these somebody has been told, though that is not noted yet.
    std::erase_if(notices, [this](const Notice& notice) { return notice.id <= mTold; });
    mNotices = std::move(notices);
    if (!mProcess) plan();
  }

 private:
  void plan() {
    mNextTime.cancel();
    const auto wait = untilDigest(mNotices, mSettings.every, now());
    if (!wait) return;
    mNextTime.expires_at(std::max(std::chrono::steady_clock::now() + *wait, mNotBefore));
    mNextTime.async_wait([this](const error_code& error) {
      if (!error && !mProcess && !mNotices.empty()) begin();
    });
  }

  void begin() {
    mLast = mNotices.back().id;
    if (const int error = start(digestOf(mNotices, nameOfThisMachine(), now())); error != 0) {
      return fail(fmt::format("cannot be started: {}", std::strerror(error)));
    }
    mPatience.expires_after(mSettings.patience);
    mPatience.async_wait([this](const error_code& error) {
      if (!error) mEnd.cancel();
    });
    mEnd.async_wait(stream_descriptor::wait_read, [this](const error_code& error) {
      if (!mProcess) return;
      mPatience.cancel();
      mEnd.close();
      if (!error) mProcess->wait();
      const bool hasWorked = mProcess->shellStatus() == 0;
      const std::string how = inWords(*mProcess);
      mProcess.reset();  // kills it, and what it has left of its group
      if (!hasWorked) return fail(how);
      mHasFailed = false;
      mTold = mLast;
      mTell(mTold);
      setNotices(std::exchange(mNotices, {}));
    });
  }

  // Returns the errno of what went wrong.
  int start(const std::string& digest) {
    const FileDescriptor input = aboveFilterDescriptors(memoryFile(digest));
    const FileDescriptor nowhere =
        aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_WRONLY | O_CLOEXEC)));
    const FileDescriptor log(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!input || !nowhere || !log) return errno;
    auto process = Process::start({.program = "/bin/sh",
                                   .arguments = {"sh", "-c", mSettings.command},
                                   .descriptors = {input.get(), nowhere.get(), log.get()},
                                   .inOwnGroup = true});
    if (!process) return process.error();
    mEnd.assign(::dup(process->descriptor()));
    mProcess = *std::move(process);
    return 0;
  }

  void fail(const std::string& how) {
    if (!std::exchange(mHasFailed, true)) {
      mLog(fmt::format("the command of --notify {}; it is tried again until it works", how));
    }
    const auto pause = std::min(mSettings.every, kTryAgainAfter);
    mNotBefore = std::chrono::steady_clock::now() + pause;
    plan();
  }

  Settings mSettings;
  std::function<void(std::int64_t)> mTell;
  std::function<void(const std::string&)> mLog;
  asio::steady_timer mNextTime;
  asio::steady_timer mPatience;
  stream_descriptor mEnd;
  std::optional<Process> mProcess;
  std::vector<Notice> mNotices;
  std::int64_t mLast = 0;  // of the digest that is being told
  std::int64_t mTold = 0;
  bool mHasFailed = false;
  std::chrono::steady_clock::time_point mNotBefore = std::chrono::steady_clock::time_point::min();
};

Notifier::Notifier(asio::io_context& context, Settings settings,
                   std::function<void(std::int64_t)> told,
                   std::function<void(const std::string&)> log)
    : mParts(
          std::make_unique<Parts>(context, std::move(settings), std::move(told), std::move(log))) {}

Notifier::~Notifier() = default;

void Notifier::setNotices(std::vector<Notice> notices) { mParts->setNotices(std::move(notices)); }

}  // namespace moxsupply
