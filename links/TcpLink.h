#pragma once

#include "links/DeviceUri.h"
#include "system/FileDescriptor.h"
#include "text/Problem.h"

namespace moxsupply {

// A connection to the printer at `uri.host` and `uri.port`, for both directions. Blocks, as long as
// the name servers and the network take.
[[nodiscard]] Result<FileDescriptor> connectToPrinter(const DeviceUri& uri);

}  // namespace moxsupply
