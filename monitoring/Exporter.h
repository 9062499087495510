#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "monitoring/ListFile.h"
#include "monitoring/Notifier.h"
#include "monitoring/Prober.h"
#include "queries/LevelQueries.h"
#include "system/FileDescriptor.h"

namespace moxsupply {

struct ExporterSettings {
  Prober::Limits limits;
  LevelQueries::Commands queries;      // how a target is asked
  std::size_t mostConnections = 0;     // of HTTP clients
  std::vector<std::string> hosts{};    // names by which it is asked, besides its own
  std::chrono::days deliveryDays{14};  // that it takes until what was ordered is there
  std::string store{};                 // the file where it remembers readings; empty: it does not
  Notifier::Settings notify{};         // who is told what happens; only with a store
};

// Serves the supplies of the printers in a list, until SIGINT or SIGTERM. SIGHUP has it read the
// list again.
class Exporter {
 public:
  // `listener` listens.
  Exporter(const ExporterSettings& settings, ListFile file, PrinterList list,
           FileDescriptor listener);
  ~Exporter();

  Exporter(const Exporter&) = delete;
  Exporter& operator=(const Exporter&) = delete;
  Exporter(Exporter&&) = delete;
  Exporter& operator=(Exporter&&) = delete;

  void serve();

 private:
  class Parts;
  std::unique_ptr<Parts> mParts;
};

}  // namespace moxsupply
