#pragma once

#include <string>

namespace moxsupply::testing {

// Drivers (PPD files) as queues have them: `lines` say what the driver filters.
inline std::string driver(const std::string& lines) {
  return R"PPD(*PPD-Adobe: "4.3"
*FormatVersion: "4.3"
*FileVersion: "1.0"
*LanguageVersion: English
*LanguageEncoding: ISOLatin1
*PCFileName: "EXAMPLE.PPD"
*Product: "(Example)"
*PSVersion: "(3010.000) 0"
*Manufacturer: "Example"
*ModelName: "Example Printer"
*ShortNickName: "Example Printer"
*NickName: "Example Printer"
*ColorDevice: True
*DefaultColorSpace: RGB
*LanguageLevel: "3"
)PPD" + lines +
         R"PPD(*OpenUI *PageSize/Page Size: PickOne
*OrderDependency: 10 AnySetup *PageSize
*DefaultPageSize: A4
*PageSize A4/A4: "<</PageSize[595 842]>>setpagedevice"
*CloseUI: *PageSize
*OpenUI *PageRegion: PickOne
*OrderDependency: 10 AnySetup *PageRegion
*DefaultPageRegion: A4
*PageRegion A4/A4: "<</PageSize[595 842]>>setpagedevice"
*CloseUI: *PageRegion
*DefaultImageableArea: A4
*ImageableArea A4/A4: "18 36 577 806"
*DefaultPaperDimension: A4
*PaperDimension A4/A4: "595 842"
)PPD";
}

// Of a PostScript printer, which needs no filter.
inline std::string postScriptDriver() { return driver(""); }

}  // namespace moxsupply::testing
