#include "commands/SimulateCommand.h"

#include <fmt/core.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "simulator/ChildCommand.h"
#include "simulator/Faults.h"
#include "simulator/ModelFile.h"
#include "simulator/Replay.h"
#include "simulator/Server.h"
#include "simulator/ShippedModels.h"
#include "system/FileDescriptor.h"
#include "system/Listener.h"
#include "system/StopSignals.h"
#include "transcript/TranscriptReader.h"

namespace moxsupply {

namespace {

constexpr int kExitNotStarted = 127;  // the command could not be started, as shells say it

struct SimulateOptions {
  std::string model;
  std::string listen = "127.0.0.1:0";
  std::vector<std::string> faults;
  std::string replay;
  bool quick = false;
  bool list = false;
};

void say(std::string_view what) {
  static_cast<void>(writeAll(STDERR_FILENO, fmt::format("moxsupply simulate: {}\n", what)));
}

int listModels() {
  for (const std::string& name : simulator::shippedModels()) {
    const auto model = simulator::readModelFile(simulator::findModel(name));
    fmt::print("{:<35} {}\n", name, model.about.front());
  }
  return 0;
}

void complainOfJunk(const simulator::Junk& junk) {
  const bool isWhole = junk.size == junk.head.size();
  say(fmt::format("no request: {:02X}{} ({} byte{})", fmt::join(junk.head, " "),
                  isWhole ? "" : " ...", junk.size, junk.size == 1 ? "" : "s"));
}

simulator::Faults faultsOf(const std::vector<std::string>& texts) {
  simulator::Faults faults;
  for (const std::string& text : texts) faults.add(text);
  return faults;
}

// The command with the printer's URI for every "{}".
std::vector<std::string> withUri(std::vector<std::string> command, const std::string& uri) {
  constexpr std::string_view kPlace = "{}";
  for (std::string& argument : command) {
    std::size_t at = 0;
    while ((at = argument.find(kPlace, at)) != std::string::npos) {
      argument.replace(at, kPlace.size(), uri);
      at += uri.size();
    }
  }
  return command;
}

int serve(simulator::Server& server, const StopSignals& signals, const std::string& uri) {
  const int error = writeAll(STDOUT_FILENO, uri + '\n');
  if (error != 0) {
    say(fmt::format("standard output: {}", std::strerror(error)));
    return kExitMisuse;
  }
  server.serve(std::array{signals.descriptor()});
  return 0;
}

int serveCommand(simulator::Server& server, const StopSignals& signals, const std::string& uri,
                 const std::vector<std::string>& command) try {
  static_cast<void>(writeAll(STDERR_FILENO, uri + '\n'));
  ::setenv("DEVICE_URI", uri.c_str(), 1);
  simulator::ChildCommand child(withUri(command, uri));
  server.serve(std::array{signals.descriptor(), child.descriptor()});
  if (const int signal = signals.take(); signal != 0) child.stop(signal);
  server.finish();
  return child.wait();
} catch (const std::system_error& error) {
  say(error.what());
  return kExitNotStarted;
}

simulator::Server::NewConversation replayOf(const SimulateOptions& options) try {
  errno = 0;
  std::ifstream file(options.replay);
  if (!file) throw std::runtime_error(std::strerror(errno));
  const simulator::Replay replay(
      transcript::readTranscript(file),
      options.quick ? simulator::Pauses::kNone : simulator::Pauses::kAsRecorded);
  return [replay] { return replay.conversation(); };
} catch (const std::runtime_error& mistake) {
  throw std::runtime_error(fmt::format("{}: {}", options.replay, mistake.what()));
}

// The printer that is asked for: a recorded one, or that of a model.
simulator::Server::NewConversation printerOf(const SimulateOptions& options) {
  if (!options.replay.empty()) return replayOf(options);
  const auto model = std::make_shared<const simulator::Model>(
      simulator::readModelFile(simulator::findModel(options.model)));
  return [model] {
    return [model](simulator::Request request) { return simulator::answerTo(*model, request); };
  };
}

int simulate(const SimulateOptions& options, const CommandLine& command) try {
  if (options.list) return listModels();
  const auto printer = printerOf(options);
  const simulator::Faults faults = faultsOf(options.faults);
  const StopSignals signals;
  auto listener = listenOn(options.listen);
  const std::string uri = "socket://" + addressOf(listener.get());
  bool wasSentJunk = false;
  const auto complain = [&](const simulator::Junk& junk) {
    wasSentJunk = true;
    complainOfJunk(junk);
  };
  simulator::Server server(printer, std::move(listener), complain, faults);
  if (!command) return serve(server, signals, uri);
  const int status = serveCommand(server, signals, uri, *command);
  return status == 0 && wasSentJunk ? kExitFailed : status;
} catch (const std::exception& error) {
  say(error.what());
  return kExitMisuse;
}

}  // namespace

CommandLine takeCommandBesides(int& argc, const char* const* argv) {
  const std::span<const char* const> arguments(argv, static_cast<std::size_t>(argc));
  if (argc < 2 || arguments[1] != std::string_view("simulate")) return std::nullopt;
  const auto dashes = std::ranges::find(arguments, std::string_view("--"));
  if (dashes == arguments.end()) return std::nullopt;
  argc = static_cast<int>(dashes - arguments.begin());
  return CommandLine(std::in_place, dashes + 1, arguments.end());
}

void addSimulateCommand(CLI::App& app, RunCommand& run, const CommandLine& besides) {
  CLI::App* command = app.add_subcommand(
      "simulate",
      "Be an NPA printer on the network, to try things out without one.\n"
      "\n"
      "MODEL is the name of a model, or the path of a model file (it holds a slash or ends in\n"
      ".json). The first line of output is the device URI at which the printer answers. What it\n"
      "is sent and is no request is shown on standard error and not answered.\n"
      "\n"
      "With a command, the printer runs it and ends with it. {} in its arguments, and the "
      "variable\n"
      "DEVICE_URI, stand for the device URI, which then goes to standard error.");
  command->formatter(
      std::make_shared<Help>("moxsupply simulate MODEL [--listen ADDRESS:PORT]\n"
                             "                          [--fault VERB[=VALUE]]... [-- COMMAND...]\n"
                             "       moxsupply simulate --replay FILE [--quick] [...]\n"
                             "       moxsupply simulate --list"));
  command->footer(
      "Faults, on each connection (bytes are counted over all that the printer sends there):\n" +
      simulator::describeFaults() +
      "Of cut, reset and silent the one that is reached first counts.\n"
      "\n"
      "Examples:\n"
      "  moxsupply simulate laser-colour-full --listen 127.0.0.1:9100\n"
      "  moxsupply simulate inkjet-lantern-four-cartridges -- ./query-printer {}\n"
      "  moxsupply simulate laser-mono-toner --fault drip=100 --fault silent=60\n"
      "  moxsupply simulate --replay office.transcript -- moxsupply levels {}\n"
      "\n"
      "Exit status: 0 after SIGINT or SIGTERM; 2 the arguments or the model file are wrong, or "
      "the\n"
      "address cannot be listened on. With a command its own, 128 and the signal when a signal\n"
      "ended it; 127 when it cannot be started; 1 when it succeeded although the printer was sent\n"
      "something that is no request.\n");

  const auto options = std::make_shared<SimulateOptions>();
  auto* model =
      command->add_option("MODEL", options->model, "name or file of a model")->option_text(" ");
  command
      ->add_option("--listen", options->listen,
                   "where to listen; 127.0.0.1:0 when not given. Port 0 is any free one,\n"
                   "IPv6 addresses stand in brackets: [::1]:9100")
      ->option_text("ADDRESS:PORT");
  command
      ->add_option("--fault", options->faults,
                   "what is wrong with the printer; may be given several times, see below")
      ->allow_extra_args(false)
      ->option_text("VERB[=VALUE]");
  auto* replay =
      command->add_option("--replay", options->replay, "be the printer of this transcript again")
          ->option_text("FILE");
  command->add_flag("--quick", options->quick, "without the pauses of the transcript");
  replay->excludes(model);
  command->add_flag("--list", options->list, "name the models, with a line about each");
  command->callback([&run, options, model, besides] {
    if (besides && besides->empty()) throw CLI::RequiredError("a command after --");
    if (options->quick && options->replay.empty()) throw CLI::RequiresError("--quick", "--replay");
    const bool hasPrinter = model->count() > 0 || !options->replay.empty();
    if (!options->list && !hasPrinter) throw CLI::RequiredError("MODEL, --replay or --list");
    run = [=] { return simulate(*options, besides); };
  });
}

}  // namespace moxsupply
