#pragma once

#include <chrono>
#include <cstddef>
#include <set>
#include <string>

#include "monitoring/EventLoop.h"
#include "monitoring/ExporterMetrics.h"
#include "monitoring/LevelQueries.h"
#include "monitoring/ListFile.h"
#include "monitoring/Prober.h"
#include "monitoring/Site.h"
#include "monitoring/WebServer.h"
#include "system/FileDescriptor.h"
#include "system/StopSignals.h"

namespace moxsupply {

struct ExporterSettings {
  Prober::Limits limits;
  std::chrono::seconds deadline{};  // for each query
  LevelQueries::CommandFor levels;  // how a printer is asked
  std::size_t mostConnections = 0;  // of HTTP clients
};

// Serves the supplies of the printers in a list, until SIGINT or SIGTERM.
class Exporter {
 public:
  Exporter(const ExporterSettings& settings, ListFile file, PrinterList list,
           FileDescriptor listener);

  void serve();

 private:
  void take(PrinterList list);
  void lookAtList();
  void noteEnd(const Prober::Printer& printer);

  StopSignals mSignals;
  EventLoop mLoop;
  ListFile mFile;
  ExporterMetrics mMetrics;
  std::set<std::string> mSilent;  // targets that failed the last time
  LevelQueries mQueries;
  Prober mProber;
  Site mSite;
  WebServer mServer;
};

// A line to standard error, in the exporter's name; text from anywhere is made harmless.
void logLine(const std::string& line);

}  // namespace moxsupply
