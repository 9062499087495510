#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "system/FileDescriptor.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {

// A host's connection to the printer at a device URI, socket://ADDRESS:PORT. No call waits longer
// than ten seconds; one that would, fails the test.
//
// Use it where the simulator is tested from the network, and the test itself is the host. Where a
// program is the host and is tested, the printer is a SimulatedPrinter.
class Client {
 public:
  explicit Client(const std::string& uri);

  void send(std::span<const std::uint8_t> bytes) const;

  // Sends `bytes` over and over until no more fit into the connection.
  void fill(std::span<const std::uint8_t> bytes) const;

  // The next `count` bytes; fewer at the end.
  [[nodiscard]] Bytes receive(std::size_t count) const;

  // Whether the printer resets the connection: the end of it, but no farewell.
  [[nodiscard]] bool isReset() const;

  // Whether nothing comes for so long, not even the end.
  [[nodiscard]] bool isQuietFor(std::chrono::milliseconds time) const;

  // Says that no more comes, and stays to read.
  void endSending() const;

  // Hangs up without a farewell: the printer finds the connection reset.
  void reset();

 private:
  FileDescriptor mSocket;
};

}  // namespace moxsupply::testing
