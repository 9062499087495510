#include "links/ServerFolder.h"

#include <cstdlib>

namespace moxsupply {

std::string serverFolder() {
  const char* folder = std::getenv("CUPS_SERVERBIN");
  return folder == nullptr ? CUPS_SERVERBIN : folder;
}

}  // namespace moxsupply
