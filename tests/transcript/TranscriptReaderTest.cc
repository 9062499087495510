#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/Hex.h"
#include "transcript/TranscriptReader.h"
#include "transcript/TranscriptWriter.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using transcript::Event;
using transcript::Transcript;

Transcript read(const std::string& text) {
  std::istringstream stream(text);
  return transcript::readTranscript(stream).value();
}

std::string mistakeIn(std::istream& stream) {
  const auto transcript = transcript::readTranscript(stream);
  return transcript ? "none" : transcript.error().what;
}

std::string mistakeIn(const std::string& text) {
  std::istringstream stream(text);
  return mistakeIn(stream);
}

const std::string kHeader = "moxsupply-transcript 1\n";
const std::string kQuery = "query Laser usb 2\n";

TEST(TranscriptReader, ReadsQueriesAndTheirOperations) {
  const Transcript expected = {
      {"Laser",
       "usb",
       2,
       {{Event::kSent, 0ms, hex("A5 00")}, {Event::kReceived, 2004ms, hex("FF")}}},
      {"Inkjet",
       "socket",
       4294967295,
       {{Event::kSent, 1ms, hex("A5")}, {Event::kFailed, 2ms, {}}, {Event::kEnded, 3ms, {}}}},
  };
  EXPECT_EQ(read("moxsupply-transcript 1\n"
                 "query Laser usb 2\n"
                 "> 0 A5 00\n"
                 "< 2004 FF\n"
                 "query Inkjet socket 4294967295\n"
                 "> 1 A5\n"
                 "> 2 failed\n"
                 "< 3 end\n"),
            expected);
}

TEST(TranscriptReader, ReadsWhatPeopleAndTheirMailMakeOfIt) {
  const Transcript expected = {{"Laser", "usb", 2, {{Event::kSent, 0ms, hex("A5 00 1F")}}}};
  EXPECT_EQ(read("moxsupply-transcript 1   # by hand\r\n"
                 "\r\n"
                 "  # a story\r\n"
                 "\tquery  Laser\tusb 2\r\n"
                 "> 0 a500 1f # the request # and again"),
            expected);
}

TEST(TranscriptReader, ReadsWhatTheWriterWrites) {
  Transcript transcript = {{"Inkjet", "dnssd", 0, {}}, {"Laser", "mdns", 7, {}}};
  for (int i = 0; i < 300; ++i) {
    const auto byte = static_cast<std::uint8_t>(i);
    transcript[1].operations.push_back(
        {i % 2 == 0 ? Event::kSent : Event::kReceived, i * 1ms, repeated(byte, 1U + byte)});
  }
  transcript[1].operations.push_back({Event::kEnded, 4294967295ms, {}});
  transcript[1].operations.push_back({Event::kSent, 0ms, hex("00")});
  transcript[1].operations.push_back({Event::kFailed, 0ms, {}});
  EXPECT_EQ(read(transcript::asText(transcript)), transcript);
}

TEST(TranscriptReader, TakesTheLargestOperation) {
  const Transcript transcript = {
      {"Laser", "usb", 2, {{Event::kReceived, 4294967295ms, repeated(0xA5, 65536)}}}};
  EXPECT_EQ(read(transcript::asText(transcript)), transcript);
}

struct Mistake {
  const char* name;
  std::string text;
  const char* what;
};

void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.name; }

class MistakeInTranscript : public ::testing::TestWithParam<Mistake> {};

INSTANTIATE_TEST_SUITE_P(
    Each, MistakeInTranscript,
    ::testing::Values(
        Mistake{"Empty", "", "line 1: the file is empty"},
        Mistake{"OtherFile", "%PDF-1.4\n",
                "line 1: no transcript: it begins with \"moxsupply-transcript 1\""},
        Mistake{"BlankFirst", "\n" + kHeader, "line 1: no transcript"},
        Mistake{"NewerVersion", "moxsupply-transcript 2\n",
                "line 1: version 2 of the format; this program reads version 1"},
        Mistake{"NoVersion", "moxsupply-transcript\n", "line 1: no version"},
        Mistake{"WordBehindVersion", "moxsupply-transcript 1 1\n", "line 1: no version"},
        Mistake{"NoQuery", kHeader + "# nothing\n", "line 2: no \"query\" line"},
        Mistake{"OperationBeforeQuery", kHeader + "> 0 A5\n",
                "line 2: an operation before the first \"query\" line"},
        Mistake{"UnknownWord", kHeader + kQuery + "= 0 A5\n",
                "line 3: expected \"query\", \"<\", \">\" or a comment, not \"=\""},
        Mistake{"UnknownType", kHeader + "query laser usb 2\n",
                "line 2: expected a printer type, Laser or Inkjet, not \"laser\""},
        Mistake{"UnknownTransport", kHeader + "query Laser tcp 2\n",
                "line 2: expected a transport, usb, socket, mdns or dnssd, not \"tcp\""},
        Mistake{"NoTimeout", kHeader + "query Laser usb\n", "line 2: expected a timeout"},
        Mistake{"NegativeTimeout", kHeader + "query Laser usb -1\n", "line 2: expected a timeout"},
        Mistake{"TooManyWords", kHeader + "query Laser usb 2 3\n",
                "line 2: expected the end of the line, not \"3\""},
        Mistake{"NoPause", kHeader + kQuery + ">\n", "line 3: expected milliseconds"},
        Mistake{"PauseTooLong", kHeader + kQuery + "> 4294967296 A5\n",
                "line 3: expected milliseconds, 0 to 4294967295, not \"4294967296\""},
        Mistake{"NoBytes", kHeader + kQuery + "> 0\n", "line 3: an operation without bytes"},
        Mistake{"HalfAByte", kHeader + kQuery + "> 0 A5 0\n",
                "line 3: expected pairs of hex digits, not \"0\""},
        Mistake{"SignedByte", kHeader + kQuery + "> 0 -1\n", "line 3: expected pairs"},
        Mistake{"NoHex", kHeader + kQuery + "> 0 A5 0x\n", "line 3: expected pairs"},
        Mistake{"EndOfAnotherDirection", kHeader + kQuery + "> 0 end\n", "line 3: expected pairs"},
        Mistake{"WordBehindEnd", kHeader + kQuery + "< 0 end A5\n",
                "line 3: expected the end of the line, not \"A5\""},
        Mistake{"BytesBehindTheEnd", kHeader + kQuery + "< 0 end\n< 0 A5\n",
                "line 4: the printer has hung up before"},
        Mistake{"HostileWord", kHeader + std::string("\x1B]0;\x07\xE2\x80\x8B\0x", 9) + "\n",
                "line 2: expected \"query\", \"<\", \">\" or a comment, not \"?]0;?????\""},
        Mistake{"LineWithoutEnd", kHeader + std::string(1'000'000, 'A'),
                "line 2: more than 197632 bytes, the most that a line may have"},
        Mistake{"OperationTooLarge",
                kHeader + kQuery + transcript::operationLine(Event::kSent, 0ms, repeated(1, 65537)),
                "line 3: more than 65536 bytes, the most that an operation may have"}),
    [](const auto& mistake) { return mistake.param.name; });

TEST_P(MistakeInTranscript, IsNamedWithItsLine) {
  EXPECT_THAT(mistakeIn(GetParam().text), ::testing::StartsWith(GetParam().what));
}

// A stream that never ends, of the same text again and again.
class Endless : public std::streambuf {
 public:
  explicit Endless(std::string first, std::string again)
      : mFirst(std::move(first)), mAgain(std::move(again)) {
    setg(mFirst.data(), mFirst.data(), mFirst.data() + mFirst.size());
  }

 protected:
  int_type underflow() override {
    setg(mAgain.data(), mAgain.data(), mAgain.data() + mAgain.size());
    return traits_type::to_int_type(mAgain.front());
  }

 private:
  std::string mFirst;
  std::string mAgain;
};

std::string mistakeInEndless(const std::string& first, const std::string& again) {
  Endless endless(first, again);
  std::istream stream(&endless);
  return mistakeIn(stream);
}

TEST(TranscriptReader, TakesTheLongestLine) {
  const std::string longest = '#' + std::string(197'631, '-');
  EXPECT_EQ(read(kHeader + kQuery + longest + '\n').size(), 1U);
  EXPECT_EQ(read(kHeader + kQuery + longest).size(), 1U);
  EXPECT_EQ(mistakeIn(kHeader + kQuery + longest + "-\n"),
            "line 3: more than 197632 bytes, the most that a line may have");
}

TEST(TranscriptReader, GivesUpOnAFileWithoutEnd) {
  const std::string largest = transcript::operationLine(Event::kSent, 0ms, repeated(1, 65536));
  EXPECT_EQ(mistakeInEndless(kHeader + kQuery, "< 0 A5\n"),
            "line 262147: more than 262144 operations, the most that a transcript may have");
  EXPECT_EQ(mistakeInEndless(kHeader + kQuery, largest),
            "line 67: more than 4194304 bytes from and to a printer, the most that a transcript "
            "may have");
  EXPECT_EQ(mistakeInEndless(kHeader, kQuery),
            "line 66: more than 64 queries, the most that a transcript may have");
  EXPECT_THAT(
      mistakeInEndless(kHeader, "#\n"),
      ::testing::EndsWith(": more than 33554432 bytes, the most that a transcript may have"));
}

TEST(TranscriptReader, QuotesTheBeginningOfALongWord) {
  const std::string word(100'000, 'x');
  const std::string quote = '"' + std::string(77, 'x') + "...\"";
  EXPECT_EQ(mistakeIn(kHeader + word + '\n'),
            "line 2: expected \"query\", \"<\", \">\" or a comment, not " + quote);
  EXPECT_EQ(mistakeIn(kHeader + "query " + word + '\n'),
            "line 2: expected a printer type, Laser or Inkjet, not " + quote);
  EXPECT_EQ(mistakeIn(kHeader + "query Laser " + word + '\n'),
            "line 2: expected a transport, usb, socket, mdns or dnssd, not " + quote);
  EXPECT_EQ(mistakeIn(kHeader + "query Laser usb 2 " + word + '\n'),
            "line 2: expected the end of the line, not " + quote);
  EXPECT_EQ(mistakeIn(kHeader + kQuery + "> " + word + '\n'),
            "line 3: expected milliseconds, 0 to 4294967295, not " + quote);
  EXPECT_EQ(mistakeIn(kHeader + kQuery + "> 0 " + word + '\n'),
            "line 3: expected pairs of hex digits, not " + quote);
}

}  // namespace
}  // namespace moxsupply::testing
