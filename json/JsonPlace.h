#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace moxsupply {

// A value in a JSON document that knows its place there. What asks it for something else than it
// is gets a JsonMistake: the place as a JSON pointer, what was expected, and what stands there.
class JsonPlace {
 public:
  // The whole document, which must outlive its places.
  explicit JsonPlace(const nlohmann::json& document) : mValue(&document) {}

  // That it is an object, without other keys than these.
  void expectKeys(std::span<const std::string_view> keys) const;

  // A member of an object.
  [[nodiscard]] std::optional<JsonPlace> find(std::string_view key) const;
  [[nodiscard]] JsonPlace at(std::string_view key) const;

  // The values of an array.
  [[nodiscard]] std::vector<JsonPlace> elements() const;

  // The keys of an object.
  [[nodiscard]] std::vector<std::string> keys() const;

  [[nodiscard]] std::uint32_t number(std::uint32_t least, std::uint32_t most) const;
  [[nodiscard]] bool truth() const;
  [[nodiscard]] std::string text(std::size_t longest = std::string::npos) const;
  [[nodiscard]] std::vector<std::uint8_t> hex(
      std::size_t longest) const;  // pairs of hex digits in a text

  [[nodiscard]] bool isNumber() const { return mValue->is_number() || mValue->is_binary(); }
  [[nodiscard]] bool isText() const { return mValue->is_string(); }
  [[nodiscard]] bool isNull() const { return mValue->is_null(); }
  [[nodiscard]] bool isObject() const { return mValue->is_object(); }

  // Throws the mistake. `what` goes on after "expected ".
  [[noreturn]] void expected(std::string_view what) const;

  // Throws the mistake, of which this is all but the place.
  [[noreturn]] void complain(std::string_view mistake) const;

 private:
  // A key or an index, and where that stands. Of the many places of a document few are ever named.
  struct Step {
    std::shared_ptr<const Step> within;
    std::variant<std::string, std::size_t> what;
  };

  JsonPlace(const nlohmann::json& value, std::shared_ptr<const Step> within,
            std::variant<std::string, std::size_t> what)
      : mValue(&value),
        mStep(std::make_shared<const Step>(Step{std::move(within), std::move(what)})) {}

  static nlohmann::json::json_pointer pointerTo(const Step* step);

  const nlohmann::json* mValue;
  std::shared_ptr<const Step> mStep;  // none for the document
};

// The text as one line that is safe on a terminal: what is not printable ASCII becomes "?".
std::string asOneLine(std::string text);

}  // namespace moxsupply
