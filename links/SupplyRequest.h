#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "links/DeviceUri.h"
#include "links/Recording.h"
#include "links/TcpLink.h"
#include "supplies/Report.h"
#include "supplies/Supplies.h"
#include "supplies/Supply.h"
#include "system/FileDescriptor.h"
#include "text/Problem.h"
#include "transcript/Transcript.h"

namespace moxsupply {

// A printer that is to be asked for its supplies, and how.
struct SupplyRequest {
  DeviceUri uri;
  std::optional<PrinterKind> kind;  // none: it is asked as both
  std::uint32_t timeout;            // seconds for each single read
  std::chrono::steady_clock::time_point deadline;
  bool throughBackend;           // use the CUPS backend for socket:// too
  bool wantsIdentities = false;  // of cartridges, beside their levels; nothing more is asked

  // What makes a connection for socket://, without the backend.
  std::function<Result<FileDescriptor>(const DeviceUri&)> connect = connectToPrinter;

  // When to give up without a connection.
  std::chrono::steady_clock::time_point connectionDeadline =
      std::chrono::steady_clock::time_point::max();
  // How long the printer may take from the connection to its first byte, if that is longer than
  // the reads of the questions wait.
  std::chrono::seconds timeToWake = std::chrono::seconds(0);
};

struct PrinterAnswer {
  Report report;
  transcript::Session lastAnswers;  // what came upon the last request, where identities are wanted
  std::string backendMessage;  // the CUPS backend's last word of trouble, or else its last word
};

// The supplies that it tells of, with what identifies them where that is wanted. For the latter,
// standard output and descriptor 3 of this process are taken for a moment.
[[nodiscard]] Supplies suppliesIn(const PrinterAnswer& answer);

// What happens at the deadline. Does not return: the query cannot be taken back, only ended with
// its process.
using OnDeadline = std::function<void(const Problem&)>;

// Asks the printer, as both kinds when its own is not known. Meanwhile this process's standard
// output and descriptor 3 are the printer's; afterwards they are what they were, standard output
// unbuffered. Shows on the terminal what is being waited for. Another thread calls `onDeadline`;
// where that is null, others see to the deadline, and there is none.
//
// A question that the printer leaves unanswered is an answer too, with its status; a Problem is
// that the printer could not be asked.
[[nodiscard]] Result<PrinterAnswer> askForSupplies(const SupplyRequest& request,
                                                   const OnDeadline& onDeadline,
                                                   Recording* recording = nullptr);

}  // namespace moxsupply
