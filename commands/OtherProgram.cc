#include "commands/OtherProgram.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace moxsupply {

namespace {

namespace fs = std::filesystem;

// It is found from where this program is, so that a whole build tree can be moved.
fs::path pathOf(const OtherProgram& program) {
  const fs::path self = fs::read_symlink("/proc/self/exe");
  return (self.parent_path() / program.path).lexically_normal();
}

}  // namespace

const OtherProgram kCupsProgram = {
    CUPS_FROM_PROGRAMS, "print queues need the package moxsupply-cups, which is not installed"};
const OtherProgram kHistoryProgram = {
    HISTORY_FROM_PROGRAMS, "moxsupply-history, which remembers readings, is not installed"};
const OtherProgram kMonitoringProgram = {
    MONITORING_FROM_PROGRAMS,
    "metrics need the package moxsupply-exporter, which is not installed"};

int become(const OtherProgram& program, char* const* argv) {
  const fs::path path = pathOf(program);
  ::execv(path.c_str(), argv);
  if (errno == ENOENT) {
    fmt::print(stderr, "moxsupply: {}\n", program.missing);
  } else {
    fmt::print(stderr, "moxsupply: {}: {}\n", path.native(), std::strerror(errno));
  }
  return kExitMisuse;
}

Command commandOf(const OtherProgram& program, std::string_view name, std::string_view about,
                  char* const* argv) {
  return {
      .name = name,
      .usage = {},
      .about = about,
      .run = [&program, argv] { return become(program, argv); },
      .passesAllOn = true,
  };
}

}  // namespace moxsupply
