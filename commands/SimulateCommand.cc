#include "commands/SimulateCommand.h"

#include <fmt/core.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "commands/ListenAddress.h"
#include "simulator/Faults.h"
#include "simulator/ModelFile.h"
#include "simulator/Replay.h"
#include "simulator/Server.h"
#include "simulator/ShippedModels.h"
#include "system/FileDescriptor.h"
#include "system/Listener.h"
#include "system/Process.h"
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
  std::optional<CommandLine> besides;
};

void say(std::string_view what) {
  static_cast<void>(writeAll(STDERR_FILENO, fmt::format("moxsupply simulate: {}\n", what)));
}

// Whatever is wrong, nothing has been served.
int refuse(const Problem& problem) {
  say(problem.what);
  return kExitMisuse;
}

int listModels() {
  for (const std::string& name : simulator::shippedModels()) {
    const auto model = simulator::findModel(name).and_then(simulator::readModelFile);
    if (!model) return refuse(model.error());
    fmt::print("{:<35} {}\n", name, model->about.front());
  }
  return 0;
}

void complainOfJunk(const simulator::Junk& junk) {
  const bool isWhole = junk.size == junk.head.size();
  say(fmt::format("no request: {:02X}{} ({} byte{})", fmt::join(junk.head, " "),
                  isWhole ? "" : " ...", junk.size, junk.size == 1 ? "" : "s"));
}

Result<simulator::Faults> faultsOf(const std::vector<std::string>& texts) {
  simulator::Faults faults;
  for (const std::string& text : texts) {
    if (const auto added = faults.add(text); !added) {
      return misuse(fmt::format("--fault {}", added.error().what));
    }
  }
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

// Runs the command beside the printer, with this process's standard streams. A command at a
// terminal shares its signals with this process; there, and there only, what it has started is not
// signalled.
int serveCommand(simulator::Server& server, const StopSignals& signals, const std::string& uri,
                 const CommandLine& besides) {
  static_cast<void>(writeAll(STDERR_FILENO, uri + '\n'));
  const CommandLine commandLine = withUri(besides, uri);
  auto command = Process::start({.program = commandLine.front(),
                                 .arguments = commandLine,
                                 .environment = environmentWith({"DEVICE_URI=" + uri}),
                                 .inOwnGroup = ::isatty(STDIN_FILENO) == 0});
  if (!command) {
    say(fmt::format("{}: {}", commandLine.front(), std::strerror(command.error())));
    return kExitNotStarted;
  }
  server.serve(std::array{signals.descriptor(), command->descriptor()});
  if (const int signal = signals.take(); signal != 0) {
    command->stop(signal, std::chrono::seconds(1));
  }
  server.finish();
  command->wait();
  return command->shellStatus().value();
}

Result<simulator::Server::NewConversation> replayOf(const std::string& path, bool quick) {
  const auto pauses = quick ? simulator::Pauses::kNone : simulator::Pauses::kAsRecorded;
  errno = 0;
  std::ifstream file(path);
  if (!file) return misuse(fmt::format("{}: {}", path, std::strerror(errno)));
  const auto replay = transcript::readTranscript(file).and_then(
      [&](const auto& transcript) { return simulator::Replay::of(transcript, pauses); });
  if (!replay) return misuse(fmt::format("{}: {}", path, replay.error().what));
  return [replay = *replay] { return replay.conversation(); };
}

Result<simulator::Server::NewConversation> modelOf(const std::string& nameOrPath) {
  const auto path = simulator::findModel(nameOrPath);
  if (!path) {
    return misuse(path.error().what + "; moxsupply simulate --list names all models");
  }
  auto read = simulator::readModelFile(*path);
  if (!read) return tl::unexpected(std::move(read).error());
  const auto model = std::make_shared<const simulator::Model>(*std::move(read));
  return [model] {
    return [model](simulator::Request request) { return simulator::answerTo(*model, request); };
  };
}

// Serves the printer that is asked for, a recorded one or that of a model.
int simulate(const SimulateOptions& options) try {
  if (options.list) return listModels();
  const auto printer =
      options.replay.empty() ? modelOf(options.model) : replayOf(options.replay, options.quick);
  if (!printer) return refuse(printer.error());
  const auto faults = faultsOf(options.faults);
  if (!faults) return refuse(faults.error());
  const StopSignals signals;
  auto listener = listenThere(options.listen);
  if (!listener) return refuse(listener.error());
  const std::string uri = "socket://" + addressOf(listener->get());
  bool wasSentJunk = false;
  const auto complain = [&](const simulator::Junk& junk) {
    wasSentJunk = true;
    complainOfJunk(junk);
  };
  simulator::Server server(*printer, *std::move(listener), complain, *faults);
  if (!options.besides) return serve(server, signals, uri);
  const int status = serveCommand(server, signals, uri, *options.besides);
  return status == 0 && wasSentJunk ? kExitFailed : status;
} catch (const std::exception& error) {
  say(error.what());
  return kExitMisuse;
}

Result<> agree(const SimulateOptions& options) {
  if (options.besides && options.besides->empty()) return misuse("a command after -- is required");
  if (options.quick && options.replay.empty()) return misuse("--quick requires --replay");
  const bool hasPrinter = !options.model.empty() || !options.replay.empty();
  if (!options.list && !hasPrinter) return misuse("MODEL, --replay or --list is required");
  return {};
}

}  // namespace

Command simulateCommand() {
  const auto options = std::make_shared<SimulateOptions>();
  Option model = argument("MODEL", options->model, "name or file of a model");
  model.isRequired = false;
  Option replay =
      text("--replay", options->replay, "FILE", "be the printer of this transcript again");
  replay.excludes = "MODEL";
  return {
      .name = "simulate",
      .usage =
          "moxsupply simulate MODEL [--listen ADDRESS:PORT]\n"
          "                          [--fault VERB[=VALUE]]... [-- COMMAND...]\n"
          "       moxsupply simulate --replay FILE [--quick] [...]\n"
          "       moxsupply simulate --list",
      .about =
          "Be an NPA printer on the network, to try things out without one.\n"
          "\n"
          "MODEL is the name of a model, or the path of a model file (it holds a slash or ends in\n"
          ".json). The first line of output is the device URI at which the printer answers. What "
          "it\n"
          "is sent and is no request is shown on standard error and not answered.\n"
          "\n"
          "With a command, the printer runs it and ends with it. {} in its arguments, and the "
          "variable\n"
          "DEVICE_URI, stand for the device URI, which then goes to standard error.",
      .footer =
          "Faults, on each connection (bytes are counted over all that the printer sends "
          "there):\n" +
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
          "address cannot be listened on. With a command its own, 128 and the signal when a "
          "signal\n"
          "ended it; 127 when it cannot be started; 1 when it succeeded although the printer was "
          "sent\n"
          "something that is no request.\n",
      .options = {model,
                  listenAddress(
                      options->listen,
                      "where to listen; 127.0.0.1:0 when not given. Port 0 is any free one,\n"
                      "IPv6 addresses stand in brackets: [::1]:9100"),
                  texts("--fault", options->faults, "VERB[=VALUE]",
                        "what is wrong with the printer; may be given several times, see below"),
                  replay, flag("--quick", options->quick, "without the pauses of the transcript"),
                  flag("--list", options->list, "name the models, with a line about each")},
      .agree = [options] { return agree(*options); },
      .run = [options] { return simulate(*options); },
      .besides = &options->besides,
  };
}

}  // namespace moxsupply
