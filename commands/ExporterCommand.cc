#include "commands/ExporterCommand.h"

#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "monitoring/Exporter.h"
#include "system/Listener.h"
#include "text/Decimal.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCommand = "exporter";

struct ExporterOptions {
  std::string list;
  std::string listen = "127.0.0.1:9871";
  std::string minInterval = "30";
  std::string maxBackoff = "900";
  std::string deadline = "9";
  std::string queriesAtOnce = "32";
};

// A number that an option must be.
struct Number {
  const char* option;
  const std::string& text;
  std::uint32_t least;
  std::uint32_t most;
};

Result<std::uint32_t> read(const Number& number) {
  const auto value = decimal(number.text);
  if (value && *value >= number.least && *value <= number.most) return *value;
  return Problem{fmt::format("{}: expected a whole number from {} to {}, not \"{}\"", number.option,
                             number.least, number.most, forTerminal(number.text)),
                 {},
                 true};
}

// The settings that the numbers make.
Result<ExporterSettings> settingsFrom(const ExporterOptions& options) {
  constexpr std::uint32_t kDay = 86400;
  constexpr std::uint32_t kHour = 3600;
  ExporterSettings settings;
  const auto interval = read({"--min-interval", options.minInterval, 1, kDay});
  if (const auto* problem = std::get_if<Problem>(&interval)) return *problem;
  settings.limits.minInterval = std::chrono::seconds(std::get<std::uint32_t>(interval));
  const auto backoff = read({"--max-backoff", options.maxBackoff, 1, kDay});
  if (const auto* problem = std::get_if<Problem>(&backoff)) return *problem;
  settings.limits.maxBackoff = std::chrono::seconds(std::get<std::uint32_t>(backoff));
  const auto deadline = read({"--deadline", options.deadline, 1, kHour});
  if (const auto* problem = std::get_if<Problem>(&deadline)) return *problem;
  settings.deadline = std::chrono::seconds(std::get<std::uint32_t>(deadline));
  const auto queries = read({"--queries-at-once", options.queriesAtOnce, 2, 1024});
  if (const auto* problem = std::get_if<Problem>(&queries)) return *problem;
  settings.limits.queriesAtOnce = std::get<std::uint32_t>(queries);
  return settings;
}

// As many descriptors as the system allows, within reason. Returns how many there are now.
std::size_t raiseDescriptorLimit() {
  constexpr rlim_t kEnough = 16384;
  constexpr rlim_t kUsual = 1024;
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
    return kUsual;  // a strict service manager forbids it
  rlimit raised = limit;
  raised.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, kEnough));
  return ::setrlimit(RLIMIT_NOFILE, &raised) == 0 ? raised.rlim_cur : limit.rlim_cur;
}

// What is left for clients: a query has three descriptors, five while it is started.
std::size_t connectionsWithin(std::size_t descriptors, std::size_t queries) {
  constexpr std::size_t kOthers = 32;
  constexpr std::size_t kMost = 4096;
  const std::size_t taken = kOthers + 3 * queries;
  return std::clamp<std::size_t>(descriptors > taken ? descriptors - taken : 0, 16, kMost);
}

// `moxsupply`, found from where this program is.
std::string queryProgram() {
  const fs::path self = fs::read_symlink("/proc/self/exe");
  return (self.parent_path() / PROGRAMS_FROM_MONITORING / "moxsupply").lexically_normal();
}

// Where clients connect; a line about what is wrong, otherwise.
Result<FileDescriptor> listen(const std::string& address) try {
  return listenOn(address);
} catch (const std::system_error& error) {
  return Problem{error.what(), {}, false};
} catch (const std::runtime_error& error) {
  return Problem{error.what(), {}, true};
}

int runExporter(const ExporterOptions& options) {
  auto settings = settingsFrom(options);
  if (const auto* problem = std::get_if<Problem>(&settings)) return complain(kCommand, *problem);
  ListFile file(options.list);
  auto list = file.read();
  if (const auto* problem = std::get_if<Problem>(&list)) return complain(kCommand, *problem);
  auto listener = listen(options.listen);
  if (const auto* problem = std::get_if<Problem>(&listener)) return complain(kCommand, *problem);

  std::signal(SIGPIPE, SIG_IGN);  // nobody may read the log any more
  auto& [limits, deadline, program, mostConnections] = std::get<ExporterSettings>(settings);
  program = queryProgram();
  mostConnections = connectionsWithin(raiseDescriptorLimit(), limits.queriesAtOnce);
  const std::string address = addressOf(std::get<FileDescriptor>(listener).get());
  const std::size_t count = std::get<PrinterList>(list).size();
  Exporter exporter(std::get<ExporterSettings>(settings), std::move(file),
                    std::get<PrinterList>(std::move(list)),
                    std::get<FileDescriptor>(std::move(listener)));
  logLine(fmt::format("listening on http://{}/ for {} printer{}", address, count,
                      count == 1 ? "" : "s"));
  exporter.serve();
  return 0;
}

}  // namespace

void addExporterCommand(CLI::App& app, RunCommand& run) {
  CLI::App* command = app.add_subcommand(
      std::string(kCommand),
      "Serve the supplies of many printers to Prometheus, and to people as a page.\n"
      "\n"
      "LIST is a JSON file as Prometheus takes its targets from:\n"
      "\n"
      "  [{\"targets\": [\"socket://192.0.2.7\", \"192.0.2.8\"],\n"
      "    \"labels\": {\"printer_type\": \"laser\", \"name\": \"Office\", \"place\": \"2nd "
      "floor\"}}]\n"
      "\n"
      "A target is a device URI as `moxsupply levels` takes it, or a host, or HOST:PORT. The "
      "labels\n"
      "may be left out. printer_type is laser, inkjet or auto, name and place are for people. The\n"
      "file may be replaced at any time.");
  command->formatter(std::make_shared<Help>(
      "moxsupply exporter LIST [--listen ADDRESS:PORT] [--min-interval SECONDS]\n"
      "                          [--max-backoff SECONDS] [--deadline SECONDS]\n"
      "                          [--queries-at-once NUMBER]"));
  command->footer(
      "Addresses:\n"
      "  /                   all printers, for people\n"
      "  /probe?target=...   one printer of the list, for Prometheus\n"
      "  /metrics            the exporter itself\n"
      "  /-/healthy          whether it runs\n"
      "\n"
      "There is neither a password nor encryption: leave it on this machine, or put a reverse\n"
      "proxy before it.\n"
      "\n"
      "Exit status: 0 after SIGINT or SIGTERM; 1 the address cannot be listened on; 2 the\n"
      "arguments or the list are wrong.\n");

  const auto options = std::make_shared<ExporterOptions>();
  command->add_option("LIST", options->list, "file with the list of printers")
      ->required()
      ->option_text(" ");
  command
      ->add_option("--listen", options->listen,
                   "where to listen (127.0.0.1:9871); port 0 is any free one, IPv6\n"
                   "addresses stand in brackets: [::1]:9871")
      ->option_text("ADDRESS:PORT");
  command
      ->add_option("--min-interval", options->minInterval,
                   "ask no printer again before; the last answer stands (30)")
      ->option_text("SECONDS");
  command
      ->add_option("--max-backoff", options->maxBackoff,
                   "longest pause before a printer that does not answer is asked\n"
                   "again; from failure to failure it doubles (900)")
      ->option_text("SECONDS");
  command->add_option("--deadline", options->deadline, "longest time for a query (9)")
      ->option_text("SECONDS");
  command
      ->add_option("--queries-at-once", options->queriesAtOnce,
                   "most queries at once; half of them is kept for printers that\n"
                   "answer quickly (32)")
      ->option_text("NUMBER");
  command->callback([&run, options] { run = [=] { return runExporter(*options); }; });
}

}  // namespace moxsupply
