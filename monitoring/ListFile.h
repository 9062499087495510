#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "monitoring/PrinterList.h"

namespace moxsupply {

// The list's file, which may be replaced, or written anew, at any time.
class ListFile {
 public:
  explicit ListFile(std::string path);

  [[nodiscard]] Result<PrinterList> read() const { return readPrinterList(mPath); }

  // The same, and no `look` tells it again.
  [[nodiscard]] Result<PrinterList> readAgain();

  // To be called again and again. What is there now, once it has changed and then stayed the same
  // from one call to the next: a list that is being written is not half of one.
  std::optional<Result<PrinterList>> look();

 private:
  // What makes it another file, or another content.
  struct Identity {
    dev_t device = 0;
    ino_t number = 0;
    off_t size = -1;  // of a file that is not there
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    friend bool operator==(const Identity&, const Identity&) = default;
  };

  [[nodiscard]] Identity identity() const;

  std::string mPath;
  Identity mRead;  // of what was read last
  Identity mSeen;  // at the last look
};

}  // namespace moxsupply
