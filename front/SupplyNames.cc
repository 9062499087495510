#include "front/SupplyNames.h"

#include <dlfcn.h>
#include <libintl.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace moxsupply {

namespace {

constexpr const char* kCatalog = "moxsupply";

// Below the module's own folder: moxsupply/locale/LANGUAGE/LC_MESSAGES/moxsupply.mo
constexpr std::string_view kCatalogsBesideModule = "moxsupply/locale";

// The current folder when the module was loaded, from which a relative path led to it; its host may
// have gone to another one since. Null when that folder was not there any more.
const std::unique_ptr<char, decltype(&std::free)> kFolderAtLoading(getcwd(nullptr, 0), &std::free);

// The folder of the file that this code was loaded from, with its slash.
std::string folderOfModule() {
  Dl_info module{};
  if (dladdr(kCatalogsBesideModule.data(), &module) == 0) return {};
  const std::string_view file = module.dli_fname;
  std::string folder;
  if (!file.starts_with('/') && kFolderAtLoading) folder.append(kFolderAtLoading.get()) += '/';
  return folder.append(file.substr(0, file.rfind('/') + 1));
}

// In these locales nobody asked for a language; the C library names POSIX "C" too. gettext sees to
// "C" itself, but in C.UTF-8, however that is spelled, it would go by the environment variable
// LANGUAGE all the same.
bool localeHasNoLanguage() {
  const std::string_view locale = std::setlocale(LC_MESSAGES, nullptr);
  return locale == "C" || locale.starts_with("C.");
}

}  // namespace

SupplyNames::SupplyNames() : mTranslated(!localeHasNoLanguage()) {
  if (!mTranslated) return;
  bindtextdomain(kCatalog, (folderOfModule() + std::string(kCatalogsBesideModule)).c_str());
  bind_textdomain_codeset(kCatalog, "UTF-8");
}

std::string SupplyNames::name(const char* key, const char* defaultText) const {
  const char* text = mTranslated ? dgettext(kCatalog, key) : key;
  // gettext gives its argument back for what it does not have; a catalog that was cut short may
  // give an empty text.
  const bool isMissing = text == key || *text == '\0';
  return isMissing ? defaultText : text;
}

}  // namespace moxsupply
