// Many simulated printers in one process, until SIGTERM or SIGINT. Writes the list of them that an
// exporter takes to standard output.
//   printer-fleet MODEL-FILE HEALTHY SILENT
#include <fmt/core.h>

#include <charconv>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "simulator/ModelFile.h"
#include "simulator/Server.h"
#include "system/Listener.h"
#include "system/StopSignals.h"

namespace {

using namespace moxsupply;

int number(std::string_view text) {
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace

int main(int argc, char** argv) {
  const std::span<char*> arguments(argv, static_cast<std::size_t>(argc));
  if (argc != 4) {
    fmt::print(stderr, "usage: printer-fleet MODEL-FILE HEALTHY SILENT\n");
    return EXIT_FAILURE;
  }
  const simulator::Model model = simulator::readModelFile(arguments[1]).value();
  const int healthy = number(arguments[2]);
  const int silent = number(arguments[3]);

  const StopSignals signals;  // before the threads, which block them as well
  std::vector<std::thread> printers;
  std::string list;
  for (int i = 0; i < healthy + silent; ++i) {
    FileDescriptor listener = listenOn("127.0.0.1:0").value();
    const bool isSilent = i >= healthy;
    list += fmt::format(
        "{}{{\"targets\": [\"socket://{}\"], \"labels\": {{\"name\": \"{} {}\", \"place\": \"Floor "
        "{}\", "
        "\"printer_type\": \"laser\"}}}}",
        list.empty() ? "" : ",\n ", addressOf(listener.get()), isSilent ? "Silent" : "Printer", i,
        i / 50);
    simulator::Faults faults;
    if (isSilent) faults.silent = 0;
    printers.emplace_back([&model, &signals, faults, socket = std::move(listener)]() mutable {
      simulator::Server server(
          model, std::move(socket), [](const auto&) {}, faults);
      const int until = signals.descriptor();
      server.serve(std::span(&until, 1));
    });
  }
  fmt::print("[{}]\n", list);
  std::fclose(stdout);
  for (std::thread& printer : printers) printer.join();
}
