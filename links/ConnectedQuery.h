#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "links/DeviceUri.h"
#include "supplies/Supply.h"
#include "system/FileDescriptor.h"
#include "text/Problem.h"

namespace moxsupply {

// What such a process is asked for.
enum class QueryTask : std::uint8_t {
  kFind,  // the addresses of a printer's host
  kAsk,   // the printer's supplies
};

// What a query says to whoever connects for it, over a pair of packet sockets: the first byte of a
// message. To each kConnect it gets one byte back with a connection (HandedDescriptor), or none any
// more.
enum class QueryWord : std::uint8_t {
  kAddresses = 'A',  // behind it, the host's: NetworkAddress upon NetworkAddress
  kConnect = 'C',    // to the printer
  kPart = 'P',       // of what came out, behind it
  kLastPart = 'R',   // with which it is whole
};

// Of one message.
constexpr std::size_t kLongestQueryWord = std::size_t{32} << 10U;

// Of all parts: a report with every supply and the longest names has well below 100,000 bytes.
constexpr std::size_t kMostBytesOfQuery = std::size_t{1} << 20U;

// A host may have many.
constexpr std::size_t kMostAddresses = 16;

// Which printer is to be asked, and how.
struct QueryRequest {
  QueryTask task = QueryTask::kAsk;
  std::string uri = {};
  std::optional<PrinterKind> kind = {};  // none: it is to be found out
  std::uint32_t deadline = 0;            // seconds for everything

  // As one process hands it to another.
  [[nodiscard]] std::string text() const;
  [[nodiscard]] static std::optional<QueryRequest> from(const std::string& text);
};

// Queries in a process that makes no connections itself: whoever holds the other end of its socket
// hands it one for each that it needs. One query after the other, until that end is closed.
class ConnectedQuery {
 public:
  explicit ConnectedQuery(FileDescriptor socket) : mSocket(std::move(socket)) {}

  // Looks up where the host is, and says so. Blocks, as long as the name servers take.
  [[nodiscard]] Result<> sayWhere(const DeviceUri& uri) const;

  // The next connection to the printer. When none comes about, the other end is gone.
  [[nodiscard]] Result<FileDescriptor> connect() const;

  // Says what came out.
  void finish(std::string_view result) const;

  // What is to be done next. Blocks; nothing when nobody asks any more.
  [[nodiscard]] std::optional<QueryRequest> next() const;

 private:
  FileDescriptor mSocket;
};

}  // namespace moxsupply
