#pragma once

#include <optional>
#include <string>

namespace moxsupply {

// Where a print queue is: ipp://HOST[:PORT]/printers/NAME.
struct QueueUri {
  std::string server;  // HOST:PORT, as libcups takes it; the host in small letters
  std::string queue;   // its name, decoded

  friend bool operator==(const QueueUri&, const QueueUri&) = default;
};

// Takes the address of a queue apart; nothing where it is none, such as that of a printer.
[[nodiscard]] std::optional<QueueUri> parseQueueUri(const std::string& uri);

}  // namespace moxsupply
