#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

#include "json/JsonDocument.h"
#include "json/JsonMistake.h"
#include "json/JsonPlace.h"
#include "text/Problem.h"

namespace moxsupply {

// Reads JSON that people wrote: `read` gets the whole document as a JsonPlace, asks it for what it
// wants, and makes something of it. What is wrong, with the JSON or with what stands in it, comes
// back as a problem of one harmless line that begins with `name`, the file's.
template <typename Read>
[[nodiscard]] auto readJson(std::string_view json, const std::string& name, const Read& read)
    -> Result<std::invoke_result_t<Read, const JsonPlace&>> try {
  const nlohmann::json document = parseJsonDocument(json);
  return read(JsonPlace(document));
} catch (const JsonSyntaxMistake& mistake) {
  return misuse(name + ':' + std::to_string(mistake.line()) + ':' +
                std::to_string(mistake.column()) + ": " + asOneLine(mistake.what()));
} catch (const JsonMistake& mistake) {
  return misuse(name + ": " + asOneLine(mistake.what()));
}

}  // namespace moxsupply
