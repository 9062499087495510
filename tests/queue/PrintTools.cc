#include "tests/queue/PrintTools.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <thread>

#include "tests/support/TextFile.h"

namespace moxsupply::testing {

namespace {

constexpr std::string_view kGetPrinterAttributes = R"({
  OPERATION Get-Printer-Attributes
  GROUP operation-attributes-tag
  ATTR charset attributes-charset utf-8
  ATTR naturalLanguage attributes-natural-language en
  ATTR uri printer-uri $uri
  STATUS successful-ok
})";

constexpr std::string_view kGetJobAttributes = R"({
  OPERATION Get-Job-Attributes
  GROUP operation-attributes-tag
  ATTR charset attributes-charset utf-8
  ATTR naturalLanguage attributes-natural-language en
  ATTR uri printer-uri $uri
  ATTR integer job-id $job
  STATUS successful-ok
})";

// `text` between `before` and `after`, if it is framed so.
std::string_view between(std::string_view text, std::string_view before, std::string_view after) {
  if (!text.starts_with(before) || !text.ends_with(after)) return {};
  return text.substr(before.size(), text.size() - before.size() - after.size());
}

std::string withoutEntities(std::string text) {
  for (auto [entity, character] :
       {std::pair<std::string_view, const char*>("&lt;", "<"), {"&gt;", ">"}, {"&amp;", "&"}}) {
    for (std::size_t at = 0; (at = text.find(entity, at)) != std::string::npos; ++at) {
      text.replace(at, entity.size(), character);
    }
  }
  return text;
}

Attributes ask(const PrivatePrintServer& server, const std::string& queue, std::string_view request,
               const std::vector<std::string>& variables) {
  const std::string file = server.folder() / "home/ask.test";
  std::ofstream(file) << request;
  std::vector<std::string> command = {"ipptool", "-X"};
  command.insert(command.end(), variables.begin(), variables.end());
  command.insert(command.end(), {server.printerUri(queue), file});
  return Attributes(server.run(command).output);
}

std::string stateOf(const PrivatePrintServer& server, const std::string& queue, int job) {
  const auto attributes = ask(server, queue, kGetJobAttributes, {"-d", fmt::format("job={}", job)});
  const Values& state = attributes["job-state"];
  if (state == Values{"6"}) return "stopped";
  if (state == Values{"7"}) return "canceled";
  if (state == Values{"8"}) return "aborted";
  if (state == Values{"9"}) return "completed";
  return {};
}

}  // namespace

Attributes::Attributes(const std::string& plist) {
  std::istringstream lines(plist);
  Values* values = nullptr;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("<key>")) {
      values = &mValues[std::string(between(line, "<key>", "</key>"))];
      values->clear();
    }
    if (values == nullptr) continue;
    if (line == "<true />") values->emplace_back("true");
    if (line == "<false />") values->emplace_back("false");
    for (const char* type : {"string", "integer"}) {
      const std::string before = fmt::format("<{}>", type);
      const std::string after = fmt::format("</{}>", type);
      if (!line.starts_with(before)) continue;
      values->push_back(withoutEntities(std::string(between(line, before, after))));
    }
  }
}

const Values& Attributes::operator[](const std::string& name) const {
  static const Values kNone;
  const auto found = mValues.find(name);
  return found == mValues.end() ? kNone : found->second;
}

void addQueue(const PrivatePrintServer& server, const std::string& queue,
              const std::string& deviceUri, const std::string& ppd) {
  std::vector<std::string> command = {"lpadmin", "-p", queue, "-E", "-v", deviceUri};
  const std::string file = server.folder() / "home/driver.ppd";
  std::ofstream(file) << ppd;
  if (ppd.empty()) {
    command.insert(command.end(), {"-m", "raw"});
  } else {
    command.insert(command.end(), {"-P", file});
  }
  const Ran ran = server.run(command);
  ASSERT_EQ(ran.exitStatus, 0) << ran.errors;
}

Attributes attributesOf(const PrivatePrintServer& server, const std::string& queue) {
  return ask(server, queue, kGetPrinterAttributes, {});
}

int submit(const PrivatePrintServer& server, const std::string& queue, const std::string& commands,
           const std::vector<std::string>& options) {
  const std::string file = server.folder() / "home/commands";
  std::ofstream(file) << "#CUPS-COMMAND\n" << commands << '\n';
  std::vector<std::string> command = {"lp", "-d", queue};
  command.insert(command.end(), options.begin(), options.end());
  command.push_back(file);
  return jobOf(server.run(command), queue);
}

int jobOf(const Ran& lp, const std::string& queue) {
  const std::string beginning = fmt::format("request id is {}-", queue);  // 12 (1 file(s))
  const bool isTaken = lp.output.starts_with(beginning);
  EXPECT_TRUE(isTaken) << lp.output << lp.errors;
  return isTaken ? std::atoi(lp.output.c_str() + beginning.size()) : 0;
}

std::string endOf(const PrivatePrintServer& server, const std::string& queue, int job) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < end) {
    std::string state = stateOf(server, queue, job);
    if (!state.empty()) return state;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return "never";
}

Values alertsOf(const PrivatePrintServer& server, const std::string& queue) {
  std::istringstream lines(server.run({"lpstat", "-l", "-p", queue}).output);
  Values alerts;
  for (std::string line; std::getline(lines, line);) {
    constexpr std::string_view kAlerts = "\tAlerts: ";
    if (!line.starts_with(kAlerts)) continue;
    std::istringstream words(line.substr(kAlerts.size()));
    alerts.assign(std::istream_iterator<std::string>(words), {});
  }
  return alerts == Values{"none"} ? Values() : sorted(alerts);
}

Values optionOf(const PrivatePrintServer& server, const std::string& queue,
                const std::string& name) {
  const std::string options = server.run({"lpoptions", "-p", queue}).output;
  const std::string key = ' ' + name + '=';
  const std::size_t start = options.find(key);
  if (start == std::string::npos) return {};

  // Blanks end the value, but for those in quotes; a backslash protects the character after it,
  // also from being a comma between two values.
  Values values(1);
  bool isQuoted = false;
  for (std::size_t at = start + key.size(); at < options.size(); ++at) {
    const char c = options[at];
    if (c == '\'') {
      isQuoted = !isQuoted;
    } else if (c == '\\' && at + 1 < options.size()) {
      values.back() += options[++at];
    } else if (c == ',') {
      values.emplace_back();
    } else if (!isQuoted && (c == ' ' || c == '\n')) {
      break;
    } else {
      values.back() += c;
    }
  }
  return values;
}

std::string ppdOf(const PrivatePrintServer& server, const std::string& queue) {
  return contentOf(server.folder() / fmt::format("etc/ppd/{}.ppd", queue));
}

int timesLogged(const PrivatePrintServer& server, int job, const std::string& beginning) {
  const std::string log = server.log();
  const std::string line = fmt::format(" [Job {}] {}", job, beginning);
  int count = 0;
  for (std::size_t at = 0; (at = log.find(line, at)) != std::string::npos; ++at) ++count;
  return count;
}

Values sorted(Values values) {
  std::ranges::sort(values);
  return values;
}

}  // namespace moxsupply::testing
