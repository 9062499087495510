#include "links/Recording.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "text/TerminalText.h"
#include "text/Translated.h"
#include "transcript/TranscriptWriter.h"

namespace moxsupply {

namespace {

constexpr mode_t kForOwnerAlone = 0600;

// Whether a file is empty or begins as a transcript does.
bool mayBeReplaced(int file) {
  const std::string header = transcript::headerLine();
  const std::string_view format = std::string_view(header).substr(0, header.find(' ') + 1);
  std::array<char, 64> begin{};
  const ssize_t count = ::pread(file, begin.data(), format.size(), 0);
  return count == 0 ||
         (count > 0 && std::string_view(begin.data(), static_cast<std::size_t>(count)) == format);
}

// Why a file that was there is not to be recorded into; empty when it may be.
std::string whyNot(int file) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return translated("it is no regular file");
  if (status.st_uid != ::geteuid()) return translated("it belongs to somebody else");
  if (status.st_nlink != 1) return translated("it has another name, too");
  if (::flock(file, LOCK_EX | LOCK_NB) != 0)
    return translated("another query is being recorded there");
  if (!mayBeReplaced(file)) return translated("it is there already and is no transcript");
  return {};
}

// Opens the file, which may be there. Whatever else may stand under the name is not waited for.
FileDescriptor openForRecording(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  FileDescriptor file(::open(path.c_str(), kFlags | O_CREAT | O_EXCL, kForOwnerAlone));
  if (!file && errno == EEXIST) file = FileDescriptor(::open(path.c_str(), kFlags));
  return aboveFilterDescriptors(std::move(file));
}

}  // namespace

Result<std::unique_ptr<Recording>> Recording::create(const std::string& path, Redact redact) {
  const auto refusal = [&](std::string_view why) {
    return misuse(translated("cannot record into \"{}\": {}", forTerminal(path), why));
  };
  FileDescriptor file = openForRecording(path);
  if (!file) {
    return refusal(errno == ELOOP ? translated("it is a symbolic link") : std::strerror(errno));
  }
  if (const std::string why = whyNot(file.get()); !why.empty()) return refusal(why);
  if (::fchmod(file.get(), kForOwnerAlone) != 0 || ::ftruncate(file.get(), 0) != 0) {
    return refusal(std::strerror(errno));
  }
  auto recording = std::make_unique<Recording>(path, std::move(file), redact);
  if (const auto whole = recording->isWhole(); !whole) return tl::unexpected(whole.error());
  return recording;
}

std::unique_ptr<Recording> Recording::forNobody() {
  return std::make_unique<Recording>("", FileDescriptor(), Redact::kNo);
}

Recording::Recording(std::string path, FileDescriptor file, Redact redact)
    // Where standard output was closed, the file may have the number that becomes the printer's.
    : mPath(std::move(path)), mFile(aboveFilterDescriptors(std::move(file))), mRedact(redact) {
  std::string text = transcript::headerLine();
  if (mRedact == Redact::kYes) {
    text += transcript::commentLine("Serial numbers are left out: zeros stand in their place.");
  }
  write(text);
}

void Recording::beginQuery(const std::string& printerType, const std::string& transport,
                           std::uint32_t timeout) {
  const std::lock_guard lock(mMutex);
  write(transcript::queryLine({printerType, transport, timeout, {}}));
  mLastLine = Clock::now();
  mSerialNumbers = {};
  mAnswers = {printerType, transport, timeout, {}};
  mHasHeard = false;
  mHasEnded = false;
}

void Recording::add(transcript::Event event, std::span<const std::uint8_t> bytes) {
  const std::lock_guard lock(mMutex);
  mHasHeard = mHasHeard || event == transcript::Event::kReceived;
  mHasEnded = mHasEnded || event == transcript::Event::kEnded;
  mBytes += bytes.size();
  if (++mOperations > transcript::kMostOperations || mBytes > transcript::kMostBytes) {
    if (mTrouble.empty()) {
      mTrouble = translated("more went over the link than a transcript can hold");
    }
    return;
  }
  const auto now = Clock::now();
  const auto pause = std::chrono::duration_cast<std::chrono::milliseconds>(now - mLastLine);
  mLastLine = now;
  transcript::Bytes written(bytes.begin(), bytes.end());
  if (event == transcript::Event::kSent) {
    mSerialNumbers = {};  // of another reply
    mAnswers.operations.clear();
  } else {
    mAnswers.operations.push_back({event, pause, written});
  }
  if (!mFile) return;
  if (mRedact == Redact::kYes && event == transcript::Event::kReceived) {
    mSerialNumbers.blankIn(written);
  }
  write(transcript::operationLine(event, pause, written));
}

void Recording::write(const std::string& line) {
  if (!mFile || !mTrouble.empty()) return;
  if (const int error = writeAll(mFile.get(), line); error != 0) mTrouble = std::strerror(error);
}

void Recording::giveUp(const std::string& why) {
  const std::lock_guard lock(mMutex);
  if (mTrouble.empty()) mTrouble = why;
}

bool Recording::hasHeard() const {
  const std::lock_guard lock(mMutex);
  return mHasHeard;
}

bool Recording::hasEnded() const {
  const std::lock_guard lock(mMutex);
  return mHasEnded;
}

transcript::Session Recording::answers() const {
  const std::lock_guard lock(mMutex);
  return mAnswers;
}

Result<> Recording::isWhole() const {
  const std::lock_guard lock(mMutex);
  if (mTrouble.empty()) return {};
  return misuse(translated("the transcript \"{}\" is not whole: {}", forTerminal(mPath), mTrouble));
}

}  // namespace moxsupply
