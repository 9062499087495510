#include "text/Age.h"

#include "text/Translated.h"

namespace moxsupply {

std::string ageInWords(std::chrono::seconds age) {
  const auto wholes = [&](std::chrono::seconds unit) {
    return static_cast<std::size_t>(age / unit);
  };
  if (const auto count = wholes(std::chrono::days(1)); count > 0) {
    return translatedCount(count, "{} day", "{} days", count);
  }
  if (const auto count = wholes(std::chrono::hours(1)); count > 0) {
    return translatedCount(count, "{} hour", "{} hours", count);
  }
  if (const auto count = wholes(std::chrono::minutes(1)); count > 0) {
    return translatedCount(count, "{} minute", "{} minutes", count);
  }
  // Translators: the age of levels, in the place of "5 minutes".
  return translated("now");
}

}  // namespace moxsupply
