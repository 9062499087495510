#include "tests/support/Golden.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tests/support/DictionaryJson.h"
#include "tests/support/Hex.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {

namespace {

struct KindName {
  std::string_view name;
  Golden::Kind kind;
};

constexpr std::array<KindName, 6> kKinds = {{
    {"laser", Golden::Kind::kLaser},
    {"inkjet", Golden::Kind::kInkjet},
    {"supplies-table", Golden::Kind::kSuppliesTable},
    {"kelvo-1", Golden::Kind::kKelvo1},
    {"kelvo-2", Golden::Kind::kKelvo2},
    {"kelvo-3", Golden::Kind::kKelvo3},
}};

constexpr std::array<std::string_view, 4> kTransports = {"usb", "socket", "mdns", "dnssd"};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r";
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

// Goes through the file line by line: the story, the facts, the sections.
class GoldenReader {
 public:
  GoldenReader(const std::string& name, std::string_view text) : mText(text) {
    mGolden.name = name;
  }

  Golden read() {
    while (nextLine()) {
      if (const std::string_view title = titleOfSection(); !title.empty()) {
        if (!mKindIsKnown) refuse("a kind must be given before the first section");
        beginSection(title);
      } else if (mSection.empty()) {
        readFact();
      } else if (mSection == "decoded" || mSection == "report") {
        mJson += mLine;
        mJson += '\n';
      } else {
        readBytes();
      }
    }
    endSection();
    judgeWhole();
    return std::move(mGolden);
  }

 private:
  [[noreturn]] void refuseAt(std::size_t line, const std::string& why) const {
    throw BrokenGolden(mGolden.name + ".golden:" + std::to_string(line) + ": " + why);
  }
  [[noreturn]] void refuse(const std::string& why) const { refuseAt(mLineNumber, why); }

  bool nextLine() {
    if (mText.empty()) return false;
    const std::size_t end = std::min(mText.find('\n'), mText.size());
    mLine = mText.substr(0, end);
    mText.remove_prefix(std::min(end + 1, mText.size()));
    ++mLineNumber;
    return true;
  }

  // "reply" for "-- reply --"; empty for any other line.
  [[nodiscard]] std::string_view titleOfSection() const {
    const std::string_view line = trimmed(mLine);
    if (line.size() < 7 || !line.starts_with("-- ") || !line.ends_with(" --")) return {};
    return trimmed(line.substr(3, line.size() - 6));
  }

  void readFact() {
    const std::string_view line = trimmed(mLine);
    if (line.empty()) return;
    if (line.starts_with('#')) {
      mHasStory = mHasStory || !trimmed(line.substr(1)).empty();
      return;
    }
    if (!mHasStory) refuse("a file begins with its story, in lines that begin with #");
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) refuse("expected NAME: VALUE or a section");
    setFact(trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
  }

  void setFact(std::string_view fact, std::string_view value) {
    if (fact == "kind") {
      const auto* known = std::ranges::find(kKinds, value, &KindName::name);
      if (known == kKinds.end()) refuse("no kind \"" + std::string(value) + '"');
      mGolden.kind = known->kind;
      mKindIsKnown = true;
    } else if (fact == "transport") {
      if (std::ranges::find(kTransports, value) == kTransports.end()) {
        refuse("no transport \"" + std::string(value) + '"');
      }
      mGolden.transport = value;
    } else if (fact == "repeats") {
      if (value != "yes") refuse("repeats: yes, or nothing");
      mGolden.repeatsKeys = true;
    } else {
      refuse("no fact \"" + std::string(fact) + '"');
    }
  }

  void beginSection(std::string_view title) {
    endSection();
    mSection = title;
    mSectionLine = mLineNumber;
    if (mGolden.report) refuse("nothing follows the report");
    if (title == "request") return addStep(Golden::What::kRequest, mGolden.isExchange());
    if (title == "reply") return addStep(Golden::What::kReply, mGolden.isExchange());
    if (title == "record") {
      return addStep(Golden::What::kRecord, !mGolden.isExchange() && mGolden.steps.empty());
    }
    if (title == "packet") {
      if (!lastStepIs(Golden::What::kReply)) refuse("a packet follows a reply or a packet");
      mGolden.steps.back().packets.emplace_back();
      return;
    }
    if (title == "decoded") {
      if (mGolden.steps.empty() || lastStepIs(Golden::What::kRequest)) {
        refuse("decoded follows a reply or a record");
      }
      return;
    }
    if (title == "report") {
      if (!mGolden.isExchange()) refuse("a record has no report");
      return;
    }
    refuse("no section \"" + std::string(title) + '"');
  }

  void addStep(Golden::What what, bool fits) {
    if (!fits) refuse("this section does not fit here");
    mGolden.steps.push_back({what, {Bytes()}, std::nullopt});
  }

  [[nodiscard]] bool lastStepIs(Golden::What what) const {
    return !mGolden.steps.empty() && mGolden.steps.back().what == what &&
           !mGolden.steps.back().decoded;
  }

  void readBytes() {
    Bytes& bytes = mGolden.steps.back().packets.back();
    std::string_view rest = trimmed(mLine);
    while (!rest.empty() && rest[0] != '#') {
      if (rest[0] == '"') {
        const std::size_t end = rest.find('"', 1);
        if (end == std::string_view::npos) refuse("a text without its second quote");
        const Bytes text = bytesOf(rest.substr(1, end - 1));
        bytes.insert(bytes.end(), text.begin(), text.end());
        rest = trimmed(rest.substr(end + 1));
        continue;
      }
      const std::string_view pair = rest.substr(0, 2);
      const bool isPair = pair.size() == 2 && std::ranges::all_of(pair, [](unsigned char digit) {
                            return std::isxdigit(digit) != 0;
                          });
      if (!isPair) refuse("neither a pair of hex digits nor a text: " + std::string(rest));
      const Bytes byte = hex(pair);
      bytes.push_back(byte[0]);
      rest = trimmed(rest.substr(2));
    }
  }

  void endSection() {
    if (mSection == "decoded") mGolden.steps.back().decoded = takeJson().dump(2);
    if (mSection == "report") mGolden.report = takeReport();
    const bool holdsBytes = !mSection.empty() && mSection != "decoded" && mSection != "report";
    if (holdsBytes && mGolden.steps.back().packets.back().empty()) {
      refuseAt(mSectionLine, "no bytes");
    }
  }

  Json takeJson() {
    try {
      Json parsed = Json::parse(mJson);
      mJson.clear();
      return parsed;
    } catch (const Json::parse_error& error) {
      // The byte at which it stopped is counted from 1.
      const std::size_t read = std::min(error.byte == 0 ? 0 : error.byte - 1, mJson.size());
      const auto lines = std::ranges::count(mJson.substr(0, read), '\n');
      refuseAt(mSectionLine + 1 + static_cast<std::size_t>(lines), error.what());
    }
  }

  std::string takeReport() {
    const Json report = takeJson();
    const bool hasBoth = report.is_object() && report.size() == 2 && report.contains("status") &&
                         report.contains("report");
    if (!hasBoth) refuse(kNoReport);
    return report.dump(2);
  }

  void judgeWhole() const {
    if (!mKindIsKnown) refuse("no kind");
    if (mGolden.steps.empty()) refuse("no bytes");
    if (!mGolden.isExchange() && !mGolden.steps.back().decoded) refuse("what is it decoded to?");
    if (mGolden.isExchange() && !mGolden.report) refuse(kNoReport);
  }

  static constexpr const char* kNoReport =
      R"(an exchange ends with {"status": N, "report": {...}})";

  Golden mGolden;
  std::string_view mText;  // what is not read yet
  std::string_view mLine;
  std::size_t mLineNumber = 0;
  bool mHasStory = false;
  bool mKindIsKnown = false;
  std::string mSection;  // the title of the section that is being read
  std::size_t mSectionLine = 0;
  std::string mJson;
};

const std::filesystem::path& dataFolder() {
  static const std::filesystem::path folder = MOXSUPPLY_TEST_DATA;
  return folder;
}

}  // namespace

Bytes Golden::all(What what) const {
  std::vector<Bytes> all;
  for (const Step& step : steps) {
    if (step.what == what) all.push_back(step.bytes());
  }
  return joined(all);
}

Bytes Golden::Step::bytes() const { return joined(packets); }

Golden parseGolden(const std::string& name, std::string_view text) {
  return GoldenReader(name, text).read();
}

Golden readGolden(const std::string& name) {
  std::ifstream file(dataFolder() / (name + ".golden"));
  if (!file) throw BrokenGolden(name + ".golden:0: cannot be read");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  return parseGolden(name, text);
}

std::vector<std::string> goldenNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dataFolder())) {
    if (entry.path().extension() == ".golden") names.push_back(entry.path().stem());
  }
  std::ranges::sort(names);
  return names;
}

std::vector<std::string> exchangeNames() {
  std::vector<std::string> names = goldenNames();
  // By the kind alone: each process that lists its tests asks for this, and reading takes its time.
  std::erase_if(names, [](const std::string& name) {
    const std::string text = contentOf(dataFolder() / (name + ".golden"));
    return std::ranges::any_of(kKinds, [&](const KindName& kind) {
      return !Golden::isOfExchange(kind.kind) &&
             text.find("\nkind: " + std::string(kind.name) + '\n') != std::string::npos;
    });
  });
  return names;
}

}  // namespace moxsupply::testing
