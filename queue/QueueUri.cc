#include "queue/QueueUri.h"

#include <cups/http.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace moxsupply {

std::optional<QueueUri> parseQueueUri(const std::string& uri) {
  std::array<char, HTTP_MAX_URI> scheme{};
  std::array<char, HTTP_MAX_URI> user{};
  std::array<char, HTTP_MAX_URI> host{};
  std::array<char, HTTP_MAX_URI> path{};
  int port = 0;
  const http_uri_status_t status =
      httpSeparateURI(HTTP_URI_CODING_ALL, uri.c_str(), scheme.data(), scheme.size(), user.data(),
                      user.size(), host.data(), host.size(), &port, path.data(), path.size());
  if (status != HTTP_URI_STATUS_OK || std::string_view(scheme.data()) != "ipp") return std::nullopt;

  constexpr std::string_view kQueues = "/printers/";
  const std::string_view resource = path.data();
  if (!resource.starts_with(kQueues)) return std::nullopt;
  const std::string_view queue = resource.substr(kQueues.size());
  std::string name = host.data();
  if (name.empty() || queue.empty()) return std::nullopt;
  if (queue.find_first_of("/?#") != std::string_view::npos) return std::nullopt;
  std::ranges::transform(name, name.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  if (name.find(':') != std::string::npos) name = fmt::format("[{}]", name);  // IPv6
  return QueueUri{fmt::format("{}:{}", name, port), std::string(queue)};
}

}  // namespace moxsupply
