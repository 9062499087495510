#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

struct ppd_file_s;

namespace moxsupply {

// A queue's PPD file, as far as the supplies are concerned.
class PpdFile {
 public:
  // Nothing when the file cannot be read, or is no PPD file.
  static std::optional<PpdFile> fromFile(const std::string& path);
  static std::optional<PpdFile> fromText(const std::string& text);

  // The value of the first line with this keyword (without its star).
  [[nodiscard]] std::optional<std::string> value(const char* keyword) const;

  // The values of the lines that name filters: of *cupsFilter, or of *cupsFilter2.
  [[nodiscard]] std::vector<std::string> filters() const;
  [[nodiscard]] std::vector<std::string> filters2() const;

 private:
  struct Close {
    void operator()(ppd_file_s* ppd) const;
  };

  explicit PpdFile(ppd_file_s* ppd) : mPpd(ppd) {}

  [[nodiscard]] std::vector<std::string> values(const char* keyword) const;

  std::unique_ptr<ppd_file_s, Close> mPpd;
};

}  // namespace moxsupply
