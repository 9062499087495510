#pragma once

#include <string>
#include <string_view>

namespace moxsupply::testing {

// A PPD file that is no longer than libcups needs it, with `lines` at its end.
inline std::string smallPpd(std::string_view lines) {
  return R"PPD(*PPD-Adobe: "4.3"
*FormatVersion: "4.3"
*FileVersion: "1.0"
*LanguageVersion: English
*LanguageEncoding: ISOLatin1
*PCFileName: "SMALL.PPD"
*Manufacturer: "Example"
*Product: "(Small Printer)"
*ModelName: "Small Printer"
*ShortNickName: "Small Printer"
*NickName: "Small Printer"
*PSVersion: "(3010) 0"
*OpenUI *PageSize/Page Size: PickOne
*DefaultPageSize: A4
*PageSize A4/A4: "<</PageSize[595 842]>>setpagedevice"
*CloseUI: *PageSize
)PPD" + std::string(lines);
}

}  // namespace moxsupply::testing
