#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "system/FileDescriptor.h"
#include "text/Problem.h"
#include "transcript/SerialNumbers.h"
#include "transcript/Transcript.h"

namespace moxsupply {

// Whether serial numbers are left out of a transcript.
enum class Redact : bool { kNo, kYes };

// A transcript that is being written: each line when it happens, so that it is whole up to the
// moment in which the process ends, however it ends. May be told from several threads.
class Recording {
 public:
  // Makes the file, for its owner alone. A file that is there is replaced when it is this user's
  // own regular file without another name, and is empty or a transcript, and nobody records into
  // it; symbolic links are not followed.
  [[nodiscard]] static Result<std::unique_ptr<Recording>> create(const std::string& path,
                                                                 Redact redact);

  // One that is kept by nobody, for who only wants to know what came.
  [[nodiscard]] static std::unique_ptr<Recording> forNobody();

  Recording(std::string path, FileDescriptor file, Redact redact);

  // What follows belongs to a query with these arguments of MoxFilter.
  void beginQuery(const std::string& printerType, const std::string& transport,
                  std::uint32_t timeout);

  // What happened on the link.
  void sent(std::span<const std::uint8_t> bytes) { add(transcript::Event::kSent, bytes); }
  void failed() { add(transcript::Event::kFailed, {}); }
  void received(std::span<const std::uint8_t> bytes) { add(transcript::Event::kReceived, bytes); }
  void ended() { add(transcript::Event::kEnded, {}); }

  // What happens from now on cannot be told to it.
  void giveUp(const std::string& why);

  // Whether the printer said something since the query began, and whether it hung up.
  [[nodiscard]] bool hasHeard() const;
  [[nodiscard]] bool hasEnded() const;

  // What came since the last request, of the query that is under way or was the last.
  [[nodiscard]] transcript::Session answers() const;

  // Whether the transcript is whole, or why not.
  [[nodiscard]] Result<> isWhole() const;

 private:
  using Clock = std::chrono::steady_clock;

  void add(transcript::Event event, std::span<const std::uint8_t> bytes);
  void write(const std::string& line);

  const std::string mPath;
  const FileDescriptor mFile;  // empty: it is kept by nobody
  const Redact mRedact;

  mutable std::mutex mMutex;  // of all below
  transcript::SerialNumbers mSerialNumbers;
  Clock::time_point mLastLine = Clock::now();
  std::size_t mBytes = 0;
  std::size_t mOperations = 0;
  transcript::Session mAnswers;
  bool mHasHeard = false;
  bool mHasEnded = false;
  std::string mTrouble;  // nothing is written any more
};

}  // namespace moxsupply
