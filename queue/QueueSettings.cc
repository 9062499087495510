#include "queue/QueueSettings.h"

#include <cups/cups.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

#include "links/DeviceUri.h"
#include "queue/PpdFile.h"
#include "supplies/Words.h"
#include "text/Decimal.h"
#include "text/HarmlessText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

class JobOptions {
 public:
  explicit JobOptions(const std::string& options)
      : mCount(cupsParseOptions(options.c_str(), 0, &mOptions)) {}
  ~JobOptions() { cupsFreeOptions(mCount, mOptions); }
  JobOptions(const JobOptions&) = delete;
  JobOptions& operator=(const JobOptions&) = delete;
  JobOptions(JobOptions&&) = delete;
  JobOptions& operator=(JobOptions&&) = delete;

  [[nodiscard]] std::optional<std::string> find(const char* name) const {
    const char* value = cupsGetOption(name, mCount, mOptions);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
  }

 private:
  cups_option_t* mOptions = nullptr;
  int mCount;
};

// A number of seconds that holds for a queue.
struct Seconds {
  const char* name;
  std::uint32_t least;
  std::uint32_t QueueSettings::*setting;
};

constexpr auto kSeconds = std::to_array<Seconds>(
    {{"moxTimeout", 0, &QueueSettings::timeout}, {"moxDeadline", 1, &QueueSettings::deadline}});

Result<std::uint32_t> ofTheQueue(const Seconds& seconds, const PpdFile& ppd) {
  const auto text = ppd.value(seconds.name);
  if (!text) return QueueSettings().*seconds.setting;
  const auto value = decimal(*text);
  if (!value) {
    return misuse(
        translated("{} is \"{}\"; it must be a whole number of seconds", seconds.name, *text));
  }
  if (*value < seconds.least) {
    return misuse(translated("{} is 0; it must leave the printer at least a second", seconds.name));
  }
  return *value;
}

Result<int> lowLevelIn(const PpdFile& ppd) {
  const auto text = ppd.value("moxLowLevel");
  if (!text) return kLowLevel;
  const auto level = decimal(*text);
  if (level && *level >= kLeastLowLevel && *level <= kMostLowLevel) return static_cast<int>(*level);
  return misuse(translated("moxLowLevel is \"{}\"; it must be a whole number from {} to {}", *text,
                           kLeastLowLevel, kMostLowLevel));
}

// What a job wants is whatever its sender wrote.
std::string ignored(const char* name, std::string_view wanted, const std::string& why) {
  constexpr std::size_t kLongest = 60;
  return fmt::format("The job option {}={} is ignored: {}.", name, harmlessLine(wanted, kLongest),
                     why);
}

void shorten(QueueSettings& settings, const Seconds& seconds, const std::string& wanted) {
  const auto ignore = [&](const std::string& why) {
    settings.ignoredOptions.push_back(ignored(seconds.name, wanted, why));
  };
  auto& setting = settings.*seconds.setting;
  const auto value = decimal(wanted);
  if (!value) {
    ignore("it is no whole number of seconds");
  } else if (*value < seconds.least) {
    ignore("it must leave the printer at least a second");
  } else if (*value > setting) {
    ignore(fmt::format("the queue allows {} seconds, which a job can only shorten", setting));
  } else {
    setting = *value;
  }
}

}  // namespace

// Translators: before the word "printer", as in "it answers as {} printer".
std::string withArticle(PrinterKind kind) {
  return kind == PrinterKind::kLaser ? translated("a laser") : translated("an inkjet");
}

std::optional<PrinterKind> printerKindOf(std::string_view word) {
  if (word == "laser") return PrinterKind::kLaser;
  if (word == "inkjet") return PrinterKind::kInkjet;
  return meaningIn(kPrinterKinds, word);
}

Result<QueueSettings> queueSettings(const std::string& ppdPath, const std::string& jobOptions,
                                    const std::string& deviceUri) {
  const auto ppd = PpdFile::fromFile(ppdPath);
  if (!ppd) return misuse(translated("cannot read the queue's PPD file \"{}\"", ppdPath));
  return queueSettings(*ppd, jobOptions, deviceUri);
}

Result<QueueSettings> queueSettings(const PpdFile& ppd, const std::string& jobOptions,
                                    const std::string& deviceUri) {
  QueueSettings settings;
  const auto type = ppd.value("moxPrinterType");
  if (!type) {
    return misuse(
        translated("the queue's PPD file does not say what kind of printer it is (moxPrinterType)"),
        translated("`moxsupply enable` writes it there."));
  }
  const auto kind = printerKindOf(*type);
  if (!kind) {
    return misuse(translated("moxPrinterType is \"{}\"; it must be Laser or Inkjet", *type));
  }
  settings.kind = *kind;

  const auto lowLevel = lowLevelIn(ppd);
  if (!lowLevel) return tl::unexpected(lowLevel.error());
  settings.lowLevel = *lowLevel;

  const JobOptions job(jobOptions);
  if (const auto wanted = job.find("moxPrinterType"); wanted && printerKindOf(*wanted) != kind) {
    settings.ignoredOptions.push_back(
        ignored("moxPrinterType", *wanted, "a job does not change what the printer is"));
  }
  for (const Seconds& seconds : kSeconds) {
    const auto value = ofTheQueue(seconds, ppd);
    if (!value) return tl::unexpected(value.error());
    settings.*seconds.setting = *value;
    if (const auto wanted = job.find(seconds.name)) shorten(settings, seconds, *wanted);
  }

  const std::string scheme = deviceUri.substr(0, deviceUri.find(':'));
  // Backends are programs with names in small letters.
  const bool isBackend = std::ranges::all_of(scheme, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.';
  });
  settings.transport = isBackend && bringsAnswersBack(deviceUri) ? transportOf(scheme) : scheme;
  return settings;
}

}  // namespace moxsupply
