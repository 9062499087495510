#pragma once

#include <cstdint>
#include <string_view>

namespace moxsupply::transcript {

// The words of the format. They are in files that people keep: never change them.
constexpr std::string_view kFormat = "moxsupply-transcript";
constexpr std::uint32_t kVersion = 1;
constexpr char kComment = '#';
constexpr std::string_view kQuery = "query";
constexpr char kToPrinter = '>';
constexpr char kFromPrinter = '<';
constexpr std::string_view kFailed = "failed";
constexpr std::string_view kEnded = "end";

}  // namespace moxsupply::transcript
