#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "system/FileDescriptor.h"
#include "system/Pipe.h"
#include "system/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {

// `moxsupply exporter` on a free port, with a list of its own, and a store beside that. The build
// tells where the program is
// (MOXSUPPLY_PROGRAM).
class ExporterProcess {
 public:
  // `through`: a program, with its arguments, that becomes it.
  explicit ExporterProcess(const std::string& list, const std::vector<std::string>& options = {},
                           const std::vector<std::string>& through = {});

  // The same with its log in a pipe, of which only the first line is read. log() has nothing then.
  ExporterProcess(const std::string& list, const Pipe& log);

  // The file of the list, which may be replaced.
  [[nodiscard]] std::filesystem::path list() const { return mFolder.path() / "list.json"; }

  // Puts another list in its place, in one step.
  void replaceList(const std::string& list) const;

  [[nodiscard]] int port() const { return mPort; }
  [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(mPort); }

  // What it has written to standard error so far.
  [[nodiscard]] std::string log() const;

  // Waits until `text` stands there; otherwise fails the test.
  void awaitLog(const std::string& text) const;

  // Waits until /metrics has this line; otherwise fails the test.
  void awaitMetric(const std::string& line) const;

  // Sends SIGTERM and waits for the end. Returns the exit status and how long it took.
  struct Ending {
    int exitStatus = -1;
    std::chrono::duration<double> time{};
  };
  Ending terminate();

  // Ends it at once, as a loss of power would.
  void kill() { mProcess.kill(); }

  [[nodiscard]] pid_t pid() const { return mProcess.pid(); }

  // The processes that ask printers now, and the one from which most of them are forked.
  [[nodiscard]] std::vector<pid_t> queries() const;
  [[nodiscard]] pid_t queryServer() const;

  // Waits until so many ask. Returns whether it came to that.
  [[nodiscard]] bool awaitQueries(std::size_t count) const;

 private:
  void start(const std::vector<std::string>& command, int log);
  void learnPort(const std::string& firstLine);

  TemporaryFolder mFolder;
  FileDescriptor mLog;
  Process mProcess;
  int mPort = 0;
};

// A list of printers with these targets.
std::string listOf(const std::vector<std::string>& targets, const std::string& type = "auto");

}  // namespace moxsupply::testing
