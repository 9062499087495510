#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "queue/PpdFile.h"
#include "supplies/Attention.h"
#include "supplies/Supply.h"
#include "text/Problem.h"

namespace moxsupply {

// How the printer of a queue is asked.
struct QueueSettings {
  PrinterKind kind = PrinterKind::kLaser;
  std::string transport;                    // "usb", "socket", "mdns" or "dnssd"
  std::uint32_t timeout = 2;                // seconds for each single read
  std::uint32_t deadline = 45;              // seconds for everything
  int lowLevel = kLowLevel;                 // percent, from which on downwards a supply is low
  std::vector<std::string> ignoredOptions;  // of the job: a line for each, which and why
};

// The kind that "Laser" or "Inkjet" names, which people may also write in small letters. Nothing
// for any other word.
[[nodiscard]] std::optional<PrinterKind> printerKindOf(std::string_view word);

// The same as it is typed: "laser" or "inkjet".
[[nodiscard]] constexpr std::string_view typedKind(PrinterKind kind) {
  return kind == PrinterKind::kLaser ? "laser" : "inkjet";
}

// The same in a message, before the word "printer".
[[nodiscard]] std::string withArticle(PrinterKind kind);

// Gathers the settings for a job of the print server: from the queue's PPD file (*moxPrinterType,
// *moxTimeout, *moxDeadline, *moxLowLevel); the transport is that of the device URI. Of the job's
// own options, which anybody gives who may print, moxTimeout and moxDeadline can shorten the times.
[[nodiscard]] Result<QueueSettings> queueSettings(const PpdFile& ppd, const std::string& jobOptions,
                                                  const std::string& deviceUri);
[[nodiscard]] Result<QueueSettings> queueSettings(const std::string& ppdPath,
                                                  const std::string& jobOptions,
                                                  const std::string& deviceUri);

}  // namespace moxsupply
