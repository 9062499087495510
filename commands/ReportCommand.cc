#include "commands/ReportCommand.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "front/MoxFilter.h"
#include "links/AskAsFilter.h"
#include "renderings/ReportJson.h"
#include "system/FileDescriptor.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "report";

struct ReportOptions {
  std::string printerType;
  std::string transport;
  std::uint32_t timeout = 0;          // seconds
  std::optional<std::string> output;  // a file; none: standard error
};

int refuse(const std::string& what) { return complain(kCommand, misuse(what).value()); }

int runReport(const ReportOptions& options) {
  const auto filter =
      MoxFilter::initWithPrinterType(options.printerType, options.transport, options.timeout);
  if (!filter) {
    return refuse(
        fmt::format("no filter for printer type \"{}\" on transport \"{}\"; printer types are "
                    "Laser and Inkjet, transports are usb, socket, mdns and dnssd",
                    options.printerType, options.transport));
  }

  FileDescriptor file;
  if (options.output) {
    file = aboveFilterDescriptors(FileDescriptor(
        ::open(options.output->c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)));
    if (!file) return refuse(fmt::format("{}: {}", *options.output, std::strerror(errno)));
  }

  const Report report = askAsFilter(*filter);

  int error = writeAll(file ? file.get() : STDERR_FILENO, reportAsJson(report));
  if (error == 0) error = file.close();
  if (error != 0) {
    return refuse(
        fmt::format("{}: {}", options.output.value_or("standard error"), std::strerror(error)));
  }
  return report.status == Status::kSuccess ? 0 : kExitFailed;
}

Option required(Option option) {
  option.isRequired = true;
  return option;
}

Option outputOption(std::optional<std::string>& output) {
  Option option = {.name = "--output", .value = "FILE", .help = "where to write the JSON"};
  option.take = [&output](const auto& words) -> Result<> {
    output = words.back();
    return {};
  };
  return option;
}

}  // namespace

Command reportCommand() {
  const auto options = std::make_shared<ReportOptions>();
  return {
      .name = kCommand,
      .usage =
          "moxsupply report --printer-type Laser|Inkjet --transport usb|socket|mdns|dnssd\n"
          "                        --timeout SECONDS [--output FILE]",
      .about =
          "Ask the printer from inside a filter pipeline and write its report as JSON.\n"
          "\n"
          "Standard output is the printer, descriptor 3 the CUPS back channel. The JSON goes to "
          "the\n"
          "file of --output, or to standard error.",
      .footer =
          "Exit status: 0 the query succeeded; 1 it failed (the status in the JSON says how);\n"
          "2 the arguments are wrong or FILE cannot be written.\n",
      .options = {required(text("--printer-type", options->printerType, "TYPE", "Laser or Inkjet")),
                  required(text("--transport", options->transport, "NAME",
                                "usb, socket, mdns or dnssd")),
                  required(seconds("--timeout", options->timeout, {},
                                   "longest wait for each single read, 0 to 4294967295")),
                  outputOption(options->output)},
      .run = [options] { return runReport(*options); },
  };
}

}  // namespace moxsupply
