#pragma once

#include <thread>
#include <vector>

#include "simulator/Model.h"
#include "system/FileDescriptor.h"
#include "system/Pipe.h"
#include "tests/support/ReservedPort.h"

namespace moxsupply::testing {

enum class Fault {
  kSilent,           // takes everything, says nothing, and does not hang up either
  kHangsUpMidReply,  // sends half of its first reply
  kFloods,           // upon a request, sends bytes that mean nothing, without end
  kFloodsPackets,    // the same with whole packets
  kNeverHangsUp,     // answers rightly, but keeps the connection when the host has ended it
};

// A printer on TCP with a fault, in a thread of this process.
class BrokenPrinter {
 public:
  // `model`: what it would be without its fault.
  BrokenPrinter(const ReservedPort& port, Fault fault, simulator::Model model);
  ~BrokenPrinter();
  BrokenPrinter(const BrokenPrinter&) = delete;
  BrokenPrinter& operator=(const BrokenPrinter&) = delete;
  BrokenPrinter(BrokenPrinter&&) = delete;
  BrokenPrinter& operator=(BrokenPrinter&&) = delete;

 private:
  void serve();
  void talk(FileDescriptor connection);
  void flood(int connection);
  // Waits for `events` of poll. False: it is time to stop.
  [[nodiscard]] bool await(int descriptor, short events) const;

  Fault mFault;
  simulator::Model mModel;
  FileDescriptor mListener;
  std::vector<FileDescriptor> mHeld;     // connections that it does not end
  Pipe mStop = makePipe(Blocking::kNo);  // its end: stop
  std::thread mThread;
};

}  // namespace moxsupply::testing
