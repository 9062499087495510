#include "commands/ListenAddress.h"

#include <fmt/format.h>

#include <cstring>
#include <utility>

#include "system/Listener.h"
#include "text/TerminalText.h"

namespace moxsupply {

Option listenAddress(std::string& address, std::string help) {
  return text("--listen", address, "ADDRESS:PORT", std::move(help));
}

Result<FileDescriptor> listenThere(const std::string& address) {
  auto listener = listenOn(address);
  if (listener) return *std::move(listener);
  if (listener.error() != kNoAddress) {
    return failure(fmt::format("{}: {}", address, std::strerror(listener.error())));
  }
  return misuse(
      fmt::format("--listen: expected ADDRESS:PORT, such as 127.0.0.1:9100 or [::1]:0, not \"{}\"",
                  forTerminal(address)));
}

}  // namespace moxsupply
