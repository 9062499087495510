#include "links/DeviceUri.h"

#include <cups/http.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "text/TerminalText.h"

namespace moxsupply {

std::string DeviceUri::transport() const {
  constexpr std::array<std::string_view, 3> kSame = {"usb", "mdns", "dnssd"};
  if (std::ranges::find(kSame, scheme) != kSame.end()) return scheme;
  return scheme == "parallel" || scheme == "serial" ? "usb" : "socket";
}

bool bringsAnswersBack(std::string_view scheme) {
  return scheme == "usb" || scheme == "socket" || scheme == "mdns" || scheme == "dnssd";
}

bool looksLikeDeviceUri(std::string_view text) {
  return text.find_first_of(":/") != std::string_view::npos;
}

Result<DeviceUri> parseDeviceUri(const std::string& text) {
  constexpr int kSize = 1024;
  std::array<char, kSize> scheme{};
  std::array<char, kSize> user{};
  std::array<char, kSize> host{};
  std::array<char, kSize> resource{};
  int port = 0;
  const http_uri_status_t status =
      httpSeparateURI(HTTP_URI_CODING_ALL, text.c_str(), scheme.data(), kSize, user.data(), kSize,
                      host.data(), kSize, &port, resource.data(), kSize);
  // A positive status is a remark only: an unknown scheme, or none.
  if (status < HTTP_URI_STATUS_OK || status == HTTP_URI_STATUS_MISSING_SCHEME) {
    return misuse(
        fmt::format("\"{}\" is no device URI ({})", forTerminal(text), httpURIStatusString(status)),
        "Write socket://HOST, or a URI that `lpinfo -v` or `lpstat -v` shows.");
  }
  if (std::string_view(scheme.data()) == "socket" && host[0] == '\0') {
    return misuse(fmt::format("\"{}\" names no host", forTerminal(text)),
                  "Write socket://HOST or socket://HOST:PORT.");
  }
  return DeviceUri{text, scheme.data(), host.data(), port};
}

}  // namespace moxsupply
