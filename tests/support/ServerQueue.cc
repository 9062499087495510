#include "tests/support/ServerQueue.h"

#include <cups/cups.h>
#include <cups/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "system/FileDescriptor.h"

namespace moxsupply::testing {

namespace {

// A line that is longer is cut here, and its tail taken for a line of its own.
constexpr std::size_t kLongestLine = 2047;
// So is the value of an attribute when it is saved, but its tail is lost.
constexpr std::size_t kLongestSavedValue = 2047;

constexpr std::array<std::string_view, 7> kAttributes = {
    "marker-names",      "marker-types",       "marker-colors", "marker-levels",
    "marker-low-levels", "marker-high-levels", "marker-message"};

std::string joinedWithCommas(const std::vector<std::string>& values) {
  std::string text;
  for (std::size_t i = 0; i < values.size(); ++i) text += (i == 0 ? "" : ",") + values[i];
  return text;
}

// Commas separate values. A backslash takes the character after it as it is, but not between
// quotes. What stands between a value's second quote and the next comma is lost.
std::vector<std::string> valuesIn(std::string_view text) {
  std::vector<std::string> values(1);
  char quote = '\0';
  bool isOver = false;  // the value
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isEscaped = quote == '\0' && text[i] == '\\' && i + 1 < text.size();
    const char c = isEscaped ? text[++i] : text[i];
    if (quote != '\0' && c == quote) {
      quote = '\0';
      isOver = true;
    } else if (quote == '\0' && !isEscaped && (c == '\'' || c == '"')) {
      quote = c;
    } else if (quote == '\0' && !isEscaped && c == ',') {
      values.emplace_back();
      isOver = false;
    } else if (!isOver) {
      values.back() += c;
    }
  }
  return values;
}

ServerQueue::Message messageOf(std::string_view line) {
  for (const char* kind :
       {"ATTR", "STATE", "ERROR", "WARNING", "INFO", "PAGE", "JOBSTATE", "PPD"}) {
    const std::string prefix = std::string(kind) + ':';
    if (!line.starts_with(prefix)) continue;
    line.remove_prefix(std::min(line.find_first_not_of(' ', prefix.size()), line.size()));
    return {kind, std::string(line)};
  }
  return {"DEBUG", std::string(line)};
}

struct CloseFile {
  void operator()(cups_file_t* file) const { cupsFileClose(file); }
};
using File = std::unique_ptr<cups_file_t, CloseFile>;

}  // namespace

void ServerQueue::hear(std::string_view standardError) {
  mMessages.clear();
  while (!standardError.empty()) {
    const std::size_t end =
        std::min({standardError.find('\n'), kLongestLine, standardError.size()});
    mMessages.push_back(messageOf(standardError.substr(0, end)));
    const bool hasNewline = end < standardError.size() && standardError[end] == '\n';
    standardError.remove_prefix(end + (hasNewline ? 1 : 0));

    const Message& message = mMessages.back();
    if (message.kind == "ATTR") setAttributes(message.text);
    if (message.kind == "STATE") setReasons(message.text);
  }
}

void ServerQueue::setAttributes(const std::string& options) {
  cups_option_t* parsed = nullptr;
  const int count = cupsParseOptions(options.c_str(), 0, &parsed);
  for (const std::string_view name : kAttributes) {
    const char* value = cupsGetOption(std::string(name).c_str(), count, parsed);
    if (value == nullptr || (*value == '\0' && name != "marker-message")) continue;
    mAttributes[std::string(name)] = valuesIn(value);
  }
  cupsFreeOptions(count, parsed);
}

// "+" adds, "-" removes, and without either the reasons take the place of all others.
void ServerQueue::setReasons(std::string_view text) {
  const bool adds = text.starts_with('+');
  const bool removes = text.starts_with('-');
  if (adds || removes) text.remove_prefix(1);
  if (!adds && !removes) mReasons.clear();
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(", "), text.size());
    const std::string reason(text.substr(0, end));
    if (removes) {
      mReasons.erase(reason);
    } else if (!reason.empty()) {
      mReasons.insert(reason);
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void ServerQueue::restart() {
  const FileDescriptor memory(::memfd_create("printers.conf", MFD_CLOEXEC));
  {
    const File file(cupsFileOpenFd(::dup(memory.get()), "w"));
    for (const auto& [name, values] : mAttributes) {
      const std::string saved = name + ' ' + joinedWithCommas(values);
      cupsFilePutConf(file.get(), "Attribute", saved.substr(0, kLongestSavedValue).c_str());
    }
  }
  mAttributes.clear();
  ::lseek(memory.get(), 0, SEEK_SET);
  const File file(cupsFileOpenFd(::dup(memory.get()), "r"));
  std::array<char, 4096> line{};
  char* value = nullptr;
  int lineNumber = 0;
  while (cupsFileGetConf(file.get(), line.data(), line.size(), &value, &lineNumber) != nullptr) {
    const std::string_view text(value == nullptr ? "" : value);
    const std::size_t blank = std::min(text.find(' '), text.size());
    const std::size_t start = std::min(text.find_first_not_of(' ', blank), text.size());
    mAttributes[std::string(text.substr(0, blank))] = valuesIn(text.substr(start));
  }
}

std::vector<std::string> ServerQueue::values(const std::string& name) const {
  const auto found = mAttributes.find(name);
  return found == mAttributes.end() ? std::vector<std::string>() : found->second;
}

std::vector<int> ServerQueue::numbers(const std::string& name) const {
  std::vector<int> numbers;
  for (const std::string& value : values(name)) numbers.push_back(std::atoi(value.c_str()));
  return numbers;
}

std::string ServerQueue::message() const { return joinedWithCommas(values("marker-message")); }

std::vector<std::string> ServerQueue::messages(std::string_view kind) const {
  std::vector<std::string> texts;
  for (const Message& message : mMessages) {
    if (message.kind == kind) texts.push_back(message.text);
  }
  return texts;
}

}  // namespace moxsupply::testing
