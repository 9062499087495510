#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "npa/MoxNPAUtilityCommand.h"
#include "values/Dictionary.h"
#include "values/Export.h"
#include "values/Status.h"

// What a print filter creates, once per print queue, and asks for the printer's supplies as often
// as it likes. The printer is on standard output, and its answers come on descriptor 3, the CUPS
// back channel. Use one object from one thread at a time; nothing throws. Unload the module only
// when its objects and the reports that it has written to are gone: the keys of a report point into
// the module.
class MOXSUPPLY_EXPORT MoxFilter {
 public:
  // `printerType`: "Laser" or "Inkjet"; `andTransport`: "usb", "socket", "mdns" or "dnssd", the
  // scheme of the queue's device URI; both to the letter. `withTimeout`: seconds for each single
  // read from the printer, any number; 0 takes only what is there already.
  // Returns null for a missing or other type or transport. Sends nothing.
  static std::unique_ptr<MoxFilter> initWithPrinterType(
      std::optional<std::string_view> printerType, std::optional<std::string_view> andTransport,
      std::uint32_t withTimeout) noexcept;

  // The same for texts that come as pointers to characters: a null pointer, such as std::getenv
  // gives, is a missing text.
  template <typename Type, typename Transport>
  static std::unique_ptr<MoxFilter> initWithPrinterType(const Type& printerType,
                                                        const Transport& andTransport,
                                                        std::uint32_t withTimeout) noexcept {
    return initWithPrinterType(textOrNothing(printerType), textOrNothing(andTransport),
                               withTimeout);
  }

  // Asks the printer once and adds to `report`:
  //   "PrintHeadType"      text: "LaserSupplies", or the family of an inkjet's print head, one of
  //                        "Quarry", "Meadow" and "Lantern"
  //   "SupplyCount"        number
  //   {"Supply", 1} and on a dictionary for each supply:
  //     "SupplyName"         text; an inkjet cartridge's is in the language of the locale
  //     "SupplyType"         "toner", "fuser", "ink" or "other"
  //     "SupplyColor"        "Cyan", "Magenta", "Yellow" or "Black"; inkjet also "Color", "Photo"
  //     "SupplyPercentage"   number, not clamped: a laser supply's may exceed 100, and is
  //                          -2147483648 where the printer gives no full level; an inkjet
  //                          cartridge's may be up to 255
  //     "SupplyStatus"       "Correct", "Empty", "Missing", "Invalid" or "Incorrect"
  // The third and fourth cartridge of a "Quarry" or "Meadow" head have "SupplyStatus" alone.
  //
  // Nothing is taken out of `report`: keys of an earlier query stay unless written again, and keys
  // written before a failure stay too. Blocks, in reads of at most the timeout each.
  //   kNoDictionary  `report` is null; nothing was sent
  //   kNoCommand     this object was moved from
  //   kWriteError, kNothingReceived, kReadError
  //                  the exchange failed, see MoxNPAUtilityCommand; `report` is as it was
  //   kUndecodable   the answer cannot be decoded, or lacks what the report needs
  moxsupply::Status inkStatusQuery(moxsupply::Dictionary* report) noexcept;

 private:
  enum class PrinterType : std::uint8_t { kLaser = 0, kInkjet = 1 };

  MoxFilter(PrinterType printerType, std::string_view transport, std::uint32_t timeout);

  template <typename Text>
  static std::optional<std::string_view> textOrNothing(const Text& text) noexcept {
    if constexpr (std::convertible_to<const Text&, const char*>) {
      const char* const characters = text;
      if (characters == nullptr) return std::nullopt;
      return characters;
    } else {
      return text;
    }
  }

  moxsupply::Status queryPSSDInkLevels(moxsupply::Dictionary& report);
  moxsupply::Status queryCPDInkLevels(moxsupply::Dictionary& report);

  std::unique_ptr<MoxNPAUtilityCommand> mNPAUtility;
  PrinterType mPrinterType;
  std::string mTransport;
  std::uint32_t mTimeout;
};
