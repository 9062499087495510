#include "transcript/TranscriptWriter.h"

#include "transcript/Words.h"

namespace moxsupply::transcript {

namespace {

void appendHex(std::string& line, std::uint8_t byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  line += {' ', kDigits[byte >> 4], kDigits[byte & 0x0F]};
}

char direction(Event event) {
  const bool isRequest = event == Event::kSent || event == Event::kFailed;
  return isRequest ? kToPrinter : kFromPrinter;
}

}  // namespace

std::string headerLine() { return std::string(kFormat) + ' ' + std::to_string(kVersion) + '\n'; }

std::string commentLine(std::string_view text) {
  return std::string(1, kComment) + ' ' + std::string(text) + '\n';
}

std::string queryLine(const Session& query) {
  return std::string(kQuery) + ' ' + query.printerType + ' ' + query.transport + ' ' +
         std::to_string(query.timeout) + '\n';
}

std::string operationLine(Event event, std::chrono::milliseconds pause,
                          std::span<const std::uint8_t> bytes) {
  std::string line = direction(event) + (' ' + std::to_string(pause.count()));
  line.reserve(line.size() + 3 * bytes.size() + kEnded.size() + kFailed.size());
  if (event == Event::kEnded) line.append(1, ' ').append(kEnded);
  if (event == Event::kFailed) line.append(1, ' ').append(kFailed);
  for (const std::uint8_t byte : bytes) appendHex(line, byte);
  return line + '\n';
}

std::string asText(const Transcript& transcript) {
  std::string text = headerLine();
  for (const Session& query : transcript) {
    text += queryLine(query);
    for (const Operation& operation : query.operations) {
      text += operationLine(operation.event, operation.pause, operation.bytes);
    }
  }
  return text;
}

}  // namespace moxsupply::transcript
