#pragma once

#include <string>
#include <string_view>

#include "text/Problem.h"

namespace moxsupply {

// Where a printer is, as CUPS writes it: socket://HOST:PORT, usb://MAKE/MODEL?serial=..., and so
// on.
struct DeviceUri {
  std::string text;    // whole, as it was given: for the backend, and not to be shown
  std::string scheme;  // the CUPS backend that carries it
  std::string host;    // empty where the scheme has none
  int port = 0;        // the scheme's own where none is given: 9100 for socket

  // The transport that the module is told, one of "usb", "socket", "mdns" and "dnssd". A cable is
  // a cable: "parallel" and "serial" count as "usb"; every other scheme is a network.
  [[nodiscard]] std::string transport() const;
};

// Whether the command filter can ask a printer over the connections of this scheme: only these
// bring the printer's own answers back.
bool bringsAnswersBack(std::string_view scheme);

// Whether `text` is meant as a device URI, and not as the name of a print queue.
bool looksLikeDeviceUri(std::string_view text);

// A device URI, or a host, without the user and the password that may stand before it: for all that
// is shown, written down or seen by others.
std::string shownUri(std::string_view uri);

// Takes a device URI apart.
[[nodiscard]] Result<DeviceUri> parseDeviceUri(const std::string& text);

}  // namespace moxsupply
