#include "links/DeviceUri.h"

#include <cups/http.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "text/Decimal.h"
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

std::string shownUri(std::string_view uri) {
  const std::size_t scheme = uri.find("://");
  const std::size_t begin = scheme == std::string_view::npos ? 0 : scheme + 3;
  const std::string_view authority = uri.substr(begin, uri.find('/', begin) - begin);
  std::size_t end = authority.rfind('@');
  // A slash in a password, which should stand there as %2F, makes the rest of it look like a path.
  const std::size_t port = authority.rfind(':');
  const bool isNoPort = port != std::string_view::npos && port + 1 < authority.size() &&
                        authority.find(']', port) == std::string_view::npos &&
                        !decimal(authority.substr(port + 1));
  if (end == std::string_view::npos && isNoPort) end = uri.substr(begin).rfind('@');
  if (end == std::string_view::npos) return std::string(uri);
  return std::string(uri.substr(0, begin)).append(uri.substr(begin + end + 1));
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
    return misuse(fmt::format("\"{}\" is no device URI ({})", forTerminal(shownUri(text)),
                              httpURIStatusString(status)),
                  "Write socket://HOST, or a URI that `lpinfo -v` or `lpstat -v` shows.");
  }
  if (std::string_view(scheme.data()) == "socket" && host[0] == '\0') {
    return misuse(fmt::format("\"{}\" names no host", forTerminal(shownUri(text))),
                  "Write socket://HOST or socket://HOST:PORT.");
  }
  return DeviceUri{text, scheme.data(), host.data(), port};
}

}  // namespace moxsupply
