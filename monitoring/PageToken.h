#pragma once

#include <string>
#include <string_view>

namespace moxsupply {

// What shows that a form was sent from a page of this exporter: a text that nobody can guess, and
// that is another one at each start.
class PageToken {
 public:
  PageToken();

  [[nodiscard]] const std::string& text() const { return mText; }

  // In a time that tells nothing of where they differ.
  [[nodiscard]] bool isThis(std::string_view text) const;

 private:
  std::string mText;
};

}  // namespace moxsupply
