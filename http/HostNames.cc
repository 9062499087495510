#include "http/HostNames.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <boost/system/error_code.hpp>
#include <utility>

#include "text/Decimal.h"

namespace moxsupply {

namespace {

using boost::asio::ip::address;

// In small letters, without a port, brackets and the dot of the root; addresses in one form. Empty
// when it is no host.
std::string plainHost(std::string_view host) {
  std::string_view behind;  // nothing, or a colon and the port
  if (host.starts_with('[')) {
    const std::size_t bracket = host.find(']');
    if (bracket == std::string_view::npos) return {};
    behind = host.substr(bracket + 1);
    host = host.substr(1, bracket - 1);
  } else if (std::ranges::count(host, ':') == 1) {
    behind = host.substr(host.find(':'));
    host.remove_suffix(behind.size());
  }
  const bool hasPort = behind.size() > 1 && behind.front() == ':' && decimal(behind.substr(1));
  if (!behind.empty() && behind != ":" && !hasPort) return {};
  if (host.ends_with('.')) host.remove_suffix(1);
  std::string plain(host);
  std::ranges::transform(plain, plain.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  boost::system::error_code none;
  const address literal = boost::asio::ip::make_address(plain, none);
  return none ? plain : literal.to_string();
}

bool isAddress(const std::string& plainHost) {
  boost::system::error_code none;
  boost::asio::ip::make_address(plainHost, none);
  return !none;
}

std::string nameOfThisMachine() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace

HostNames::HostNames(const std::string& listening, std::vector<std::string> further)
    : mNames(std::move(further)) {
  std::ranges::transform(mNames, mNames.begin(), plainHost);
  const std::string own = plainHost(listening);
  const address bound = boost::asio::ip::make_address(own);
  mIsEverywhere = bound.is_unspecified();
  mNames.push_back(own);
  if (mIsEverywhere || bound.is_loopback()) mNames.emplace_back("localhost");
  if (mIsEverywhere) mNames.push_back(plainHost(nameOfThisMachine()));
}

bool HostNames::contain(std::string_view host) const {
  const std::string plain = plainHost(host);
  if (plain.empty()) return false;
  return std::ranges::find(mNames, plain) != mNames.end() || (mIsEverywhere && isAddress(plain));
}

bool HostNames::containOrigin(std::string_view origin) const {
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (origin.starts_with(scheme)) return contain(origin.substr(scheme.size()));
  }
  return false;
}

}  // namespace moxsupply
