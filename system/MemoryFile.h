#pragma once

#include <string_view>

#include "system/FileDescriptor.h"

namespace moxsupply {

// A file without a name and without a place on disk, at its beginning. Empty when there is no more
// memory or descriptors to be had.
FileDescriptor memoryFile(std::string_view content);

}  // namespace moxsupply
