#include "transcript/TranscriptReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "text/ShortQuote.h"
#include "transcript/Words.h"

namespace moxsupply::transcript {

namespace {

// An operation of the most bytes, three characters each, with room for its head and a comment.
constexpr std::size_t kLongestLine = 3 * kMostBytesOfOperation + 1024;
constexpr std::size_t kMostText = 33'554'432;

constexpr std::array<std::string_view, 2> kPrinterTypes = {"Laser", "Inkjet"};
constexpr std::array<std::string_view, 4> kTransports = {"usb", "socket", "mdns", "dnssd"};

constexpr const char* kTranscript = "a transcript";

constexpr std::string_view kBlanks = " \t\r";

// A word of the file as a message may show it.
std::string shown(std::string_view word) {
  std::string text = shortQuote(std::string(word));
  std::ranges::replace_if(
      text, [](char c) { return c < ' ' || c > '~'; }, '?');
  return '"' + text + '"';
}

// Takes the first word off `line`; empty at its end.
std::string_view takeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
  line.remove_prefix(word.size());
  return word;
}

std::optional<std::uint32_t> number(std::string_view word) {
  std::uint32_t value = 0;
  const char* const end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, value);
  if (word.empty() || error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::optional<std::uint8_t> hexByte(std::string_view pair) {
  std::uint8_t value = 0;
  const char* const end = pair.data() + pair.size();
  const auto [stop, error] = std::from_chars(pair.data(), end, value, 16);
  if (pair.size() != 2 || error != std::errc() || stop != end) return std::nullopt;
  return value;
}

class TranscriptMistake : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Reader {
 public:
  explicit Reader(std::istream& text) : mText(text), mLine(kLongestLine + 1) {}

  Transcript read() {
    while (nextLine()) {
      std::string_view rest = mLineText.substr(0, mLineText.find(kComment));
      const std::string_view word = takeWord(rest);
      if (mLineNumber == 1) {
        readHeader(word, rest);
      } else if (word == kQuery) {
        readQuery(rest);
      } else if (word == std::string_view(&kToPrinter, 1)) {
        readOperation(Event::kSent, kFailed, Event::kFailed, rest);
      } else if (word == std::string_view(&kFromPrinter, 1)) {
        readOperation(Event::kReceived, kEnded, Event::kEnded, rest);
      } else if (!word.empty()) {
        refuse(R"(expected "query", "<", ">" or a comment, not )" + shown(word));
      }
    }
    if (mLineNumber == 0) refuseAt(1, "the file is empty");
    if (mTranscript.empty()) refuse("no \"query\" line in the whole file");
    return std::move(mTranscript);
  }

 private:
  [[noreturn]] static void refuseAt(std::size_t line, const std::string& why) {
    throw TranscriptMistake("line " + std::to_string(line) + ": " + why);
  }
  [[noreturn]] void refuse(const std::string& why) const { refuseAt(mLineNumber, why); }

  [[noreturn]] void refuseMore(std::size_t most, const std::string& what,
                               const std::string& ofWhat) const {
    refuse("more than " + std::to_string(most) + ' ' + what + ", the most that " + ofWhat +
           " may have");
  }

  bool nextLine() {
    mText.getline(mLine.data(), static_cast<std::streamsize>(mLine.size()));
    const auto taken = static_cast<std::size_t>(mText.gcount());
    if (taken == 0 && mText.eof()) return false;
    ++mLineNumber;
    if (mText.bad()) refuse("the file cannot be read further");
    if (mText.fail()) refuseMore(kLongestLine, "bytes", "a line");
    mTextSize += taken;
    if (mTextSize > kMostText) refuseMore(kMostText, "bytes", kTranscript);
    // The newline counts as taken, where there was one.
    mLineText = std::string_view(mLine.data(), taken - (mText.eof() ? 0 : 1));
    return true;
  }

  void readHeader(std::string_view format, std::string_view rest) const {
    if (format != kFormat) {
      refuse("no transcript: it begins with \"" + std::string(kFormat) + ' ' +
             std::to_string(kVersion) + '"');
    }
    const auto version = number(takeWord(rest));
    if (!version || *version == 0 || !takeWord(rest).empty()) refuse("no version of the format");
    if (*version != kVersion) {
      refuse("version " + std::to_string(*version) + " of the format; this program reads version " +
             std::to_string(kVersion));
    }
  }

  void readQuery(std::string_view rest) {
    const std::string_view type = takeWord(rest);
    const std::string_view transport = takeWord(rest);
    const auto timeout = number(takeWord(rest));
    if (std::ranges::find(kPrinterTypes, type) == kPrinterTypes.end()) {
      refuse("expected a printer type, Laser or Inkjet, not " + shown(type));
    }
    if (std::ranges::find(kTransports, transport) == kTransports.end()) {
      refuse("expected a transport, usb, socket, mdns or dnssd, not " + shown(transport));
    }
    if (!timeout) refuse("expected a timeout in seconds behind the transport");
    expectEnd(rest);
    if (mTranscript.size() == kMostQueries) refuseMore(kMostQueries, "queries", kTranscript);
    mHasEnded = false;
    mTranscript.push_back({std::string(type), std::string(transport), *timeout, {}});
  }

  // An operation with bytes, or the one that `mark` stands for.
  void readOperation(Event withBytes, std::string_view mark, Event marked, std::string_view rest) {
    if (mTranscript.empty()) refuse("an operation before the first \"query\" line");
    auto& operations = mTranscript.back().operations;
    const std::string_view pauseWord = takeWord(rest);
    const auto pause = number(pauseWord);
    if (!pause) {
      refuse("expected milliseconds, 0 to " +
             std::to_string(std::numeric_limits<std::uint32_t>::max()) + ", not " +
             shown(pauseWord));
    }
    if (withBytes == Event::kReceived && mHasEnded) {
      refuse("the printer has hung up before; nothing more comes from it");
    }
    if (mOperations++ == kMostOperations) refuseMore(kMostOperations, "operations", kTranscript);

    Operation operation = {withBytes, std::chrono::milliseconds(*pause), {}};
    const std::string_view bytes = rest;
    if (takeWord(rest) == mark) {
      operation.event = marked;
      expectEnd(rest);
    } else {
      operation.bytes = readBytes(bytes);
    }
    mHasEnded = mHasEnded || operation.event == Event::kEnded;
    operations.push_back(std::move(operation));
  }

  Bytes readBytes(std::string_view rest) {
    Bytes bytes;
    bytes.reserve(rest.size() / 3);
    for (std::string_view word = takeWord(rest); !word.empty(); word = takeWord(rest)) {
      for (; !word.empty(); word.remove_prefix(2)) {
        const auto byte = hexByte(word.substr(0, 2));
        if (!byte) refuse("expected pairs of hex digits, not " + shown(word));
        bytes.push_back(*byte);
      }
    }
    if (bytes.empty()) refuse("an operation without bytes");
    if (bytes.size() > kMostBytesOfOperation) {
      refuseMore(kMostBytesOfOperation, "bytes", "an operation");
    }
    mBytes += bytes.size();
    if (mBytes > kMostBytes) refuseMore(kMostBytes, "bytes from and to a printer", kTranscript);
    return bytes;
  }

  void expectEnd(std::string_view rest) const {
    if (const std::string_view word = takeWord(rest); !word.empty()) {
      refuse("expected the end of the line, not " + shown(word));
    }
  }

  std::istream& mText;
  std::vector<char> mLine;
  std::string_view mLineText;
  std::size_t mLineNumber = 0;
  std::size_t mTextSize = 0;
  std::size_t mOperations = 0;
  std::size_t mBytes = 0;
  bool mHasEnded = false;  // in the query that is being read
  Transcript mTranscript;
};

}  // namespace

Result<Transcript> readTranscript(std::istream& text) try {
  return Reader(text).read();
} catch (const TranscriptMistake& mistake) {
  return misuse(mistake.what());
}

}  // namespace moxsupply::transcript
