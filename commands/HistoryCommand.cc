#include "commands/HistoryCommand.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "commands/StoreOption.h"
#include "history/Events.h"
#include "history/Reading.h"
#include "history/Store.h"
#include "supplies/Attention.h"
#include "system/FileDescriptor.h"
#include "system/LineReader.h"
#include "text/ProgressLine.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "history";
constexpr std::string_view kStandardInput = "-";

enum class Action : std::uint8_t { kAdd, kShow, kEvents };

struct HistoryOptions {
  Action action = Action::kShow;
  std::string argument;  // FILE of add, PRINTER of the others
  std::string store;
  std::optional<Moment> since;
  std::optional<int> lowLevel;
  std::optional<LineFormat> format;

  std::optional<std::string> printer;  // the argument as its name
};

// Shows how far a long work has come, once a second.
class Progress {
 public:
  explicit Progress(std::string_view what) : mWhat(what) {}

  void next() {
    ++mCount;
    const auto now = Clock::now();
    if (now - mShown < std::chrono::seconds(1)) return;
    mShown = now;
    mLine.waitingFor(fmt::format("{}: {}", mWhat, mCount));
    mLine.refresh();
  }

 private:
  using Clock = std::chrono::steady_clock;

  std::string_view mWhat;
  std::size_t mCount = 0;
  Clock::time_point mShown = Clock::now();
  ProgressLine mLine;
};

struct Input {
  std::string name;
  FileDescriptor file;
};

bool isRegularFile(int file) {
  struct stat status {};
  return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

// All of what may come slowly, in a file without a name: the store is not locked meanwhile.
Result<FileDescriptor> keptAside(const Input& input) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> kept(std::tmpfile(), &std::fclose);
  if (!kept) return failure(fmt::format("a temporary file: {}", std::strerror(errno)));
  constexpr std::size_t kAtOnce = 65536;
  std::string some(kAtOnce, '\0');
  for (;;) {
    const ssize_t size = ::read(input.file.get(), some.data(), some.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return misuse(fmt::format("{}: {}", input.name, std::strerror(errno)));
    if (size == 0) break;
    const int error = writeAll(::fileno(kept.get()),
                               std::string_view(some).substr(0, static_cast<std::size_t>(size)));
    if (error != 0) return failure(fmt::format("a temporary file: {}", std::strerror(error)));
  }
  FileDescriptor copy(::dup(::fileno(kept.get())));
  if (::lseek(copy.get(), 0, SEEK_SET) != 0) {
    return failure(fmt::format("a temporary file: {}", std::strerror(errno)));
  }
  return copy;
}

Result<Input> open(const std::string& path) {
  const bool isInput = path.empty() || path == kStandardInput;
  Input input{
      isInput ? "standard input" : forTerminal(path),
      FileDescriptor(isInput ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC))};
  if (!input.file) return misuse(fmt::format("{}: {}", input.name, std::strerror(errno)));
  if (isRegularFile(input.file.get())) return input;
  auto aside = keptAside(input);
  if (!aside) return tl::unexpected(aside.error());
  input.file = *std::move(aside);
  return input;
}

bool isBlank(const std::string& line) {
  return line.size() <= kLongestReading && line.find_first_not_of(" \t\r") == std::string::npos;
}

Result<> addAll(Store& store, const Input& input) {
  Progress progress("Readings added");
  LineReader lines(input.file.get(), kLongestReading);
  std::size_t number = 0;
  while (const auto line = lines.next()) {
    ++number;
    if (isBlank(*line)) continue;
    const auto added =
        readingFrom(*line).and_then([&](const Reading& reading) { return store.add(reading); });
    if (!added) {
      Problem problem = added.error();
      if (problem.isMisuse) {
        problem.what = fmt::format("{}: line {}: {}", input.name, number, problem.what);
      }
      return tl::unexpected(std::move(problem));
    }
    progress.next();
  }
  if (lines.error() == 0) return {};
  return misuse(fmt::format("{}: {}", input.name, std::strerror(lines.error())));
}

int runAdd(const HistoryOptions& options) {
  const auto input = open(options.argument);
  if (!input) return complain(kCommand, input.error());
  auto store = openStoreToWrite(options.store);
  if (!store) return complain(kCommand, store.error());
  // What is damaged is left as it is, also where this would not come to it.
  if (const auto whole = store->check(); !whole) return complain(kCommand, whole.error());
  const auto added = store->change([&] { return addAll(*store, *input); });
  return added ? 0 : complain(kCommand, added.error());
}

// Lines for standard output, which are written some at a time.
class Lines {
 public:
  // Returns the exit status.
  int add(std::string_view text) {
    constexpr std::size_t kAtOnce = 65536;
    mText += text;
    return mText.size() < kAtOnce ? 0 : flush();
  }
  int flush() { return print(kCommand, std::exchange(mText, {})); }

 private:
  std::string mText;
};

// A word in a column of at least this width, and a gap.
std::string cell(const std::string& word, int columns) {
  const int gap = std::max(columns - columnsOf(word), 0) + 2;
  return word + std::string(static_cast<std::size_t>(gap), ' ');
}

constexpr int kTimeColumns = 20;
constexpr int kPrinterColumns = 24;
constexpr int kEventColumns = 8;
constexpr int kNameColumns = 28;
constexpr int kLevelColumns = 7;

std::string levelInWords(const Level& level) {
  if (level) return fmt::format("{} %", *level);
  return level.error() == NoLevel::kMissing ? "missing" : "unknown";
}

// To the second, in UTC, however it was written.
std::string timeForPeople(Moment moment) {
  return momentAsText(std::chrono::floor<std::chrono::seconds>(moment));
}

std::string rowsOf(const Reading& reading) {
  const std::string begin = cell(timeForPeople(reading.moment), kTimeColumns) +
                            cell(forTerminal(reading.printer), kPrinterColumns);
  if (reading.supplies.empty()) return begin + "no supplies\n";
  std::string rows;
  for (const ReadSupply& supply : reading.supplies) {
    rows += begin + fmt::format("{:>3}  ", supply.number) +
            cell(cutToColumns(forTerminal(supply.name), kNameColumns), kNameColumns) +
            cell(levelInWords(supply.level), kLevelColumns) +
            std::string(wordInReading(supply.status)) + '\n';
  }
  return rows;
}

std::string rowOf(const SupplyEvent& event) {
  return cell(timeForPeople(event.moment), kTimeColumns) +
         cell(forTerminal(event.printer), kPrinterColumns) + fmt::format("{:>3}  ", event.supply) +
         cell(std::string(wordOf(event.event)), kEventColumns) + forTerminal(event.because) + '\n';
}

// Writes the lines that `show` makes of each reading.
template <typename Show>
int showEach(const HistoryOptions& options, const Store::Which& which, const Show& show) {
  auto store = openStoreToRead(kCommand, options.store);
  if (!store) return complain(kCommand, store.error());
  Lines lines;
  int exitStatus = 0;
  const auto shown = store->forEach(which, [&](const Reading& reading) -> Result<> {
    exitStatus = lines.add(show(reading));
    return exitStatus == 0 ? Result<>() : failure({});  // it was said already
  });
  if (exitStatus != 0) return exitStatus;
  exitStatus = lines.flush();
  return shown ? exitStatus : complain(kCommand, shown.error());
}

int runShow(const HistoryOptions& options) {
  const bool isTable = chosen(options.format) == LineFormat::kTable;
  const auto show = [&](const Reading& reading) {
    return isTable ? rowsOf(reading) : reading.json + '\n';
  };
  return showEach(options, {.printer = options.printer, .since = options.since}, show);
}

int runEvents(const HistoryOptions& options) {
  const bool isTable = chosen(options.format) == LineFormat::kTable;
  const int lowLevel = options.lowLevel.value_or(kLowLevel);
  std::map<std::string, EventWatch> watches;  // by printer
  Progress progress("Readings looked at");
  // Also what is not shown belongs to the lives of cartridges.
  const auto show = [&](const Reading& reading) {
    std::string lines;
    EventWatch& watch = watches.try_emplace(reading.printer, lowLevel).first->second;
    for (const SupplyEvent& event : watch.take(reading)) {
      if (options.since && event.moment < *options.since) continue;
      lines += isTable ? rowOf(event) : asJson(event) + '\n';
    }
    progress.next();
    return lines;
  };
  return showEach(options, {.printer = options.printer}, show);
}

int runHistory(const HistoryOptions& options) {
  switch (options.action) {
    case Action::kAdd:
      return runAdd(options);
    case Action::kShow:
      return runShow(options);
    case Action::kEvents:
      break;
  }
  return runEvents(options);
}

// Whether the options go with what is to be done.
Result<> agree(HistoryOptions& options) {
  if (options.action != Action::kEvents && options.lowLevel)
    return misuse("--low goes with events");
  if (options.action != Action::kAdd) {
    if (options.argument.empty()) return {};
    return rememberedPrinter(options.argument).map([&](const std::string& name) {
      options.printer = name;
    });
  }
  if (options.since) return misuse("--since goes with show and events");
  if (options.format) return misuse("--format goes with show and events");
  return {};
}

Option actionOption(Action& action) {
  Option option =
      choice<Action>("ACTION", action,
                     {{"add", Action::kAdd}, {"show", Action::kShow}, {"events", Action::kEvents}},
                     " ", "add, show or events");
  option.isRequired = true;
  return option;
}

Option lowOption(std::optional<int>& level) {
  const auto given = std::make_shared<int>();
  Option option = percentage("--low", *given, "events: low at this level and below (10)");
  option.take = [&level, given, take = std::move(option.take)](const auto& words) {
    auto taken = take(words);
    if (taken) level = *given;
    return taken;
  };
  return option;
}

}  // namespace

Command historyCommand() {
  const auto options = std::make_shared<HistoryOptions>();
  return {
      .name = kCommand,
      .usage =
          "moxsupply history add [--store FILE] [FILE]\n"
          "       moxsupply history show [--store FILE] [PRINTER] [--since TIME] [--format "
          "table|json]\n"
          "       moxsupply history events [--store FILE] [PRINTER] [--since TIME] [--low "
          "PERCENT]\n"
          "                                [--format table|json]",
      .about =
          "Remember what printers answered, and tell what befell their cartridges.\n"
          "\n"
          "add takes readings, a line of JSON each, as `moxsupply levels --format reading` writes\n"
          "them, from FILE or standard input: all of them or, when a line is wrong, none. show "
          "gives\n"
          "them back. events tells when a toner or an ink was replaced, became low or empty, was\n"
          "missing or wrong, and was there again.",
      .footer =
          "Without --store, readings are in history.sqlite, in $STATE_DIRECTORY, or else in\n"
          "$XDG_STATE_HOME/moxsupply, or else in ~/.local/state/moxsupply; show and events look "
          "for\n"
          "the exporter's then, /var/lib/moxsupply-exporter/history.sqlite.\n"
          "\n"
          "Examples:\n"
          "  moxsupply levels 192.0.2.7 --format reading | moxsupply history add\n"
          "  moxsupply history show 192.0.2.7 --since 2026-11-01T00:00:00Z\n"
          "  moxsupply history events --low 20\n"
          "\n"
          "Exit status: 0 it worked; 1 the store cannot be used, or is not there; 2 the arguments "
          "or\n"
          "a line are wrong.\n",
      .options = {actionOption(options->action),
                  text("WHAT", options->argument, " ",
                       "add: a file of readings; show and events: a printer"),
                  storeOption(options->store),
                  moment("--since", options->since, "from then on, as 2026-11-21T08:00:00Z"),
                  lowOption(options->lowLevel), lineFormat(options->format)},
      .agree = [options] { return agree(*options); },
      .run = [options] { return runHistory(*options); },
  };
}

}  // namespace moxsupply
