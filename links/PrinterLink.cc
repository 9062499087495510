#include "links/PrinterLink.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include "links/AskAsFilter.h"
#include "supplies/Words.h"
#include "system/FilterDescriptors.h"
#include "system/Substitute.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Whether there is something to read by then: bytes, the end, or an error.
bool isReadableBy(int descriptor, Clock::time_point end) {
  pollfd source = {.fd = descriptor, .events = POLLIN, .revents = 0};
  while (true) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    const auto wait = static_cast<int>(std::max(left, milliseconds(0)).count());
    const int ready = ::poll(&source, 1, wait);
    if (ready != 0 || wait == 0) return ready > 0;
  }
}

}  // namespace

Result<PrinterLink> PrinterLink::open(const DeviceUri& uri, const Connect& connect,
                                      QueryWatch& watch) {
  if (uri.scheme == "socket" && connect) {
    watch.isConnecting(translated("Connecting to {} port {}", forTerminal(uri.host), uri.port));
    auto connection = connect(uri);
    if (!connection) return tl::unexpected(std::move(connection).error());
    watch.isAsking(translated("Asking {}", forTerminal(shownUri(uri.text))));
    return PrinterLink(uri, *std::move(connection));
  }
  watch.isConnecting(translated("Starting the CUPS backend"));
  auto backend =
      findBackend(uri).and_then([&](const std::string& path) { return startBackend(path, uri); });
  if (!backend) return tl::unexpected(std::move(backend).error());
  // Where there is nothing to connect to, the backend does not say so.
  if (uri.transport() == "usb") watch.isAsking(translated("Asking the CUPS backend"));
  watch.listenTo(std::move(backend->messages));
  return PrinterLink(uri, *std::move(backend));
}

// A backend that holds a local device gets the time to give it back; the others hold nothing that
// outlives them, and would wait for the printer to hang up.
PrinterLink::~PrinterLink() {
  auto* backend = std::get_if<BackendLink>(&mWay);
  if (backend == nullptr || !backend->toPrinter) return;
  backend->toPrinter = FileDescriptor();
  backend->backChannel = FileDescriptor();
  if (mUri.transport() == "usb") backend->backend.waitFor(std::chrono::seconds(2));
}

Report PrinterLink::ask(PrinterKind kind, std::uint32_t timeout, Recording* recording) {
  const std::string printerType(wordOf(kind));
  const std::string transport = mUri.transport();
  const auto filter = MoxFilter::initWithPrinterType(printerType, transport, timeout);
  if (!filter) throw std::bad_alloc();  // its words are the module's own
  std::fflush(stdout);
  const Substitute output(STDOUT_FILENO, toPrinter());
  const Substitute input(kBackChannel, backChannel());
  if (recording != nullptr) recording->beginQuery(printerType, transport, timeout);
  return askAsFilter(*filter, recording);
}

bool PrinterLink::hearsBy(Clock::time_point end) const {
  if (!isReadableBy(backChannel(), end)) return false;
  // The end is as readable as bytes are; only reading tells them apart.
  char first = 0;
  return ::read(backChannel(), &first, 1) == 1;
}

void PrinterLink::dropWhatComes() const {
  constexpr milliseconds kQuiet(200);
  constexpr milliseconds kLongest(2000);
  std::array<char, 4096> buffer{};
  const auto end = Clock::now() + kLongest;
  while (isReadableBy(backChannel(), std::min(Clock::now() + kQuiet, end))) {
    if (::read(backChannel(), buffer.data(), buffer.size()) <= 0 || Clock::now() >= end) return;
  }
}

int PrinterLink::toPrinter() const {
  if (const auto* connection = std::get_if<FileDescriptor>(&mWay)) return connection->get();
  return std::get<BackendLink>(mWay).toPrinter.get();
}

int PrinterLink::backChannel() const {
  if (const auto* connection = std::get_if<FileDescriptor>(&mWay)) return connection->get();
  return std::get<BackendLink>(mWay).backChannel.get();
}

}  // namespace moxsupply
