#include "history/PrinterName.h"

#include <algorithm>
#include <utility>

#include "text/ShownUri.h"

namespace moxsupply {

namespace {

constexpr std::string_view kSocket = "socket://";
constexpr std::string_view kPort = ":9100";

bool isBlankOrControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte <= ' ' || byte == 0x7F;
}

}  // namespace

std::optional<std::string> printerName(std::string_view uri) {
  if (std::ranges::any_of(uri, isBlankOrControl)) return std::nullopt;
  std::string name(uri);
  if (name.find(":/") == std::string::npos) name.insert(0, kSocket);
  // A name is its own name: each is taken away until there is no more of it.
  for (std::string before; before != name;) {
    before = name;
    name = shownUri(name);
    if (name.ends_with('/')) name.pop_back();
    if (name.starts_with(kSocket) && name.ends_with(kPort)) name.resize(name.size() - kPort.size());
  }
  const std::size_t scheme = name.find(":/");
  const bool namesNothing = scheme == std::string::npos || scheme == 0;
  return namesNothing ? std::nullopt : std::optional(std::move(name));
}

}  // namespace moxsupply
