#include "npa/CPDTriplet.h"

// Four keys have two ids each; an item with either id is kept under the key.
const std::array<moxsupply::CPDTripletRow, 33> CPDTriplet = {{
    {"kPrintHead", 0x0019},

    {"kFirstCartID", 0x0110},
    {"kFirstCartID", 0x0100},
    {"kSecondCartID", 0x0120},
    {"kSecondCartID", 0x0200},
    {"kThirdCartID", 0x0130},
    {"kFourthCartID", 0x0140},

    {"kDotCountBlack", 0x0400},
    {"kDotCountCyan", 0x0401},
    {"kDotCountMagenta", 0x0402},
    {"kDotCountYellow", 0x0403},
    {"kDotCountPhotoK", 0x0404},
    {"kDotCountPhotoC", 0x0405},
    {"kDotCountPhotoM", 0x0406},
    {"kDotCountAlternativeC", 0x0407},
    {"kDotCountAlternativeM", 0x0408},
    {"kDotCountAlternativeY", 0x0409},

    {"kSlot1DotCapacityB", 0x0414},
    {"kSlot1DotCapacityB", 0x0203},
    {"kSlot2DotCapacityC", 0x0415},
    {"kSlot2DotCapacityC", 0x0103},
    {"kAltColorDotCapacity", 0x0416},
    {"kPhotoDotCapacity", 0x0417},
    {"kSlot3DotCapacityM", 0x0418},
    {"kSlot4DotCapacityY", 0x0419},

    {"kMonoInkRemaining", 0x0427},
    {"kCyanInkRemaining", 0x0428},
    {"kMagentaInkRemaining", 0x0429},
    {"kYellowInkRemaining", 0x042A},
    {"kCyanPhotoInkRemaining", 0x042B},
    {"kMagentaPhotoInkRemaining", 0x042C},
    {"kYellowPhotoInkRemaining", 0x042D},

    {nullptr, 0},
}};
