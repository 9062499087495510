#pragma once

#include <poll.h>

#include <functional>
#include <list>
#include <span>
#include <vector>

#include "simulator/Connection.h"
#include "simulator/Model.h"
#include "simulator/Printer.h"
#include "system/FileDescriptor.h"

namespace moxsupply::simulator {

// Serves a model to any number of connections at once, in one thread that never waits for one of
// them alone.
class Server {
 public:
  // What the printer does upon the requests of a new connection.
  using NewConversation = std::function<Answers()>;

  // `listener` listens and does not block. `complain` is told what is no request. `faults` are
  // those of each connection.
  Server(NewConversation newConversation, FileDescriptor listener, Printer::Complain complain,
         Faults faults = {});

  // The same of a model, which must outlive it.
  Server(const Model& model, FileDescriptor listener, Printer::Complain complain,
         Faults faults = {});

  // Serves until one of `until` becomes readable.
  void serve(std::span<const int> until);

  // Takes note of what the hosts have sent by now, and hangs up.
  void finish();

 private:
  // Waits for something to happen to `until`, the listener and the connections, in this order.
  [[nodiscard]] std::vector<pollfd> poll(std::span<const int> until) const;

  // Goes on with the connections after that.
  void proceed(std::span<const pollfd> polled);

  void acceptAll();

  NewConversation mNewConversation;
  FileDescriptor mListener;
  Printer::Complain mComplain;
  Faults mFaults;
  std::list<Connection> mConnections;
  bool mIsFull = false;  // no descriptor was left for the next connection; it waits for one to end
};

}  // namespace moxsupply::simulator
