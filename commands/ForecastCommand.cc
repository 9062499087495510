#include "commands/ForecastCommand.h"

#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "commands/StoreOption.h"
#include "history/RememberedPrinters.h"
#include "json/AsciiJson.h"
#include "text/Columns.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "forecast";

struct ForecastOptions {
  std::string store;
  std::optional<Moment> at;
  std::optional<std::string> printer;
  std::optional<LineFormat> format;
};

std::string lineOf(const PrinterProspects& printer, const Prospect& supply) {
  using Json = nlohmann::ordered_json;
  const Forecast& forecast = supply.forecast;
  Json emptyAt;
  if (forecast.emptyAt) {
    emptyAt = {{"likely", momentAsText(forecast.emptyAt->likely)},
               {"earliest", momentAsText(forecast.emptyAt->earliest)},
               {"latest", momentAsText(forecast.emptyAt->latest)}};
  }
  return asciiJson(Json{{"printer", printer.printer},
                        {"supply", supply.supply},
                        {"name", supply.name},
                        {"level", forecast.level ? Json(*forecast.level) : Json()},
                        {"asOf", momentAsText(forecast.asOf)},
                        {"emptyAt", emptyAt},
                        {"because", forecast.because}}) +
         '\n';
}

std::vector<std::string> rowOf(const PrinterProspects& printer, const Prospect& supply) {
  constexpr int kNameColumns = 28;
  const Forecast& forecast = supply.forecast;
  std::string likely = "-";
  std::string between = "-";
  if (forecast.emptyAt) {
    likely = dayOf(forecast.emptyAt->likely);
    between =
        fmt::format("{} to {}", dayOf(forecast.emptyAt->earliest), dayOf(forecast.emptyAt->latest));
  }
  return {forTerminal(printer.printer),
          std::to_string(supply.supply),
          cutToColumns(forTerminal(supply.name), kNameColumns),
          forecast.level ? fmt::format("{} %", *forecast.level) : "-",
          dayOf(forecast.asOf),
          likely,
          between,
          forTerminal(forecast.because)};
}

int runForecast(const ForecastOptions& options) {
  auto store = openStoreToRead(kCommand, options.store);
  if (!store) return complain(kCommand, store.error());
  const bool isTable = chosen(options.format) == LineFormat::kTable;
  std::string lines;
  std::vector<std::vector<std::string>> rows = {
      {"PRINTER", "NUMBER", "SUPPLY", "LEVEL", "READ", "EMPTY", "IN 8 OF 10 CASES", "BECAUSE"}};
  const auto told = forEachRemembered(*store, options.printer, momentOrNow(options.at),
                                      [&](const PrinterProspects& printer) {
                                        for (const Prospect& supply : printer.supplies) {
                                          if (isTable) {
                                            rows.push_back(rowOf(printer, supply));
                                          } else {
                                            lines += lineOf(printer, supply);
                                          }
                                        }
                                      });
  if (!told) return complain(kCommand, told.error());
  return print(kCommand, isTable ? inColumns(rows) : lines);
}

}  // namespace

Command forecastCommand() {
  const auto options = std::make_shared<ForecastOptions>();
  return {
      .name = kCommand,
      .usage = "moxsupply forecast [--store FILE] [--at TIME] [PRINTER] [--format table|json]",
      .about =
          "Tell when cartridges will be empty.\n"
          "\n"
          "One line for each toner and ink, from the readings that `moxsupply history add` or the\n"
          "exporter remembered: when the printer will likely show it as empty, and two times "
          "between\n"
          "which that is in 8 of 10 cases. A new cartridge has a forecast after two different "
          "levels\n"
          "and 7 days, or at once when an earlier one told how fast it is used.",
      .footer =
          "Without --store, the readings are where `moxsupply history` looks for them.\n"
          "\n"
          "Exit status: 0 it worked; 1 the store cannot be used, or is not there; 2 the arguments "
          "are\n"
          "wrong.\n",
      .options = {rememberedPrinter(options->printer), storeOption(options->store),
                  moment("--at", options->at,
                         "as if it were this time, such as\n"
                         "2026-11-21T08:00:00Z; nothing later is looked at"),
                  lineFormat(options->format)},
      .run = [options] { return runForecast(*options); },
  };
}

}  // namespace moxsupply
