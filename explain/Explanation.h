#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "values/Dictionary.h"

namespace moxsupply {

// What `moxsupply decode` prints, line by line. Whatever text it is given comes out harmless for a
// terminal.
class Explanation {
 public:
  explicit Explanation(bool isColored) : mIsColored(isColored) {}

  // A line at the margin, after an empty one.
  void heading(std::string_view text);

  // What a part of the following is.
  void line(std::string_view text);

  // Bytes at an offset and what they mean. Of many bytes the first few are shown.
  void field(std::size_t offset, std::span<const std::uint8_t> bytes, std::string_view meaning);

  // Something that is not what one would expect, and what comes of it.
  void note(std::string_view text);

  // What a decoder made of the bytes, a line for each entry.
  void decoded(const Dictionary& dictionary);

  [[nodiscard]] const std::string& text() const { return mText; }

 private:
  void add(std::string_view color, std::string_view indent, std::string_view text);
  void entries(const Dictionary& dictionary, const std::string& indent);

  bool mIsColored;
  std::string mText;
};

}  // namespace moxsupply
