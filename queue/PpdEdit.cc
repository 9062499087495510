#include "queue/PpdEdit.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "queue/PpdFile.h"
#include "renderings/StateReasons.h"
#include "supplies/Words.h"

namespace moxsupply {

namespace {

constexpr std::string_view kBegin = "*% moxsupply: supply reports begin";
constexpr std::string_view kEnd = "*% moxsupply: supply reports end";
// The file did not end its last line; the block did it.
constexpr std::string_view kEndedLine = ", after an unfinished line";
constexpr std::string_view kSetAside = "*% moxsupply set aside: ";
// A line that would be too long as a comment; its rest follows.
constexpr std::string_view kSetAsidePart = "*% moxsupply set aside in parts: ";
constexpr std::string_view kPassThrough = "*cupsFilter: \"application/vnd.cups-postscript 0 -\"";

// Each line with its line end; only the last may be without. A return alone ends a line, too.
std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = std::min(text.find_first_of("\r\n", at), text.size());
    end = std::min(end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end;
  }
  return lines;
}

std::string_view lineEndOf(std::string_view line) {
  return line.substr(std::min(line.find_first_of("\r\n"), line.size()));
}

// The keyword of a line, without the option that it may have: "*cupsFilter", "*PageSize".
std::string_view keywordOf(std::string_view line) {
  return line.substr(0, line.find_first_of(": \t"));
}

// Whether the line has this keyword. libcups takes keywords in any letters, but the filters of the
// older form as they are written.
bool hasKeyword(std::string_view line, std::string_view keyword) {
  const std::string_view found = keywordOf(line);
  if (keyword == "*cupsFilter") return found == keyword;
  return found.size() == keyword.size() &&
         ::strncasecmp(found.data(), keyword.data(), keyword.size()) == 0;
}

// Whether a value in quotes goes on in the line after this one. `isOpen`: one goes on in this line.
// Quotes count as the print server counts them: behind the keyword's colon, and not in comments.
bool leavesValueOpen(std::string_view line, bool isOpen) {
  if (!isOpen && line.starts_with("*%")) return false;
  if (!isOpen) line.remove_prefix(std::min(line.find(':'), line.size()));
  const bool hasOddQuote = std::ranges::count(line, '"') % 2 == 1;
  return isOpen != hasOddQuote;
}

bool isCommandFilter(std::string_view line) {
  return (hasKeyword(line, "*cupsFilter") || hasKeyword(line, "*cupsFilter2")) &&
         isForCommandFiles(line.substr(line.find('"') + 1));
}

// Another line of this kind would contradict the block.
bool contradicts(std::string_view line) {
  constexpr std::array<std::string_view, 9> kKeywords = {
      "*cupsCommands", "*cupsSNMPSupplies", "*moxCommandFilter", "*moxPrinterType", "*moxTimeout",
      "*moxDeadline",  "*moxAfterJobs",     "*moxLowLevel",      "*moxForget"};
  return isCommandFilter(line) ||
         std::ranges::any_of(kKeywords, [line](auto keyword) { return hasKeyword(line, keyword); });
}

bool hasLine(const std::vector<std::string>& lines, std::string_view keyword) {
  return std::ranges::any_of(
      lines, [keyword](const std::string& line) { return hasKeyword(line, keyword); });
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
  if (!hasLine(others, "*cupsFilter")) lines.emplace_back(kPassThrough);
  return lines;
}

// A line, or several of less than 255 bytes, with these words as its value.
std::string linesWith(std::string_view keyword, const std::vector<std::string>& words,
                      std::string_view lineEnd) {
  constexpr std::size_t kLongestLine = 200;
  std::string text = fmt::format("{}: \"", keyword);
  std::size_t size = text.size();
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool isFirst = i == 0;
    const bool fits = size + words[i].size() < kLongestLine;
    if (!fits) text += lineEnd;
    if (fits && !isFirst) text += ' ';
    size = words[i].size() + (fits ? size + 1 : 0);
    text += words[i];
  }
  return text + fmt::format("\"{}", lineEnd);
}

// Whether it may stand among the commands of a PPD file, of which each may have a line of its own.
bool canBeACommand(std::string_view word) {
  constexpr std::size_t kLongest = 127;
  return word.size() <= kLongest &&
         std::ranges::all_of(word, [](char c) { return c > ' ' && c <= '~' && c != '"'; });
}

bool isSame(const std::string& command, const std::string& other) {
  return ::strcasecmp(command.c_str(), other.c_str()) == 0;
}

// The commands of the queue: ours, and those that a former command filter has answered.
std::vector<std::string> commandsWith(const std::vector<std::string>& former) {
  std::vector<std::string> commands = {"ReportLevels", "ReportStatus"};
  for (const std::string& command : former) {
    const bool isThere = std::ranges::any_of(
        commands, [&command](const std::string& one) { return isSame(command, one); });
    if (!isThere && !isSame(command, "none") && canBeACommand(command)) {
      commands.push_back(command);
    }
  }
  return commands;
}

// The lines that say which commands the queue takes, and who answers those that are not ours.
std::string commandLines(const std::string& formerPpd, std::string_view lineEnd) {
  const auto former = PpdFile::fromText(formerPpd);
  const auto filter = former ? former->commandFilterLine() : std::nullopt;
  if (!filter || filter->program.ends_with(kCommandFilter)) {
    return linesWith("*cupsCommands", commandsWith({}), lineEnd);
  }
  return linesWith("*cupsCommands", commandsWith(former->commands()), lineEnd) +
         linesWith("*moxCommandFilter", {filter->text()}, lineEnd);
}

// What desktops show for a state reason.
std::string lineOf(const ReasonWords& words) {
  return fmt::format("*cupsIPPReason {}/{}: \"\"", words.reason, words.words);
}

// Other drivers have words for reasons of their own.
bool hasOurWords(std::string_view line) {
  return std::ranges::any_of(
      kReasonWords, [line](const ReasonWords& words) { return line.starts_with(lineOf(words)); });
}

// A line as a comment. The print server refuses a PPD with a line of more than 255 bytes.
std::string setAside(std::string_view line, std::string_view lineEnd) {
  constexpr std::size_t kLongestPart = 200;
  std::string comment;
  for (; line.size() - lineEndOf(line).size() > kLongestPart; line.remove_prefix(kLongestPart)) {
    comment += fmt::format("{}{}{}", kSetAsidePart, line.substr(0, kLongestPart), lineEnd);
  }
  return comment + fmt::format("{}{}", kSetAside, line);
}

// The other way round.
std::string_view takenBack(std::string_view line) {
  if (line.starts_with(kSetAside)) return line.substr(kSetAside.size());
  if (!line.starts_with(kSetAsidePart)) return line;
  line.remove_suffix(lineEndOf(line).size());
  return line.substr(kSetAsidePart.size());
}

}  // namespace

bool hasSupplyReports(const std::string& ppd) { return ppd.find(kBegin) != std::string::npos; }

bool asksAfterJobs(const std::string& ppd) {
  return hasSupplyReports(ppd) && !hasLine(linesOf(ppd), "*moxAfterJobs");
}

std::string withSupplyReports(const std::string& ppd, const PpdSettings& settings) {
  const std::string former = withoutSupplyReports(ppd);
  const std::vector<std::string> lines = linesOf(former);
  const bool isUnfinished = !lines.empty() && lineEndOf(lines.back()).empty();
  std::string_view lineEnd = lines.empty() ? "" : lineEndOf(lines.front());
  if (lineEnd.empty()) lineEnd = "\n";

  std::string text;
  bool isOpen = false;  // a value in quotes goes on in this line
  bool isSetAside = false;
  std::vector<std::string> others;
  for (const std::string& line : lines) {
    if (!isOpen) {
      isSetAside = contradicts(line);
      if (!isSetAside) others.push_back(line);
    }
    isOpen = leavesValueOpen(line, isOpen);
    text += isSetAside ? setAside(line, lineEnd) : line;
  }

  if (isUnfinished) text += lineEnd;
  text += fmt::format("{}{}{}", kBegin, isUnfinished ? kEndedLine : "", lineEnd);
  for (const std::string& line : filterLines(others)) text += fmt::format("{}{}", line, lineEnd);
  text += commandLines(former, lineEnd);
  text += fmt::format(
      "*cupsSNMPSupplies: False{0}"
      "*moxPrinterType: \"{1}\"{0}"
      "*moxTimeout: \"{2}\"{0}"
      "*moxDeadline: \"{3}\"{0}",
      lineEnd, wordOf(settings.kind), settings.timeout, settings.deadline);
  for (const ReasonWords& words : kReasonWords) text += fmt::format("{}{}", lineOf(words), lineEnd);
  if (settings.lowLevel != kLowLevel) {
    text += fmt::format("*moxLowLevel: \"{}\"{}", settings.lowLevel, lineEnd);
  }
  if (!settings.afterJobs) text += fmt::format("*moxAfterJobs: \"False\"{}", lineEnd);
  text += fmt::format("{}{}", kEnd, lineEnd);
  return text;
}

std::string withNoSupplyReports(const std::string& ppd, std::size_t levels) {
  std::string text = withSupplyReports(ppd, {});
  const std::size_t end = text.rfind(kEnd);
  const std::string lineEnd(lineEndOf(std::string_view(text).substr(end)));
  return text.insert(end, fmt::format("*moxForget: \"{}\"{}", levels, lineEnd));
}

std::string withoutSupplyReports(const std::string& ppd) {
  std::string text;
  bool isInBlock = false;
  bool isOpen = false;  // a value in quotes goes on in this line of the block
  bool isOurs = false;
  std::string_view addedLineEnd;  // of a line that was the last, and unfinished
  std::size_t sizeWithIt = 0;
  const std::vector<std::string> lines = linesOf(ppd);
  for (const std::string& line : lines) {
    if (line.starts_with(kBegin)) {
      isInBlock = true;
      isOpen = false;
      const bool endedLine = line.find(kEndedLine) != std::string::npos;
      addedLineEnd = endedLine ? lineEndOf(line) : "";
      sizeWithIt = text.size();
    } else if (line.starts_with(kEnd)) {
      isInBlock = false;
    } else if (!isInBlock) {
      text += takenBack(line);
    } else {
      if (!isOpen)
        isOurs = contradicts(line) || line.starts_with(kPassThrough) || hasOurWords(line);
      isOpen = leavesValueOpen(line, isOpen);
      if (!isOurs) text += takenBack(line);  // others have put it into the block
    }
  }
  const bool isStillLast = text.size() == sizeWithIt && text.ends_with(addedLineEnd);
  if (isStillLast) text.erase(text.size() - addedLineEnd.size());
  return text;
}

}  // namespace moxsupply
