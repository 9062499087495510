#include "commands/ReportCommand.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "links/FilterQuery.h"
#include "system/FileDescriptor.h"
#include "text/Decimal.h"

namespace moxsupply {

namespace {

struct ReportOptions {
  std::string printerType;
  std::string transport;
  std::string timeout;
  std::string output;
};

int complain(const std::string& what) {
  fmt::print(stderr, "moxsupply report: {}\n", what);
  return kExitMisuse;
}

int runReport(const ReportOptions& options, bool hasOutput) {
  const auto timeout = decimal(options.timeout);
  if (!timeout) {
    return complain(fmt::format(
        "--timeout: expected a whole number of seconds from 0 to 4294967295, not \"{}\"",
        options.timeout));
  }
  const auto filter =
      MoxFilter::initWithPrinterType(options.printerType, options.transport, *timeout);
  if (!filter) {
    return complain(
        fmt::format("no filter for printer type \"{}\" on transport \"{}\"; printer types are "
                    "Laser and Inkjet, transports are usb, socket, mdns and dnssd",
                    options.printerType, options.transport));
  }

  FileDescriptor file;
  if (hasOutput) {
    file = aboveFilterDescriptors(FileDescriptor(
        ::open(options.output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)));
    if (!file) return complain(fmt::format("{}: {}", options.output, std::strerror(errno)));
  }

  const Answer answer = askPrinterOnStandardOutput(*filter);

  int error = writeAll(hasOutput ? file.get() : STDERR_FILENO, answer.json);
  if (error == 0) error = file.close();
  if (error != 0) {
    return complain(
        fmt::format("{}: {}", hasOutput ? options.output : "standard error", std::strerror(error)));
  }
  return answer.status == Status::kSuccess ? 0 : kExitFailed;
}

}  // namespace

void addReportCommand(CLI::App& app, RunCommand& run) {
  CLI::App* command = app.add_subcommand(
      "report",
      "Ask the printer from inside a filter pipeline and write its report as JSON.\n"
      "\n"
      "Standard output is the printer, descriptor 3 the CUPS back channel. The JSON goes to the\n"
      "file of --output, or to standard error.");
  command->formatter(std::make_shared<Help>(
      "moxsupply report --printer-type Laser|Inkjet --transport usb|socket|mdns|dnssd\n"
      "                        --timeout SECONDS [--output FILE]"));
  command->footer(
      "Exit status: 0 the query succeeded; 1 it failed (the status in the JSON says how);\n"
      "2 the arguments are wrong or FILE cannot be written.\n");

  const auto options = std::make_shared<ReportOptions>();
  command->add_option("--printer-type", options->printerType, "Laser or Inkjet")
      ->required()
      ->option_text("TYPE");
  command->add_option("--transport", options->transport, "usb, socket, mdns or dnssd")
      ->required()
      ->option_text("NAME");
  command
      ->add_option("--timeout", options->timeout,
                   "longest wait for each single read, 0 to 4294967295")
      ->required()
      ->option_text("SECONDS");
  const auto* output = command->add_option("--output", options->output, "where to write the JSON")
                           ->option_text("FILE");
  command->callback(
      [&run, options, output] { run = [=] { return runReport(*options, output->count() > 0); }; });
}

}  // namespace moxsupply
