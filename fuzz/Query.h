#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "front/MoxFilter.h"
#include "fuzz/PrinterLink.h"
#include "fuzz/Target.h"
#include "npa/Requests.h"
#include "values/Dictionary.h"

namespace moxsupply::fuzzing {

// A whole query, as a host makes it, of the printer that an input plays.
struct Query {
  Query(std::string_view printerType, std::string_view transport,
        std::span<const std::uint8_t> input) {
    PrinterLink link(input);
    status =
        MoxFilter::initWithPrinterType(printerType, transport, kTimeout)->inkStatusQuery(&report);
    written = link.written();
    readsInVain = link.readsInVain();
  }

  Status status = Status::kNoCommand;
  Dictionary report;
  std::string written;
  std::size_t readsInVain = 0;
};

inline std::string textOf(const Request& request) {
  const auto& command = CommandList.at(request.record).command;
  return {command.begin(), command.begin() + request.size};
}

// Whether the text under `key` is one of these words.
template <std::size_t count>
bool isOneOf(const Dictionary& record, const Key& key,
             const std::array<std::string_view, count>& words) {
  const auto* text = record.get<std::string>(key);
  return text != nullptr && std::ranges::find(words, *text) != words.end();
}

}  // namespace moxsupply::fuzzing
