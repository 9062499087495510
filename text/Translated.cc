#include "text/Translated.h"

#include <fmt/format.h>
#include <libintl.h>

#include <clocale>
#include <cstdlib>
#include <exception>
#include <filesystem>

namespace moxsupply {

namespace {

constexpr const char* kCatalog = "moxsupply-programs";

// In whose language messages are; null: they stay as they are. One of our own, so that messages do
// not go by the process's locale, and the names of supplies not by the language of messages.
locale_t theLocale = nullptr;

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string localeOfMessages() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (auto value = environment(name); !value.empty()) return value;
  }
  return "C";
}

// Whoever has one of these has asked for no language, whatever LANGUAGE says.
bool hasNoLanguage(std::string_view locale) {
  return locale == "C" || locale == "POSIX" || locale.starts_with("C.");
}

// A locale of the language; null where the machine has none. The print server gives its filters
// languages whose locales the machine need not have: C.UTF-8 goes by LANGUAGE, too.
locale_t localeOf(const std::string& languages) {
  locale_t locale = ::newlocale(LC_MESSAGES_MASK, "", nullptr);
  if (locale != nullptr) return locale;
  ::setenv("LANGUAGE", languages.c_str(), 1);
  return ::newlocale(LC_MESSAGES_MASK, "C.UTF-8", nullptr);
}

// They are found from where the program is, so that a whole installation can be moved: in
// share/locale below the nearest of the folders above it that has one.
std::string catalogsFolder() {
  namespace fs = std::filesystem;
  std::error_code ignored;
  fs::path folder = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  while (folder.has_relative_path() && !fs::is_directory(folder / "share/locale", ignored)) {
    folder = folder.parent_path();
  }
  return folder / "share/locale";
}

std::string catalogText(const detail::Message& message) {
  const std::string one(message.one);
  const std::string several(message.several.empty() ? message.one : message.several);
  if (theLocale == nullptr || one.empty()) return message.count == 1 ? one : several;
  const locale_t former = ::uselocale(theLocale);
  const char* text = message.several.empty()
                         ? ::dgettext(kCatalog, one.c_str())
                         : ::dngettext(kCatalog, one.c_str(), several.c_str(), message.count);
  std::string found = text;
  ::uselocale(former);
  return found;
}

}  // namespace

void translateMessages() {
  const std::string locale = localeOfMessages();
  if (hasNoLanguage(locale)) return;
  const std::string language = environment("LANGUAGE");
  const std::string& languages = language.empty() ? locale : language;
  // A print user may say in which language a job is: that names no file elsewhere.
  if (languages.starts_with("en") || languages.find('/') != std::string::npos) return;
  ::bindtextdomain(kCatalog, catalogsFolder().c_str());
  ::bind_textdomain_codeset(kCatalog, "UTF-8");
  theLocale = localeOf(languages);
  static_cast<void>(translated("ok"));  // reads the catalog: files may be given up afterwards
}

std::string translated(std::string_view message) { return catalogText({.one = message}); }

std::string detail::filledIn(const Message& message, fmt::format_args arguments) {
  try {
    return fmt::vformat(catalogText(message), arguments);
  } catch (const std::exception&) {
    return fmt::vformat(
        message.count == 1 || message.several.empty() ? message.one : message.several, arguments);
  }
}

}  // namespace moxsupply
