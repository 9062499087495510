#include "links/DeviceUri.h"

#include <arpa/inet.h>
#include <cups/http.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "text/Decimal.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

// Over these a document is handed over, or written away, and nothing comes back. What a printer
// would answer stays out, and what it is asked may come out on paper. (A queue of cups-browsed
// sends its jobs on by IPP.)
constexpr std::string_view kOfCupsBrowsed = "implicitclass";
constexpr auto kDocumentSchemes = std::to_array<std::string_view>(
    {"ipp", "ipps", "lpd", "http", "https", "file", kOfCupsBrowsed});

// The same of services that are found by DNS-SD.
constexpr auto kDocumentServices =
    std::to_array<std::string_view>({"._ipp._tcp", "._ipps._tcp", "._printer._tcp"});

bool containsInAnyLetters(std::string_view text, std::string_view smallLetters) {
  const auto isSame = [](char one, char small) {
    return (one >= 'A' && one <= 'Z' ? one - 'A' + 'a' : one) == small;
  };
  return std::search(text.begin(), text.end(), smallLetters.begin(), smallLetters.end(), isSame) !=
         text.end();
}

bool isSame(std::string_view text, std::string_view smallLetters) {
  return text.size() == smallLetters.size() && containsInAnyLetters(text, smallLetters);
}

}  // namespace

std::string DeviceUri::transport() const { return transportOf(scheme); }

std::string transportOf(std::string_view scheme) {
  constexpr std::array<std::string_view, 3> kSame = {"usb", "mdns", "dnssd"};
  if (std::ranges::find(kSame, scheme) != kSame.end()) return std::string(scheme);
  return scheme == "parallel" || scheme == "serial" ? "usb" : "socket";
}

std::string linkOf(std::string_view uri) {
  const std::string_view scheme = uri.substr(0, uri.find(':'));
  for (const std::string_view service : kDocumentServices) {
    if (!containsInAnyLetters(uri, service)) continue;
    return fmt::format("{}://...{}", scheme, service.substr(1));
  }
  return fmt::format("{}://", scheme);
}

bool bringsAnswersBack(std::string_view uri) {
  const std::string_view scheme = uri.substr(0, uri.find(':'));
  const auto isScheme = [&](std::string_view other) { return isSame(scheme, other); };
  const auto isService = [&](std::string_view service) {
    return containsInAnyLetters(uri, service);
  };
  return !scheme.empty() && std::ranges::none_of(kDocumentSchemes, isScheme) &&
         std::ranges::none_of(kDocumentServices, isService);
}

bool printsOverIpp(std::string_view uri) {
  // (The print server takes http and https for other names of these.)
  constexpr auto kSchemes =
      std::to_array<std::string_view>({"ipp", "ipps", "http", "https", kOfCupsBrowsed});
  constexpr auto kServices = std::to_array<std::string_view>({"._ipp._tcp", "._ipps._tcp"});
  const std::string_view scheme = uri.substr(0, uri.find(':'));
  const auto isScheme = [&](std::string_view other) { return isSame(scheme, other); };
  const auto isService = [&](std::string_view service) {
    return containsInAnyLetters(uri, service);
  };
  return std::ranges::any_of(kSchemes, isScheme) || std::ranges::any_of(kServices, isService);
}

bool looksLikeDeviceUri(std::string_view text) {
  return text.find_first_of(":/") != std::string_view::npos;
}

bool looksLikeHost(std::string_view text) {
  const bool isBracketed = text.starts_with('[');
  const std::size_t end = isBracketed ? text.find(']') : text.rfind(':');
  std::string_view host =
      text.substr(0, isBracketed && end != std::string_view::npos ? end + 1 : end);
  const std::string_view behind = text.substr(host.size());
  if (!behind.empty() && (behind.front() != ':' || !decimal(behind.substr(1)))) return false;
  if (isBracketed) {
    in6_addr address{};
    const std::string inside(host.substr(1, host.size() - std::min<std::size_t>(host.size(), 2)));
    return host.ends_with(']') && ::inet_pton(AF_INET6, inside.c_str(), &address) == 1;
  }
  const auto isOfAName = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.';
  };
  return host.find('.') != std::string_view::npos && std::ranges::all_of(host, isOfAName) &&
         host.front() != '-' && host.front() != '.';
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
    return misuse(translated("\"{}\" is no device URI ({})", forTerminal(shownUri(text)),
                             httpURIStatusString(status)),
                  translated("Write socket://HOST, or a URI that `lpstat -v` shows."));
  }
  if (std::string_view(scheme.data()) == "socket" && host[0] == '\0') {
    return misuse(translated("\"{}\" names no host", forTerminal(shownUri(text))),
                  translated("Write socket://HOST or socket://HOST:PORT."));
  }
  return DeviceUri{text, scheme.data(), host.data(), port};
}

}  // namespace moxsupply
