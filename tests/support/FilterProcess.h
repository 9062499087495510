#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "system/FileDescriptor.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {

// What a filter's descriptor 3 is when it starts.
enum class BackChannel {
  kNonBlockingPipe,  // as the print server gives it
  kBlockingPipe,
  kSocketPair,  // blocking, both ways
  kMessages,  // a socket that keeps what is sent apart: a read takes as much as it asks for of the
              // front of one message, and the rest of that message is lost
  kTcp,       // a TCP connection, which is standard output as well: a link that can be reset
  kClosed,
};

// To be called in the child: waits until the back channel has bytes to read, or its end.
void awaitBackChannel();

// To be called in the child: the bytes that nobody has read from the back channel, up to its end.
Bytes restOfBackChannel();

// A child process that stands where a print filter stands: its standard output and its descriptor 3
// are real descriptors whose other ends this object holds. It is killed when the object goes. No
// call waits longer than ten seconds; one that would, fails the test.
//
// Use it where the test itself is the printer of the module or of a program: it takes the requests
// and says what is sent when, and how the link fails. Where a program is only run to its end, Run;
// where it is to find its printer on the network, SimulatedPrinter.
class FilterProcess {
 public:
  struct Ending {
    int exitStatus = -1;  // -1 when it was ended by a signal
    int signal = 0;       // that signal
    std::string result;   // what the body returned, or what the program wrote to standard error
    Bytes written;        // what came out of its standard output and was not yet received
    std::chrono::duration<double> processorTime{};  // user and system
    long peakMemory = 0;  // KiB, not less than the test's own at its start
  };

  // Runs `body` in the child, on descriptors 1 and 3 like a filter.
  FilterProcess(BackChannel backChannel, const std::function<std::string()>& body);

  // Runs a program in the child. `environment`: further variables, NAME=VALUE. `waiting`: lies on
  // the back channel before the program starts, at most 64 KiB.
  FilterProcess(BackChannel backChannel, const std::vector<std::string>& command,
                const std::vector<std::string>& environment = {},
                std::span<const std::uint8_t> waiting = {});

  ~FilterProcess();
  FilterProcess(const FilterProcess&) = delete;
  FilterProcess& operator=(const FilterProcess&) = delete;
  FilterProcess(FilterProcess&&) = delete;
  FilterProcess& operator=(FilterProcess&&) = delete;

  // Puts bytes on the back channel. They may be read together with those that lie there.
  void send(std::span<const std::uint8_t> bytes);

  // Puts each piece on the back channel once those before it have been read, so that no read
  // brings more than one piece.
  void sendInPieces(const std::vector<Bytes>& pieces);

  // Waits until all that was sent has been read.
  void awaitRead();

  // Ends the back channel: the filter finds the end after the bytes that still lie there.
  void endBackChannel() { mBackChannel = FileDescriptor(); }

  // Takes the printer's end of standard output away: the next write there fails.
  void closeLink() { mOutput = FileDescriptor(); }

  // Resets the link, which is kTcp: the next read and the next write fail.
  void resetLink();

  // The next `count` bytes that the filter writes to its standard output; fewer when it ends.
  Bytes receive(std::size_t count);

  // For poll, where a test has many of these: `output` is readable when there is something to
  // receive; `life` has POLLHUP, for good, once the process and whatever it started have ended.
  [[nodiscard]] int output() const { return mOutput.get(); }
  [[nodiscard]] int life() const { return mResult.get(); }

  // What has been written to standard output, at most so many bytes, without waiting for more than
  // the first of them; none at its end.
  Bytes receiveSome(std::size_t most);

  // Whether the process is still running.
  [[nodiscard]] bool isRunning() const;

  // Waits for the end.
  Ending wait();

  [[nodiscard]] pid_t pid() const { return mPid; }

 private:
  void start(BackChannel backChannel, const std::function<void(int resultDescriptor)>& inChild,
             std::span<const std::uint8_t> waiting = {});

  pid_t mPid = -1;
  FileDescriptor mOutput;
  FileDescriptor mBackChannel;
  FileDescriptor mResult;
};

}  // namespace moxsupply::testing
