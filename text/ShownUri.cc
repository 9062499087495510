#include "text/ShownUri.h"

#include "text/Decimal.h"

namespace moxsupply {

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

}  // namespace moxsupply
