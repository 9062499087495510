#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace moxsupply {

// For text whose length is bounded elsewhere.
constexpr std::size_t kWhole = 2000;

// Text from anywhere, cut to at most so many bytes, for HTML and for the value of an attribute.
[[nodiscard]] std::string escaped(std::string_view text, std::size_t mostBytes = kWhole);

// For the value of a parameter in an address.
[[nodiscard]] std::string asParameter(std::string_view text);

// The beginning of a page, until its first line is to come. `title`: HTML. `refresh`: after so many
// seconds it loads itself again; 0: it stays as it is.
[[nodiscard]] std::string pageBegins(std::string_view title, int refresh);
constexpr std::string_view kPageEnds = "</body>\n</html>\n";

}  // namespace moxsupply
