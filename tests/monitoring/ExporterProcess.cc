#include "tests/monitoring/ExporterProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#include "system/MemoryFile.h"
#include "system/ReadFile.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/support/Processes.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {

namespace {

constexpr std::size_t kLongestLog = std::size_t{64} << 20U;

constexpr std::chrono::seconds kPatience(10);

template <typename Condition>
bool await(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

std::vector<std::string> exporterWith(const std::string& list) {
  return {MOXSUPPLY_PROGRAM, "exporter", list, "--listen", "127.0.0.1:0"};
}

}  // namespace

ExporterProcess::ExporterProcess(const std::string& list, const std::vector<std::string>& options,
                                 const std::vector<std::string>& through)
    : mLog(aboveFilterDescriptors(memoryFile(""))) {
  std::ofstream(this->list()) << list;
  std::vector<std::string> command = exporterWith(this->list());
  command.insert(command.end(), options.begin(), options.end());
  command.insert(command.begin(), through.begin(), through.end());
  std::filesystem::permissions(mFolder.path(), std::filesystem::perms(0755));  // for any user
  ::fcntl(mLog.get(), F_SETFL, O_APPEND);
  start(command, mLog.get());
  awaitLog("/ for ");
  learnPort(log());
}

ExporterProcess::ExporterProcess(const std::string& list, const Pipe& log) {
  std::ofstream(this->list()) << list;
  start(exporterWith(this->list()), log.writeEnd.get());
  std::array<char, 4096> line{};
  EXPECT_GT(::read(log.readEnd.get(), line.data(), line.size() - 1), 0);
  learnPort(line.data());
}

void ExporterProcess::start(const std::vector<std::string>& command, int log) {
  const FileDescriptor null =
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
  mProcess = Process::start({.program = command.front(),
                             .arguments = command,
                             .environment = environmentWith(
                                 {"STATE_DIRECTORY=", "XDG_STATE_HOME=" + mFolder.path().string()}),
                             .descriptors = {null.get(), null.get(), log}})
                 .value();
}

void ExporterProcess::learnPort(const std::string& firstLine) {
  const std::string before = "http://127.0.0.1:";
  const std::size_t place = firstLine.find(before);
  ASSERT_NE(place, std::string::npos) << firstLine;
  mPort = std::stoi(firstLine.substr(place + before.size()));
}

void ExporterProcess::replaceList(const std::string& list) const {
  const auto next = mFolder.path() / "next.json";
  std::ofstream(next) << list;
  std::filesystem::rename(next, this->list());
}

std::string ExporterProcess::log() const { return readFile(mLog.get(), kLongestLog).value(); }

void ExporterProcess::awaitLog(const std::string& text) const {
  EXPECT_TRUE(await([&] { return log().find(text) != std::string::npos; }))
      << "no \"" << text << "\" in:\n"
      << log();
}

void ExporterProcess::awaitMetric(const std::string& line) const {
  std::string metrics;
  EXPECT_TRUE(await([&] {
    metrics = get(mPort, "/metrics").body;
    return metrics.find('\n' + line + '\n') != std::string::npos;
  })) << "no "
      << line << " in:\n"
      << metrics;
}

ExporterProcess::Ending ExporterProcess::terminate() {
  const auto begin = std::chrono::steady_clock::now();
  mProcess.signal(SIGTERM);
  Ending ending;
  if (!mProcess.waitFor(kPatience)) return ending;
  ending.time = std::chrono::steady_clock::now() - begin;
  const int status = mProcess.waitStatus().value_or(-1);
  if (WIFEXITED(status)) ending.exitStatus = WEXITSTATUS(status);
  return ending;
}

pid_t ExporterProcess::queryServer() const {
  for (const pid_t child : childrenOf(pid())) {
    const std::string command = contentOf("/proc/" + std::to_string(child) + "/cmdline");
    if (command.find("query-server") != std::string::npos) return child;
  }
  return -1;
}

std::vector<pid_t> ExporterProcess::queries() const {
  const pid_t server = queryServer();
  std::vector<pid_t> queries = childrenOf(server);
  std::ranges::remove_copy(childrenOf(pid()), std::back_inserter(queries), server);
  return queries;
}

bool ExporterProcess::awaitQueries(std::size_t count) const {
  return await([&] { return queries().size() == count; });
}

std::string listOf(const std::vector<std::string>& targets, const std::string& type) {
  return nlohmann::json::array({{{"targets", targets}, {"labels", {{"printer_type", type}}}}})
      .dump();
}

}  // namespace moxsupply::testing
