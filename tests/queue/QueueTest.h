#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/queue/Drivers.h"
#include "tests/queue/PrintTools.h"
#include "tests/queue/PrivatePrintServer.h"
#include "tests/support/ReservedPort.h"

namespace moxsupply::testing {

// Tests on a print server, which those of a suite share; each has a queue and a printer's port of
// its own.
class QueueTest : public ::testing::Test {
 protected:
  QueueTest();

  static void SetUpTestSuite() { startPrintServer(PrivatePrintServer::Policy::kOpen); }
  static void TearDownTestSuite();
  static void startPrintServer(PrivatePrintServer::Policy policy,
                               std::chrono::seconds pause = std::chrono::seconds(60));

  void SetUp() override;
  void TearDown() override;

  [[nodiscard]] static PrivatePrintServer& server();
  [[nodiscard]] const std::string& queue() const { return mQueue; }
  [[nodiscard]] const ReservedPort& port() const { return mPort; }

  // Makes the queue, with the driver of a PostScript printer, and puts the command filter on it.
  // `type`: "laser" or "inkjet".
  void addEnabledQueue(const std::string& type) const;

  // Has the queue report, as its users do, and waits for it. Returns the job's number.
  int report() const;  // NOLINT(modernize-use-nodiscard): what it does is what counts

  // Waits for the queue to have nothing to do. A job may be over, and its backend still hold the
  // queue.
  [[nodiscard]] bool isIdleWithin(std::chrono::nanoseconds patience) const;

  [[nodiscard]] Attributes attributes() const { return attributesOf(server(), queue()); }

 private:
  std::string mQueue;
  ReservedPort mPort;
};

}  // namespace moxsupply::testing
