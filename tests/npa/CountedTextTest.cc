#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "npa/CountedText.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

// A text field and the string that it makes; none where the bytes are not UTF-8.
struct TextCase {
  const char* name;
  const char* field;
  std::optional<std::string> text;
};

std::string nameOfCase(const ::testing::TestParamInfo<TextCase>& info) { return info.param.name; }

class CountedText : public ::testing::TestWithParam<TextCase> {};

TEST_P(CountedText, IsAsTheTableSays) {
  EXPECT_EQ(countedText(hex(GetParam().field)), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    CutAtItsFirstZero, CountedText,
    ::testing::Values(TextCase{"NoBytes", "", ""},                             //
                      TextCase{"NoZero", "54 6F 6E 65 72", "Toner"},           //
                      TextCase{"ZeroFirst", "00 41", ""},                      //
                      TextCase{"ZeroLast", "41 42 00", "AB"},                  //
                      TextCase{"TwoZeros", "41 00 42 00", "A"},                //
                      TextCase{"NoUtf8AfterTheZero", "41 00 FF C3", "A"},      //
                      TextCase{"NothingButNoUtf8AfterTheZero", "00 FF", ""},   //
                      TextCase{"NoUtf8BeforeTheZero", "FF 00", std::nullopt},  //
                      TextCase{"CharacterCutByTheZero", "41 C3 00 A9", std::nullopt}),
    nameOfCase);

INSTANTIATE_TEST_SUITE_P(
    Utf8, CountedText,
    ::testing::Values(
        TextCase{"OneByteLast", "7F", "\x7F"},                                // U+007F
        TextCase{"ControlCharacter", "01 1F", "\x01\x1F"},                    //
        TextCase{"TwoBytesFirst", "C2 80", "\xC2\x80"},                       // U+0080
        TextCase{"TwoBytesLast", "DF BF", "\xDF\xBF"},                        // U+07FF
        TextCase{"ThreeBytesFirst", "E0 A0 80", "\xE0\xA0\x80"},              // U+0800
        TextCase{"BeforeTheSurrogates", "ED 9F BF", "\xED\x9F\xBF"},          // U+D7FF
        TextCase{"AfterTheSurrogates", "EE 80 80", "\xEE\x80\x80"},           // U+E000
        TextCase{"FourBytesFirst", "F0 90 80 80", "\xF0\x90\x80\x80"},        // U+10000
        TextCase{"ReplacementCharacter", "EF BF BD", "\xEF\xBF\xBD"},         // U+FFFD
        TextCase{"NoncharacterFDD0", "EF B7 90", "\xEF\xB7\x90"},             //
        TextCase{"NoncharacterFFFE", "EF BF BE", "\xEF\xBF\xBE"},             //
        TextCase{"NoncharacterFFFF", "EF BF BF", "\xEF\xBF\xBF"},             //
        TextCase{"Noncharacter1FFFE", "F0 9F BF BE", "\xF0\x9F\xBF\xBE"},     //
        TextCase{"LastCharacterOfAll", "F4 8F BF BF", "\xF4\x8F\xBF\xBF"},    // U+10FFFF
        TextCase{"LeadingByteOrderMark", "EF BB BF 41", "\xEF\xBB\xBF\x41"},  //
        TextCase{"ByteOrderMarkAlone", "EF BB BF", "\xEF\xBB\xBF"},           //
        TextCase{"CyanInGreek", "CE BA CF 85 CE B1 CE BD", "\u03BA\u03C5\u03B1\u03BD"}),
    nameOfCase);

INSTANTIATE_TEST_SUITE_P(
    NotUtf8, CountedText,
    ::testing::Values(TextCase{"OverlongZero", "C0 80", std::nullopt},                 //
                      TextCase{"OverlongSlash", "C0 AF", std::nullopt},                //
                      TextCase{"OverlongTwoBytes", "C1 BF", std::nullopt},             // U+007F
                      TextCase{"OverlongThreeBytes", "E0 9F BF", std::nullopt},        // U+07FF
                      TextCase{"OverlongFourBytes", "F0 8F BF BF", std::nullopt},      // U+FFFF
                      TextCase{"FirstSurrogate", "ED A0 80", std::nullopt},            // U+D800
                      TextCase{"LastSurrogate", "ED BF BF", std::nullopt},             // U+DFFF
                      TextCase{"SurrogatePair", "ED A0 BD ED B8 80", std::nullopt},    //
                      TextCase{"BeyondTheLast", "F4 90 80 80", std::nullopt},          // U+110000
                      TextCase{"LeadByteF5", "F5 80 80 80", std::nullopt},             //
                      TextCase{"FiveBytes", "F8 88 80 80 80", std::nullopt},           //
                      TextCase{"SixBytes", "FC 84 80 80 80 80", std::nullopt},         //
                      TextCase{"ByteFE", "FE", std::nullopt},                          //
                      TextCase{"ByteFF", "FF", std::nullopt},                          //
                      TextCase{"ContinuationAlone", "80", std::nullopt},               //
                      TextCase{"ContinuationTooMany", "C3 A9 A9", std::nullopt},       //
                      TextCase{"TwoBytesCut", "41 C3", std::nullopt},                  //
                      TextCase{"ThreeBytesCut", "E2 82", std::nullopt},                //
                      TextCase{"FourBytesCut", "F0 9F 98", std::nullopt},              //
                      TextCase{"LetterInsteadOfContinuation", "C3 41", std::nullopt},  //
                      TextCase{"Latin1", "43 79 61 6E E9", std::nullopt},              //
                      TextCase{"BadAfterGood", "41 42 43 FF", std::nullopt},           //
                      TextCase{"BadBeforeGood", "FF 41 42 43", std::nullopt}),
    nameOfCase);

}  // namespace
}  // namespace moxsupply::testing
