#pragma once

#include <string>

namespace moxsupply {

// The names of inkjet cartridges in the language of the process's locale, from the gettext catalogs
// that lie beside the module. The process sets its locale itself; in the C and POSIX locales, or
// where there is no catalog for the language, every name is its default text.
class SupplyNames {
 public:
  // Finds the catalogs. Opens no file.
  SupplyNames();

  // The name under `key`, or `defaultText` where the catalogs have none. UTF-8 in every locale.
  [[nodiscard]] std::string name(const char* key, const char* defaultText) const;

 private:
  bool mTranslated = false;
};

}  // namespace moxsupply
