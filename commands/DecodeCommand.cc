#include "commands/DecodeCommand.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "explain/ExplainedQuery.h"
#include "explain/Explanation.h"
#include "renderings/ReportJson.h"
#include "text/TerminalText.h"
#include "transcript/TranscriptReader.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "decode";
constexpr std::string_view kStandardInput = "-";

enum class Format : std::uint8_t { kText, kJson };

struct DecodeOptions {
  std::string file;
  Format format = Format::kText;
  Coloring coloring = Coloring::kAuto;
};

Result<transcript::Transcript> read(const std::string& path) {
  const bool isInput = path == kStandardInput;
  const std::string name = isInput ? "standard input" : forTerminal(path);
  std::ifstream file;
  if (!isInput) {
    errno = 0;
    file.open(path);
    if (!file) return misuse(fmt::format("{}: {}", name, std::strerror(errno)));
  }
  return transcript::readTranscript(isInput ? std::cin : file).map_error([&](Problem problem) {
    problem.what = fmt::format("{}: {}", name, problem.what);
    return problem;
  });
}

std::string explained(const transcript::Transcript& transcript, bool isColored) {
  Explanation text(isColored);
  for (std::size_t i = 0; i < transcript.size(); ++i) {
    const bool isAlone = transcript.size() == 1;
    explainQuery(text, transcript[i], isAlone ? "One query, " : fmt::format("Query {}, ", i + 1));
  }
  return text.text();
}

std::string reports(const transcript::Transcript& transcript) {
  std::string lines;
  for (const transcript::Session& query : transcript) lines += reportAsJson(replay(query));
  return lines;
}

int runDecode(const DecodeOptions& options) {
  const auto transcript = read(options.file);
  if (!transcript) return complain(kCommand, transcript.error());
  return print(kCommand, options.format == Format::kJson
                             ? reports(*transcript)
                             : explained(*transcript, wantsColor(options.coloring)));
}

}  // namespace

Command decodeCommand() {
  const auto options = std::make_shared<DecodeOptions>();
  return {
      .name = kCommand,
      .usage = "moxsupply decode FILE [--format text|json] [--color auto|always|never]",
      .about =
          "Show a transcript of a query as a person wants to read it.\n"
          "\n"
          "FILE is what --record of `moxsupply levels` or MOXSUPPLY_RECORD of commandtomox has\n"
          "written; - is standard input. No printer is asked: the query is run again on what is\n"
          "recorded, and waits again, a second each, where the recorded one waited in vain.",
      .footer =
          "Examples:\n"
          "  moxsupply levels socket://192.0.2.7 --record office.transcript\n"
          "  moxsupply decode office.transcript\n"
          "\n"
          "Exit status: 0 the transcript was shown, whatever the printer said in it; 2 the "
          "arguments\n"
          "are wrong, or FILE cannot be read or is no transcript.\n",
      .options = {argument("FILE", options->file, "a transcript; - for standard input"),
                  choice<Format>("--format", options->format,
                                 {{"text", Format::kText}, {"json", Format::kJson}}, "FORMAT",
                                 "text, or json: the report of each query, a line each (text)"),
                  coloring(options->coloring)},
      .run = [options] { return runDecode(*options); },
  };
}

}  // namespace moxsupply
