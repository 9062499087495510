#include "host/PpdEdit.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace moxsupply {

namespace {

constexpr std::string_view kBegin = "*% moxsupply: supply reports begin";
constexpr std::string_view kEnd = "*% moxsupply: supply reports end";
// The file did not end its last line; the block did it.
constexpr std::string_view kEndedLine = ", after an unfinished line";
constexpr std::string_view kSetAside = "*% moxsupply set aside: ";

// Each line with its line end; only the last may be without.
std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
    lines.push_back(text.substr(at, end - at));
    at = end;
  }
  return lines;
}

// The keyword of a line, with its option if it has one: "*cupsFilter", "*PageSize A4/A4".
std::string_view keywordOf(std::string_view line) { return line.substr(0, line.find(':')); }

bool isCommandFilter(std::string_view line) {
  const std::string_view keyword = keywordOf(line);
  return (keyword == "*cupsFilter" || keyword == "*cupsFilter2") &&
         line.find("\"application/vnd.cups-command") != std::string_view::npos;
}

// Another line of this kind would contradict the block.
bool contradicts(std::string_view line) {
  constexpr std::array<std::string_view, 5> kKeywords = {
      "*cupsCommands", "*cupsSNMPSupplies", "*moxPrinterType", "*moxTimeout", "*moxDeadline"};
  return isCommandFilter(line) || std::ranges::find(kKeywords, keywordOf(line)) != kKeywords.end();
}

bool hasLine(const std::vector<std::string>& lines, std::string_view keyword) {
  return std::ranges::any_of(lines,
                             [&](const std::string& line) { return keywordOf(line) == keyword; });
}

// The lines that put the command filter on a PPD with these other lines.
std::vector<std::string> filterLines(const std::vector<std::string>& others) {
  // With a single line of the newer form in the file, the print server looks at these only.
  if (hasLine(others, "*cupsFilter2")) {
    return {
        "*cupsFilter2: \"application/vnd.cups-command application/vnd.cups-command 0 "
        "commandtomox\""};
  }
  std::vector<std::string> lines = {"*cupsFilter: \"application/vnd.cups-command 0 commandtomox\""};
  // A PPD without filters is that of a PostScript printer, which gets its data unfiltered. The
  // print server adds that by itself only where there is no filter line at all.
  if (!hasLine(others, "*cupsFilter")) {
    lines.emplace_back("*cupsFilter: \"application/vnd.cups-postscript 0 -\"");
  }
  return lines;
}

}  // namespace

bool hasSupplyReports(const std::string& ppd) { return ppd.find(kBegin) != std::string::npos; }

std::string withSupplyReports(const std::string& ppd, const PpdSettings& settings) {
  std::vector<std::string> lines = linesOf(withoutSupplyReports(ppd));
  const bool isUnfinished = !lines.empty() && lines.back().back() != '\n';
  const bool hasReturns = !lines.empty() && lines.front().ends_with("\r\n");
  const std::string_view lineEnd = hasReturns ? "\r\n" : "\n";

  std::string text;
  bool continues = false;  // a value in quotes goes on in the next line
  std::vector<std::string> kept;
  for (const std::string& line : lines) {
    const bool setAside = continues || contradicts(line);
    if (setAside) {
      const bool hasOpenQuote = std::ranges::count(line, '"') % 2 == 1;
      continues = continues != hasOpenQuote;
      text += kSetAside;
    } else {
      kept.push_back(line);
    }
    text += line;
  }

  if (isUnfinished) text += lineEnd;
  text += fmt::format("{}{}{}", kBegin, isUnfinished ? kEndedLine : "", lineEnd);
  for (const std::string& line : filterLines(kept)) text += line + std::string(lineEnd);
  text += fmt::format(
      "*cupsCommands: \"ReportLevels ReportStatus\"{0}"
      "*cupsSNMPSupplies: False{0}"
      "*moxPrinterType: \"{1}\"{0}"
      "*moxTimeout: \"{2}\"{0}"
      "*moxDeadline: \"{3}\"{0}"
      "{4}{0}",
      lineEnd, settings.printerType, settings.timeout, settings.deadline, kEnd);
  return text;
}

std::string withoutSupplyReports(const std::string& ppd) {
  std::string text;
  bool isInBlock = false;
  for (const std::string& line : linesOf(ppd)) {
    if (line.starts_with(kBegin)) {
      isInBlock = true;
      if (line.find(kEndedLine) != std::string::npos && text.ends_with('\n')) {
        text.erase(text.size() - (text.ends_with("\r\n") ? 2 : 1));
      }
    }
    if (!isInBlock) text += line.starts_with(kSetAside) ? line.substr(kSetAside.size()) : line;
    if (line.starts_with(kEnd)) isInBlock = false;
  }
  return text;
}

}  // namespace moxsupply
