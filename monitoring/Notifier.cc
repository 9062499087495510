#include "monitoring/Notifier.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "monitoring/Digest.h"
#include "monitoring/Instant.h"
#include "monitoring/Telling.h"
#include "system/FileDescriptor.h"
#include "system/MemoryFile.h"
#include "system/Process.h"

namespace moxsupply {

namespace {

namespace asio = boost::asio;
using asio::posix::stream_descriptor;
using boost::system::error_code;

// Whose notices they are: those of the exporter on this machine.
std::string nameOfThisMachine() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

// Empty where it has worked.
std::string whyNotTold(const Process& process) {
  const auto status = process.shellStatus();
  if (status == 0) return {};
  return status ? fmt::format("ended with {}", *status) : "took too long, and was ended";
}

}  // namespace

class Notifier::Parts {
 public:
  Parts(asio::io_context& context, Settings settings, std::function<void(std::int64_t)> told,
        std::function<void(const std::string&)> log)
      : mSettings(std::move(settings)),
        mTelling(mSettings.every,
                 {.tell = [this](const std::vector<Notice>& notices) { begin(notices); },
                  .told = std::move(told),
                  .log = std::move(log)}),
        mNextMove(context),
        mPatience(context),
        mEnd(context) {}

  void setNotices(std::vector<Notice> notices) {
    mTelling.setNotices(std::move(notices), Instant::now());
    awaitNextMove();
  }

 private:
  void awaitNextMove() {
    mNextMove.expires_at(mTelling.nextMove());
    mNextMove.async_wait([this](const error_code& error) {
      if (error) return;
      mTelling.proceed(Instant::now());
      awaitNextMove();
    });
  }

  void begin(const std::vector<Notice>& notices) {
    const Instant now = Instant::now();
    if (const int error = start(digestOf(notices, nameOfThisMachine(), now.moment)); error != 0) {
      return mTelling.ended(fmt::format("cannot be started: {}", std::strerror(error)), now);
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
      const std::string why = whyNotTold(*mProcess);
      mProcess.reset();  // kills it, and what it has left of its group
      mTelling.ended(why, Instant::now());
      awaitNextMove();
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

  Settings mSettings;
  Telling mTelling;
  asio::steady_timer mNextMove;
  asio::steady_timer mPatience;
  stream_descriptor mEnd;
  std::optional<Process> mProcess;
};

Notifier::Notifier(asio::io_context& context, Settings settings,
                   std::function<void(std::int64_t)> told,
                   std::function<void(const std::string&)> log)
    : mParts(
          std::make_unique<Parts>(context, std::move(settings), std::move(told), std::move(log))) {}

Notifier::~Notifier() = default;

void Notifier::setNotices(std::vector<Notice> notices) { mParts->setNotices(std::move(notices)); }

}  // namespace moxsupply
