#pragma once

#include <string>

#include "links/DeviceUri.h"
#include "system/FileDescriptor.h"
#include "system/Process.h"
#include "text/Problem.h"

namespace moxsupply {

// The installed CUPS backend for the URI's scheme: its path, or why it cannot be run.
[[nodiscard]] Result<std::string> findBackend(const DeviceUri& uri);

// A running CUPS backend, wired as the print server wires it, and the filter's ends of its pipes.
struct BackendLink {
  FileDescriptor toPrinter;    // becomes a filter's standard output
  FileDescriptor backChannel;  // becomes a filter's descriptor 3
  FileDescriptor messages;     // what the backend says, in lines like "ERROR: ..."
  // The other end of the backend's side channel. Nothing goes over it, but some backends wait for
  // ever unless it is open.
  FileDescriptor sideChannel;
  Process backend;
};

// Starts the backend at `path`.
[[nodiscard]] Result<BackendLink> startBackend(const std::string& path, const DeviceUri& uri);

}  // namespace moxsupply
