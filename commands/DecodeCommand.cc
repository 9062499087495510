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
#include "text/TerminalText.h"
#include "transcript/TranscriptReader.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "decode";
constexpr std::string_view kStandardInput = "-";

struct DecodeOptions {
  std::string file;
  std::string format = "text";
  std::string color = "auto";
};

Result<transcript::Transcript> read(const std::string& path) {
  const bool isInput = path == kStandardInput;
  const std::string name = isInput ? "standard input" : forTerminal(path);
  std::ifstream file;
  if (!isInput) {
    errno = 0;
    file.open(path);
    if (!file) return Problem{fmt::format("{}: {}", name, std::strerror(errno)), {}, true};
  }
  try {
    return transcript::readTranscript(isInput ? std::cin : file);
  } catch (const transcript::TranscriptMistake& mistake) {
    return Problem{fmt::format("{}: {}", name, mistake.what()), {}, true};
  }
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
  for (const transcript::Query& query : transcript) lines += replay(query).json;
  return lines;
}

int runDecode(const DecodeOptions& options) {
  const auto result = read(options.file);
  if (const auto* problem = std::get_if<Problem>(&result)) return complain(kCommand, *problem);
  const auto& transcript = std::get<transcript::Transcript>(result);
  return print(kCommand, options.format == "json"
                             ? reports(transcript)
                             : explained(transcript, wantsColor(options.color)));
}

}  // namespace

void addDecodeCommand(CLI::App& app, RunCommand& run) {
  CLI::App* command = app.add_subcommand(
      "decode",
      "Show a transcript of a query as a person wants to read it.\n"
      "\n"
      "FILE is what --record of `moxsupply levels` or MOXSUPPLY_RECORD of commandtomox has\n"
      "written; - is standard input. No printer is asked: the query is run again on what is\n"
      "recorded, and waits again, a second each, where the recorded one waited in vain.");
  command->formatter(std::make_shared<Help>(
      "moxsupply decode FILE [--format text|json] [--color auto|always|never]"));
  command->footer(
      "Examples:\n"
      "  moxsupply levels socket://192.0.2.7 --record office.transcript\n"
      "  moxsupply decode office.transcript\n"
      "\n"
      "Exit status: 0 the transcript was shown, whatever the printer said in it; 2 the arguments\n"
      "are wrong, or FILE cannot be read or is no transcript.\n");

  const auto options = std::make_shared<DecodeOptions>();
  command->add_option("FILE", options->file, "a transcript; - for standard input")
      ->required()
      ->option_text(" ");
  command
      ->add_option("--format", options->format,
                   "text, or json: the report of each query, a line each (text)")
      ->option_text("FORMAT")
      ->check(CLI::IsMember({"text", "json"}));
  command->add_option("--color", options->color, "auto, always or never (auto: on a terminal)")
      ->option_text("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  command->callback([&run, options] { run = [=] { return runDecode(*options); }; });
}

}  // namespace moxsupply
