#include "queue/QueueSettings.h"

#include <cups/cups.h>
#include <fmt/format.h>

#include <optional>

#include "queue/PpdFile.h"
#include "supplies/Words.h"
#include "text/Decimal.h"

namespace moxsupply {

namespace {

// Looks a setting up by its name: in the job's options, then in the PPD.
class Lookup {
 public:
  Lookup(const PpdFile& ppd, const std::string& jobOptions) : mPpd(ppd) {
    mOptionCount = cupsParseOptions(jobOptions.c_str(), 0, &mOptions);
  }
  ~Lookup() { cupsFreeOptions(mOptionCount, mOptions); }
  Lookup(const Lookup&) = delete;
  Lookup& operator=(const Lookup&) = delete;
  Lookup(Lookup&&) = delete;
  Lookup& operator=(Lookup&&) = delete;

  [[nodiscard]] std::optional<std::string> find(const char* name) const {
    if (const char* option = cupsGetOption(name, mOptionCount, mOptions)) return option;
    return mPpd.value(name);
  }

 private:
  const PpdFile& mPpd;
  int mOptionCount = 0;
  cups_option_t* mOptions = nullptr;
};

}  // namespace

std::optional<PrinterKind> printerKindOf(std::string_view word) {
  if (word == "laser") return PrinterKind::kLaser;
  if (word == "inkjet") return PrinterKind::kInkjet;
  return meaningIn(kPrinterKinds, word);
}

Result<QueueSettings> queueSettings(const std::string& ppdPath, const std::string& jobOptions,
                                    const std::string& deviceUri) {
  const auto ppd = PpdFile::fromFile(ppdPath);
  if (!ppd) return misuse(fmt::format("cannot read the queue's PPD file \"{}\"", ppdPath));
  const Lookup lookup(*ppd, jobOptions);

  QueueSettings settings;
  const auto type = lookup.find("moxPrinterType");
  if (!type) {
    return misuse("the queue's PPD file does not say what kind of printer it is (moxPrinterType)",
                  "`moxsupply enable` writes it there.");
  }
  const auto kind = printerKindOf(*type);
  if (!kind) {
    return misuse(fmt::format("moxPrinterType is \"{}\"; it must be Laser or Inkjet", *type));
  }
  settings.kind = *kind;

  for (auto [name, setting] :
       {std::pair("moxTimeout", &settings.timeout), std::pair("moxDeadline", &settings.deadline)}) {
    const auto text = lookup.find(name);
    if (!text) continue;
    const auto seconds = decimal(*text);
    if (!seconds) {
      return misuse(fmt::format("{} is \"{}\"; it must be a whole number of seconds", name, *text));
    }
    *setting = *seconds;
  }
  if (settings.deadline == 0) {
    return misuse("moxDeadline is 0; it must leave the printer at least a second");
  }

  settings.transport = deviceUri.substr(0, deviceUri.find(':'));
  return settings;
}

}  // namespace moxsupply
