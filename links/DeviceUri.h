#pragma once

#include <string>
#include <string_view>

#include "text/Problem.h"
#include "text/ShownUri.h"
#include "text/Translated.h"

namespace moxsupply {

// Where a printer is, as CUPS writes it: socket://HOST:PORT, usb://MAKE/MODEL?serial=..., and so
// on.
struct DeviceUri {
  std::string text;    // whole, as it was given: for the backend, and not to be shown
  std::string scheme;  // the CUPS backend that carries it
  std::string host;    // empty where the scheme has none
  int port = 0;        // the scheme's own where none is given: 9100 for socket

  [[nodiscard]] std::string transport() const;  // as transportOf
};

// The transport that the module is told, one of "usb", "socket", "mdns" and "dnssd". A cable is a
// cable: "parallel" and "serial" count as "usb"; every other scheme is a network.
std::string transportOf(std::string_view scheme);

// Whether a printer that is reached like this can be asked: what is no channel of the printer's own
// takes documents, brings nothing back, and would print what it does not understand.
bool bringsAnswersBack(std::string_view uri);

// Whether jobs go over IPP, so that the print server asks the printer for its levels itself, with
// each of them.
bool printsOverIpp(std::string_view uri);

// How a device URI reaches its printer, in a word: "lpd://", "dnssd://..._ipp._tcp".
std::string linkOf(std::string_view uri);

// What to try instead where no answers come back.
constexpr std::string_view kOtherLinks = translatable(
    "Supplies can be asked over usb://, socket:// and dnssd://..._pdl-datastream._tcp; "
    "`sudo /usr/sbin/lpinfo -v` shows how printers can be reached.");

// Whether `text` is meant as a device URI, and not as the name of a print queue.
bool looksLikeDeviceUri(std::string_view text);

// Whether `text` is a host for which people leave the rest of a URI out: an address (an IPv6 one in
// brackets) or a name with a dot, each with or without :PORT.
bool looksLikeHost(std::string_view text);

// Takes a device URI apart.
[[nodiscard]] Result<DeviceUri> parseDeviceUri(const std::string& text);

}  // namespace moxsupply
