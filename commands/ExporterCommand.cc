#include "commands/ExporterCommand.h"

#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "commands/LevelsCommand.h"
#include "commands/ListenAddress.h"
#include "commands/QueryServerCommand.h"
#include "commands/QueueLevelsCommand.h"
#include "commands/StoreOption.h"
#include "monitoring/Exporter.h"
#include "system/Listener.h"
#include "text/Decimal.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCommand = "exporter";

// How one target is asked: a printer on the network by a process that this program keeps ready, any
// other by `moxsupply`, found from where this program is, and a print queue by this program.
LevelQueries::Commands queries() {
  const fs::path self = fs::read_symlink("/proc/self/exe");
  const fs::path moxsupply = self.parent_path() / PROGRAMS_FROM_MONITORING / "moxsupply";
  const auto commandFor = [self = self.string(), moxsupply = moxsupply.lexically_normal().string()](
                              const Assignment& one) {
    if (one.isQueue) return queueLevelsForPrograms(self);
    return levelsForPrograms(moxsupply, one.kind, static_cast<std::uint32_t>(one.deadline.count()));
  };
  return {commandFor, queryServerForPrograms(self)};
}

struct ExporterOptions {
  std::string list;
  std::string listen = "127.0.0.1:9871";
  std::uint32_t minInterval = 6 * 3600;  // seconds, as the next two
  std::uint32_t maxBackoff = 24 * 3600;
  std::uint32_t deadline = 30;
  std::uint32_t queriesAtOnce = 32;
  std::vector<std::string> hosts;
  std::string store;
  bool noStore = false;
  std::uint32_t deliveryDays = 14;
  std::string notify;
  std::uint32_t notifyEvery = 86400;  // seconds
};

ExporterSettings settingsFrom(const ExporterOptions& options) {
  using std::chrono::seconds;
  ExporterSettings settings;
  settings.limits.minInterval = seconds(options.minInterval);
  settings.limits.maxBackoff = seconds(options.maxBackoff);
  settings.limits.queriesAtOnce = options.queriesAtOnce;
  settings.limits.deadline = seconds(options.deadline);
  settings.hosts = options.hosts;
  settings.deliveryDays = std::chrono::days(options.deliveryDays);
  settings.queries = queries();
  return settings;
}

// As many descriptors as the system allows, within reason. Returns how many there are now.
rlim_t raiseDescriptorLimit() {
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
std::size_t connectionsWithin(rlim_t descriptors, std::size_t queries) {
  constexpr std::size_t kOthers = 32;
  constexpr std::size_t kMost = 4096;
  const std::size_t taken = kOthers + 3 * queries;
  const rlim_t left = descriptors > taken ? descriptors - taken : 0;
  return static_cast<std::size_t>(std::clamp<rlim_t>(left, 16, kMost));
}

// The file where readings are remembered. Without one, levels are served all the same.
std::string storeFor(const ExporterOptions& options) {
  if (options.noStore) return {};
  const auto path = storeToWrite(options.store);
  if (!path) {
    complain(kCommand, path.error());
    return {};
  }
  return fs::absolute(*path).string();
}

int runExporter(const ExporterOptions& options) {
  ListFile file(options.list);
  auto list = file.read();
  if (!list) return complain(kCommand, list.error());
  auto listener = listenThere(options.listen);
  if (!listener) return complain(kCommand, listener.error());

  std::signal(SIGPIPE, SIG_IGN);  // nobody may read the log any more
  ExporterSettings settings = settingsFrom(options);
  settings.mostConnections = connectionsWithin(raiseDescriptorLimit(), options.queriesAtOnce);
  settings.store = storeFor(options);
  settings.notify = {.command = options.notify, .every = std::chrono::seconds(options.notifyEvery)};
  Exporter exporter(settings, std::move(file), *std::move(list), *std::move(listener));
  exporter.serve();
  return 0;
}

// A number of seconds, or with a unit.
Option duration(std::string name, std::uint32_t& place, std::string help) {
  Option option = {.name = name, .value = "DURATION", .help = std::move(help)};
  option.take = [&place, name = std::move(name)](const auto& words) -> Result<> {
    constexpr std::uint32_t kMost = 31 * 86400;
    std::string_view number = words.back();
    std::uint64_t unit = 1;
    if (!number.empty()) {
      switch (number.back()) {
        case 'd':
          unit = 86400;
          break;
        case 'h':
          unit = 3600;
          break;
        case 'm':
          unit = 60;
          break;
        default:
          break;
      }
      if (unit > 1 || number.back() == 's') number.remove_suffix(1);
    }
    const auto count = decimal(number);
    if (!count || *count == 0 || *count > kMost / unit) {
      return misuse(
          fmt::format("{}: expected a time from 1s to 31d, such as 12h or a number of seconds, not "
                      "\"{}\"",
                      name, forTerminal(words.back())));
    }
    place = static_cast<std::uint32_t>(*count * unit);
    return {};
  };
  return option;
}

Result<> agree(const ExporterOptions& options) {
  if (!options.noStore) return {};
  if (!options.store.empty()) return misuse("--no-store: does not go with --store");
  // What is to be told stands there until somebody was.
  if (!options.notify.empty()) return misuse("--notify: needs the store, and so no --no-store");
  return {};
}

}  // namespace

Command exporterCommand() {
  constexpr std::uint32_t kDay = 86400;
  constexpr std::uint32_t kHour = 3600;
  const auto options = std::make_shared<ExporterOptions>();
  return {
      .name = kCommand,
      .usage =
          "moxsupply exporter LIST [--listen ADDRESS:PORT] [--host NAME]...\n"
          "                          [--min-interval SECONDS] [--max-backoff SECONDS]\n"
          "                          [--deadline SECONDS] [--queries-at-once NUMBER]\n"
          "                          [--store FILE | --no-store] [--delivery-days DAYS]\n"
          "                          [--notify COMMAND [--notify-every DURATION]]",
      .about =
          "Serve the supplies of many printers to Prometheus, and to people as a page.\n"
          "\n"
          "LIST is a JSON file as Prometheus takes its targets from:\n"
          "\n"
          "  [{\"targets\": [\"socket://192.0.2.7\", \"192.0.2.8\"],\n"
          "    \"labels\": {\"printer_type\": \"laser\", \"name\": \"Office\", \"place\": \"2nd "
          "floor\"}}]\n"
          "\n"
          "A target is a device URI as `moxsupply levels` takes it, a host, or HOST:PORT; or a "
          "print\n"
          "queue, ipp://SERVER/printers/NAME, of which the print server is asked. The labels\n"
          "may be left out. printer_type is laser, inkjet or auto, name and place are for people. "
          "The\n"
          "file may be replaced at any time.",
      .footer =
          "Addresses:\n"
          "  /                   all printers, for people\n"
          "  /printer?target=... one printer of the list, for people\n"
          "  /orders             what to buy, for people; as a file /orders.csv\n"
          "  /probe?target=...   one printer of the list, for Prometheus\n"
          "  /ask                POST: has one printer asked at once, for people on the page\n"
          "  /metrics            the exporter itself\n"
          "  /-/healthy          whether it runs\n"
          "\n"
          "What printers answer is remembered in history.sqlite, in $STATE_DIRECTORY, or else in\n"
          "$XDG_STATE_HOME/moxsupply, or else in ~/.local/state/moxsupply: see "
          "moxsupply-history(1).\n"
          "\n"
          "There is neither a password nor encryption: leave it on this machine, or put a reverse\n"
          "proxy before it.\n"
          "\n"
          "Exit status: 0 after SIGINT or SIGTERM; 1 the address cannot be listened on, or memory\n"
          "or descriptors have run out; 2 the arguments or the list are wrong.\n",
      .options = {argument("LIST", options->list, "file with the list of printers"),
                  listenAddress(options->listen,
                                "where to listen (127.0.0.1:9871); port 0 is any free one, IPv6\n"
                                "addresses stand in brackets: [::1]:9871"),
                  texts("--host", options->hosts, "NAME",
                        "answer to this name too, as which a proxy or people ask; may be\n"
                        "given several times"),
                  seconds("--min-interval", options->minInterval, {1, kDay},
                          "ask no printer again before; the last answer stands (21600,\n"
                          "6 hours)"),
                  seconds("--max-backoff", options->maxBackoff, {1, kDay},
                          "longest pause before a printer that does not answer is asked\n"
                          "again; from failure to failure it doubles (86400, a day)"),
                  seconds("--deadline", options->deadline, {1, kHour},
                          "longest time for a query (30)"),
                  wholeNumber("--queries-at-once", options->queriesAtOnce, {2, 1024}, "NUMBER",
                              "most queries at once; half of them is kept for printers that\n"
                              "answer quickly (32)"),
                  storeOption(options->store),
                  flag("--no-store", options->noStore, "remember nothing"),
                  wholeNumber("--delivery-days", options->deliveryDays, {0, 365}, "DAYS",
                              "how long it takes until a cartridge that is ordered is there:\n"
                              "what will be needed by then is told to be (14)"),
                  text("--notify", options->notify, "COMMAND",
                       "run this in the shell, with a digest of what has happened as JSON\n"
                       "on its standard input"),
                  duration("--notify-every", options->notifyEvery,
                           "at most so often, such as 12h; at once when a cartridge is\n"
                           "empty or missing (1d)")},
      .agree = [options] { return agree(*options); },
      .run = [options] { return runExporter(*options); },
  };
}

}  // namespace moxsupply
