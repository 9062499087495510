#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

namespace moxsupply {

// What makes a text no JSON. Line and column, from 1, are where it was noticed.
class JsonSyntaxMistake : public std::runtime_error {
 public:
  JsonSyntaxMistake(std::size_t line, std::size_t column, const std::string& what)
      : std::runtime_error(what), mLine(line), mColumn(column) {}

  [[nodiscard]] std::size_t line() const { return mLine; }
  [[nodiscard]] std::size_t column() const { return mColumn; }

 private:
  std::size_t mLine;
  std::size_t mColumn;
};

// What people write is bounded, besides the bytes of its file.
constexpr std::size_t kMostJsonDepth = 32;
constexpr std::size_t kMostJsonValues = 1'000'000;

// Throws JsonSyntaxMistake; JsonMistake for a document that is deeper or has more values than this,
// and for a key that stands twice in an object, of which JSON libraries keep one or the other.
//
// A number that is no integer of 64 bits is its digits, in a binary value, which nothing else is:
// a double would lose some of them.
nlohmann::json parseJsonDocument(std::string_view text);

// Such a document on one line of printable ASCII, with the digits that its numbers had.
std::string documentAsJson(const nlohmann::json& document);

}  // namespace moxsupply
