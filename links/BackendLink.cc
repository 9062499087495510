#include "links/BackendLink.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include "links/ServerFolder.h"
#include "system/Pipe.h"
#include "system/Process.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

std::filesystem::path backendFolder() { return std::filesystem::path(serverFolder()) / "backend"; }

std::string installedBackends() {
  std::set<std::string> names;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(backendFolder(), ignored)) {
    names.insert(entry.path().filename());
  }
  return names.empty() ? translated("none is: is CUPS installed?")
                       : forTerminal(fmt::format("{}", fmt::join(names, ", ")));
}

// As the print server calls a backend: URI, job, user, title, copies, options; the data on standard
// input. Everybody sees the arguments of a process, and nobody else its environment.
ProgramStart backendFor(const DeviceUri& uri, const std::string& path) {
  return {.program = path,
          .arguments = {shownUri(uri.text), "1", "moxsupply", "Supply levels", "1", ""},
          .environment = environmentWith({"DEVICE_URI=" + uri.text})};
}

}  // namespace

Result<std::string> findBackend(const DeviceUri& uri) {
  const auto path = backendFolder() / uri.scheme;
  const bool isPlainName = uri.scheme.find('/') == std::string::npos && uri.scheme[0] != '.';
  if (!isPlainName || ::access(path.c_str(), F_OK) != 0) {
    return misuse(
        translated("no CUPS backend carries \"{}\"", forTerminal(uri.scheme)),
        translated("Installed in {}: {}.", backendFolder().string(), installedBackends()));
  }
  if (::access(path.c_str(), X_OK) != 0) {
    return misuse(translated("only root may run the CUPS backend \"{}\"", uri.scheme),
                  translated("Run this command again with sudo."));
  }
  return path.string();
}

Result<BackendLink> startBackend(const std::string& path, const DeviceUri& uri) {
  // The print server makes both ends of the back channel non-blocking.
  Pipe toPrinter = makePipe(Blocking::kYes);
  Pipe backChannel = makePipe(Blocking::kNo);
  Pipe messages = makePipe(Blocking::kNo);
  Pipe sideChannel = makeSocketPair();
  const FileDescriptor null =
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_WRONLY | O_CLOEXEC)));
  if (!toPrinter || !backChannel || !messages || !sideChannel || !null) {
    return failure(translated("cannot make a pipe: {}", std::strerror(errno)));
  }

  ProgramStart start = backendFor(uri, path);
  start.descriptors = {toPrinter.readEnd.get(), null.get(), messages.writeEnd.get(),
                       backChannel.writeEnd.get(), sideChannel.writeEnd.get()};
  auto backend = Process::start(start);
  if (!backend) return failure(fmt::format("{}: {}", path, std::strerror(backend.error())));
  return BackendLink{std::move(toPrinter.writeEnd), std::move(backChannel.readEnd),
                     std::move(messages.readEnd), std::move(sideChannel.readEnd),
                     *std::move(backend)};
}

}  // namespace moxsupply
