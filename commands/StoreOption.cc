#include "commands/StoreOption.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "history/PrinterName.h"
#include "text/ShownUri.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFile = "history.sqlite";
constexpr std::string_view kOfExporter = "/var/lib/moxsupply-exporter/history.sqlite";

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// Where a store may be, the first the one to write to.
std::vector<fs::path> usualStores() {
  std::vector<fs::path> stores;
  // A service may have several; the first is its own.
  const std::string folders = variable("STATE_DIRECTORY");
  if (const fs::path folder = folders.substr(0, folders.find(':')); !folder.empty()) {
    stores.push_back(folder / kFile);
  }
  if (const fs::path folder = variable("XDG_STATE_HOME"); folder.is_absolute()) {
    stores.push_back(folder / "moxsupply" / kFile);
  }
  if (const fs::path home = variable("HOME"); !home.empty()) {
    stores.push_back(home / ".local/state/moxsupply" / kFile);
  }
  return stores;
}

fs::path storeToRead() {
  for (fs::path& store : usualStores()) {
    std::error_code ignored;
    if (fs::exists(store, ignored)) return std::move(store);
  }
  return kOfExporter;
}

}  // namespace

Option storeOption(std::string& path) {
  Option option = text("--store", path, "FILE", "where readings are remembered");
  option.take = [&path](const auto& words) -> Result<> {
    if (words.back().empty()) return misuse("--store: expected the path of a file");
    path = words.back();
    return {};
  };
  return option;
}

Result<std::string> rememberedPrinter(const std::string& given) {
  if (auto name = printerName(given)) return *std::move(name);
  return misuse(fmt::format("\"{}\" is no device URI, such as socket://192.0.2.7",
                            forTerminal(shownUri(given))));
}

Option rememberedPrinter(std::optional<std::string>& printer) {
  Option option = {.name = "PRINTER", .value = " ", .help = "one printer only, as a device URI"};
  option.take = [&printer](const auto& words) -> Result<> {
    return rememberedPrinter(words.back()).map([&](const std::string& name) { printer = name; });
  };
  return option;
}

Option moment(std::string name, std::optional<Moment>& place, std::string help) {
  Option option = {.name = name, .value = "TIME", .help = std::move(help)};
  option.take = [&place, name = std::move(name)](const auto& words) -> Result<> {
    place = momentFrom(words.back());
    if (place) return {};
    return misuse(fmt::format("{}: expected {}, not \"{}\"", name, kExpectedMoment,
                              forTerminal(words.back())));
  };
  return option;
}

Option lineFormat(std::optional<LineFormat>& place) {
  return choice<std::optional<LineFormat>>(
      "--format", place, {{"table", LineFormat::kTable}, {"json", LineFormat::kJson}}, "FORMAT",
      "table, or json: a line each (on a terminal table)");
}

LineFormat chosen(std::optional<LineFormat> format) {
  if (format) return *format;
  return ::isatty(STDOUT_FILENO) == 1 ? LineFormat::kTable : LineFormat::kJson;
}

Result<Store> openStoreToRead(std::string_view command, const std::string& named) {
  if (!named.empty()) return Store::openToRead(named);
  const fs::path path = storeToRead();
  auto store = Store::openToRead(path);
  // Where it is not to be read, the problem names it.
  if (store) {
    fmt::print(stderr, "moxsupply {}: reading {}\n", command, forTerminal(path.native()));
  }
  return store;
}

Result<std::string> storeToWrite(const std::string& named) {
  if (!named.empty()) return named;
  const auto stores = usualStores();
  if (stores.empty()) {
    return misuse("nothing says where readings are remembered: name a file with --store FILE");
  }
  std::error_code failed;
  const fs::path folder = stores.front().parent_path();
  fs::create_directories(folder, failed);
  if (failed) {
    return failure(fmt::format("{}: {}", forTerminal(folder.native()), failed.message()));
  }
  return stores.front().string();
}

Result<Store> openStoreToWrite(const std::string& named) {
  const auto path = storeToWrite(named);
  if (!path) return tl::unexpected(path.error());
  return Store::openToWrite(*path);
}

}  // namespace moxsupply
