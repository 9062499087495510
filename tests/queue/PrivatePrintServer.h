#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/FilterProcess.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/Run.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {

// The real cupsd, for a test alone: all its files lie in a temporary folder, and it listens on a
// port and a socket of its own. It knows one filter, commandtomox as it was built, beside CUPS's
// own commandtops, and our notifier; the backends are the installed ones. Takes root, since it
// checks as whom its filters run and whose they are. Ends with this object or, in good order as
// well, with the test's process, however that ends.
class PrivatePrintServer {
 public:
  enum class Policy {
    kOpen,    // everybody may do everything
    kDebian,  // as Debian sets a print server up
  };

  // `pause`: of the notifier, from a queue's last report to its next one.
  explicit PrivatePrintServer(Policy policy = Policy::kOpen,
                              std::chrono::seconds pause = std::chrono::seconds(60));
  ~PrivatePrintServer();
  PrivatePrintServer(const PrivatePrintServer&) = delete;
  PrivatePrintServer& operator=(const PrivatePrintServer&) = delete;
  PrivatePrintServer(PrivatePrintServer&&) = delete;
  PrivatePrintServer& operator=(PrivatePrintServer&&) = delete;

  // Ends it in good order, and starts it again on the same files.
  void restart();

  static constexpr std::chrono::seconds kPatience{30};

  // Runs a program whose print server is this one. `environment`: further variables, NAME=VALUE.
  [[nodiscard]] Ran run(const std::vector<std::string>& command,
                        std::vector<std::string> environment = {},
                        std::chrono::seconds patience = kPatience) const;

  // `moxsupply ARGUMENT...`
  [[nodiscard]] Ran moxsupply(std::vector<std::string> arguments,
                              std::vector<std::string> environment = {},
                              std::chrono::seconds patience = kPatience) const;

  [[nodiscard]] std::string printerUri(const std::string& queue) const;  // over TCP

  // Where `moxsupply enable` remembers what it has enabled.
  [[nodiscard]] std::filesystem::path enabledQueues() const;

  // Has a backend of the test's own besides the installed ones, for device URIs of its name.
  void addBackend(const std::string& name, const std::string& script) const;

  // What the print server and its jobs have said.
  [[nodiscard]] std::string log() const;

  // The files: etc/ppd/QUEUE.ppd, etc/printers.conf, lib/cups/filter, which anybody may look at,
  // ...
  [[nodiscard]] const std::filesystem::path& folder() const { return mFolder.path(); }

 private:
  void writeSettings(Policy policy, std::chrono::seconds pause) const;
  void layOutPrograms() const;
  void start();
  void stop();

  TemporaryFolder mFolder;
  ReservedPort mPort;
  std::optional<FilterProcess> mProcess;
};

}  // namespace moxsupply::testing
