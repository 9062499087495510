#include "commands/MonitoringProgram.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace moxsupply {

namespace {

namespace fs = std::filesystem;

// It is found from where this program is, so that a whole build tree can be moved.
fs::path monitoringProgram() {
  const fs::path self = fs::read_symlink("/proc/self/exe");
  return (self.parent_path() / MONITORING_FROM_PROGRAMS).lexically_normal();
}

}  // namespace

int becomeMonitoringProgram(char* const* argv) {
  const fs::path program = monitoringProgram();
  ::execv(program.c_str(), argv);
  if (errno == ENOENT) {
    fmt::print(stderr,
               "moxsupply: metrics need the package moxsupply-exporter, which is not installed\n");
  } else {
    fmt::print(stderr, "moxsupply: {}: {}\n", program.native(), std::strerror(errno));
  }
  return kExitMisuse;
}

Command exporterOfMonitoring(char* const* argv) {
  return {
      .name = "exporter",
      .usage = {},
      .about = "Serve the supplies of many printers to Prometheus.",
      .run = [argv] { return becomeMonitoringProgram(argv); },
      .passesAllOn = true,
  };
}

}  // namespace moxsupply
