#include "history/PrinterName.h"

#include <algorithm>

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
  std::string name = shownUri(uri);
  const std::size_t colon = name.find(":/");
  if (colon == std::string::npos) name.insert(0, kSocket);
  while (name.ends_with('/') && !name.ends_with(":/") && !name.ends_with("://")) name.pop_back();
  if (name.starts_with(kSocket) && name.ends_with(kPort)) name.resize(name.size() - kPort.size());
  if (colon == 0 || name.ends_with(":/") || name.ends_with("://")) return std::nullopt;
  return name;
}

}  // namespace moxsupply
