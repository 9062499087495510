#include "commands/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "text/TerminalText.h"

namespace moxsupply {

namespace {

// The help of the program or a command: its usage as it is given here, what it does, its options.
class Help : public CLI::Formatter {
 public:
  explicit Help(std::string_view usage) : mUsage(usage) { column_width(26); }

  std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
    return {};
  }

  std::string make_description(const CLI::App* app) const override {
    return fmt::format("Usage: {}\n\n{}\n", mUsage, app->get_description());
  }

  // In the list of commands, each with the first line of what it does.
  std::string make_subcommand(const CLI::App* subcommand) const override {
    const std::string about = subcommand->get_description();
    return fmt::format("  {:<{}}{}\n", subcommand->get_name(), get_column_width() - 2,
                       about.substr(0, about.find('\n')));
  }

 private:
  std::string mUsage;
};

// A command as the parser has it.
struct Parsed {
  Command command;
  CLI::App* app = nullptr;
  std::vector<CLI::Option*> options;  // in the order of the command's
};

// Where several words may stand, the parser takes brackets off one that stands in them, like an
// IPv6 address. Behind the last one it gets a mark meanwhile.
constexpr char kMark = '\x1F';

bool takesSeveral(const Option& option) {
  return option.isRepeated && !option.name.starts_with('-');
}

CLI::Option* addTo(CLI::App& app, const Option& option) {
  if (option.isFlag) return app.add_flag(option.name, option.help);
  // What it holds is asked for later, as it was typed.
  CLI::Option* added = app.add_option(option.name, option.help);
  added->expected(1)->option_text(option.value);
  if (option.isRepeated) {
    // Each value behind the option's name once more; what is known by its place has none.
    added->expected(1, CLI::detail::expected_max_vector_size)
        ->allow_extra_args(takesSeveral(option));
  }
  if (option.isRequired) added->required();
  if (!option.choices.empty()) added->check(CLI::IsMember(option.choices));
  return added;
}

std::unique_ptr<Parsed> addTo(CLI::App& app, Command command) {
  auto parsed = std::make_unique<Parsed>();
  parsed->app = app.add_subcommand(std::string(command.name), std::string(command.about));
  parsed->app->formatter(std::make_shared<Help>(command.usage));
  parsed->app->footer(command.footer);
  if (command.passesAllOn) {
    parsed->app->set_help_flag();
    parsed->app->prefix_command();
  }
  for (const Option& option : command.options) {
    parsed->options.push_back(addTo(*parsed->app, option));
    if (!option.excludes.empty()) {
      parsed->options.back()->excludes(parsed->app->get_option(option.excludes));
    }
  }
  parsed->command = std::move(command);
  return parsed;
}

// What is wrong with the arguments of a command.
int complainOfArguments(const Command& command, const std::string& what) {
  if (command.complain) return command.complain(misuse(what).value());
  fmt::print(stderr, "moxsupply {0}: {1} (see moxsupply {0} --help)\n", command.name, what);
  return kExitMisuse;
}

void markBrackets(const Command& command, CommandLine& line) {
  if (std::ranges::none_of(command.options, takesSeveral)) return;
  for (std::string& word : line) {
    if (word.starts_with('[') && word.ends_with(']')) word += kMark;
  }
}

CommandLine withoutMarks(CommandLine words) {
  for (std::string& word : words) {
    if (word.ends_with(kMark)) word.pop_back();
  }
  return words;
}

int run(const Parsed& parsed) {
  const Command& command = parsed.command;
  for (std::size_t i = 0; i < parsed.options.size(); ++i) {
    if (parsed.options[i]->count() == 0) continue;
    const auto taken = command.options[i].take(withoutMarks(parsed.options[i]->results()));
    if (taken) continue;
    return command.complain ? command.complain(taken.error())
                            : complain(command.name, taken.error());
  }
  if (command.agree) {
    if (const auto agreed = command.agree(); !agreed) {
      return complainOfArguments(command, agreed.error().what);
    }
  }
  return command.run();
}

// Takes "--" and the command line behind it away. The parser would take some of it for its own: it
// reads an argument "[a,b]" as two.
std::optional<CommandLine> takeBesides(std::span<const char* const>& arguments) {
  const auto dashes = std::ranges::find(arguments, std::string_view("--"));
  if (dashes == arguments.end()) return std::nullopt;
  CommandLine besides(dashes + 1, arguments.end());
  arguments = arguments.first(static_cast<std::size_t>(dashes - arguments.begin()));
  return besides;
}

bool isCommand(const Program& program, std::string_view name) {
  return std::ranges::find(program.subcommands, name, &Program::Subcommand::name) !=
         program.subcommands.end();
}

// `moxsupply help levels` is `moxsupply levels --help`.
CommandLine withHelpAsOption(const Program& program, std::span<const char* const> arguments) {
  CommandLine line(arguments.begin(), arguments.end());
  if (line.size() < 2 || line.size() > 3 || line[1] != "help") return line;
  line.erase(line.begin() + 1);
  if (line.size() == 1 || isCommand(program, line[1])) line.emplace_back("--help");
  return line;
}

}  // namespace

int runCommandLine(const Program& program, std::span<const char* const> given) {
  CommandLine line = withHelpAsOption(program, given);
  CLI::App app(std::string(program.about), "moxsupply");
  app.formatter(std::make_shared<Help>("moxsupply COMMAND [OPTION...]"));
  app.footer(std::string(program.footer));
  app.require_subcommand(1);
  app.set_version_flag("--version", "moxsupply " MOXSUPPLY_VERSION);

  const std::string first = line.size() > 1 ? line[1] : "";
  const bool isOne = isCommand(program, first);
  std::vector<std::unique_ptr<Parsed>> commands;
  for (const auto& [name, describe] : program.subcommands) {
    if (!isOne || name == first) commands.push_back(addTo(app, describe()));
  }
  if (isOne) markBrackets(commands.front()->command, line);
  std::vector<const char*> pointers(line.size());
  std::ranges::transform(line, pointers.begin(), &std::string::c_str);
  std::span<const char* const> arguments = pointers;
  const auto chosen = [&]() -> const Parsed* {
    const auto found =
        std::ranges::find_if(commands, [](const auto& command) { return command->app->parsed(); });
    return found == commands.end() ? nullptr : found->get();
  };
  if (isOne && commands.front()->command.besides != nullptr) {
    *commands.front()->command.besides = takeBesides(arguments);
  }

  try {
    app.parse(static_cast<int>(arguments.size()), arguments.data());
  } catch (const CLI::Success& help) {  // --help and --version
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    if (const Parsed* parsed = chosen()) return complainOfArguments(parsed->command, error.what());
    if (!first.empty() && !first.starts_with('-')) {
      fmt::print(stderr, "moxsupply: there is no command \"{}\" (see moxsupply --help)\n",
                 forTerminal(first));
    } else {
      fmt::print(stderr, "moxsupply: {} (see moxsupply --help)\n", error.what());
    }
    return kExitMisuse;
  }
  return run(*chosen());
}

}  // namespace moxsupply
