#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>
#include <variant>

#include "links/BackendLink.h"
#include "links/DeviceUri.h"
#include "links/QueryWatch.h"
#include "links/Recording.h"
#include "supplies/Report.h"
#include "supplies/Supply.h"
#include "system/FileDescriptor.h"
#include "text/Problem.h"

namespace moxsupply {

// An open link to a printer, over which it can be asked several times: a connection of its own for
// socket://, for every other scheme the printer's CUPS backend, which ends with this object.
class PrinterLink {
 public:
  // How a connection for socket:// comes about.
  using Connect = std::function<Result<FileDescriptor>(const DeviceUri&)>;

  // Blocks while it connects; a backend connects later, when it is first written to. The watch
  // hears of it, and must outlive the link. `connect`: null has the CUPS backend do it for
  // socket://, too.
  [[nodiscard]] static Result<PrinterLink> open(const DeviceUri& uri, const Connect& connect,
                                                QueryWatch& watch);
  ~PrinterLink();
  PrinterLink(PrinterLink&&) = default;
  PrinterLink& operator=(PrinterLink&&) = delete;
  PrinterLink(const PrinterLink&) = delete;
  PrinterLink& operator=(const PrinterLink&) = delete;

  // Asks the printer once, with so many seconds for each single read. Meanwhile this process's
  // standard output and descriptor 3 are the printer's; afterwards they are what they were,
  // standard output unbuffered. `recording`: null records nothing.
  [[nodiscard]] Report ask(PrinterKind kind, std::uint32_t timeout, Recording* recording);

  // Waits until the printer says something, or hangs up. Returns whether it said something.
  [[nodiscard]] bool hearsBy(std::chrono::steady_clock::time_point end) const;

  // Takes what the printer still says to questions that were given up, and drops it.
  void dropWhatComes() const;

 private:
  PrinterLink(DeviceUri uri, FileDescriptor connection)
      : mUri(std::move(uri)), mWay(std::move(connection)) {}
  PrinterLink(DeviceUri uri, BackendLink backend)
      : mUri(std::move(uri)), mWay(std::move(backend)) {}

  [[nodiscard]] int toPrinter() const;
  [[nodiscard]] int backChannel() const;

  DeviceUri mUri;
  std::variant<FileDescriptor, BackendLink> mWay;
};

}  // namespace moxsupply
