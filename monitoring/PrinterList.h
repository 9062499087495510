#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "supplies/Supply.h"
#include "text/Problem.h"

namespace moxsupply {

// A printer of the list.
struct ListedPrinter {
  std::string target;               // as the list writes it, and as it is asked for; not for show
  std::string uri;                  // its device URI; the same
  std::optional<PrinterKind> kind;  // none: it is to be found out
  std::string name;                 // for people, harmless; the target when the list gives none
  std::string place;                // the same; empty when the list gives none
  bool isQueue = false;             // a print queue: its print server is asked, and no printer
  std::map<std::string, std::string, std::less<>> labels = {};  // all, as the list writes them

  friend bool operator==(const ListedPrinter&, const ListedPrinter&) = default;
};

using PrinterList = std::vector<ListedPrinter>;

// The most that a list may have.
constexpr std::size_t kMostPrinters = 10'000;
constexpr std::size_t kLongestList = 16U << 20U;  // bytes

// The same for every way to write a device URI.
[[nodiscard]] std::string identityOf(const std::string& uri);

// Reads a list of printers: JSON as Prometheus takes it from files, an array of objects with
// "targets", device URIs, and "labels", of which "printer_type", "name" and "place" mean something
// here. A target without a scheme is the host, or HOST:PORT, of socket://. `name` stands before
// what is wrong.
[[nodiscard]] Result<PrinterList> parsePrinterList(std::string_view json, const std::string& name);

// The same of a file, named by its path.
[[nodiscard]] Result<PrinterList> readPrinterList(const std::string& path);

}  // namespace moxsupply
