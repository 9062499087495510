#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace moxsupply {

// The hosts as which a server may be asked. A web page of anybody can have its own name resolve to
// an address of this machine and then read, in its visitor's browser, what is served there: but the
// browser tells which host it means.
class HostNames {
 public:
  // `listening`: ADDRESS:PORT, as addressOf gives it. `further`: names, or addresses, under which
  // proxies and people reach it.
  HostNames(const std::string& listening, std::vector<std::string> further);

  // Whether `host`, as a request names it, with or without a port, means this server.
  [[nodiscard]] bool contain(std::string_view host) const;

  // The same of where a page comes from, as browsers tell it: "http://HOST:PORT".
  [[nodiscard]] bool containOrigin(std::string_view origin) const;

 private:
  bool mIsEverywhere = false;  // it listens on every address of this machine
  std::vector<std::string> mNames;
};

}  // namespace moxsupply
