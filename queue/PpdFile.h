#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "queue/FilterLine.h"

struct ppd_file_s;

namespace moxsupply {

// The program of ours that answers command files.
constexpr std::string_view kCommandFilter = "commandtomox";

// Whether a filter, as a PPD file writes it, is for command files. The print server takes types in
// any letters.
bool isForCommandFiles(std::string_view filter);

// A queue's PPD file, as far as the supplies are concerned.
class PpdFile {
 public:
  // Nothing when the file cannot be read, or is no PPD file.
  static std::optional<PpdFile> fromFile(const std::string& path);
  static std::optional<PpdFile> fromText(const std::string& text);

  // The value of the first line with this keyword (without its star).
  [[nodiscard]] std::optional<std::string> value(const char* keyword) const;

  // The program that the print server runs for command files, without its folder; empty: none.
  [[nodiscard]] std::string commandFilter() const;

  // The line by which the print server has command files answered; nothing where it takes none.
  [[nodiscard]] std::optional<FilterLine> commandFilterLine() const;

  // The commands that the print server says the queue takes.
  [[nodiscard]] std::vector<std::string> commands() const;

  // Whether a command filter of this name stands on a line that does not count, because the file
  // has lines of the newer form *cupsFilter2 too.
  [[nodiscard]] bool hidesCommandFilter(const std::string& program) const;

 private:
  struct Close {
    void operator()(ppd_file_s* ppd) const;
  };

  explicit PpdFile(ppd_file_s* ppd) : mPpd(ppd) {}

  // Of all lines with this keyword, in their order.
  [[nodiscard]] std::vector<std::string> values(const char* keyword) const;

  std::unique_ptr<ppd_file_s, Close> mPpd;
};

}  // namespace moxsupply
