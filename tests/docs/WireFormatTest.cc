// docs/wire-format.md says what is so: its examples are the bytes of golden files, the tests that
// it names exist, and its lists of what to change name what must be changed.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "front/CartridgeCodes.h"
#include "front/InkjetLevels.h"
#include "npa/CPDTriplet.h"
#include "simulator/InkjetItems.h"
#include "tests/support/Golden.h"
#include "tests/support/Hex.h"
#include "tests/support/Run.h"

namespace moxsupply::testing {
namespace {

using Path = std::filesystem::path;
using Names = std::set<std::string>;

std::string textOf(const Path& file) {
  std::ifstream stream(file);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  EXPECT_TRUE(stream) << file;
  return text;
}

const std::string& page() {
  static const std::string text = textOf(Path(MOXSUPPLY_SOURCES) / "docs/wire-format.md");
  return text;
}

// From a heading to the next one.
std::string section(const std::string& heading) {
  const std::size_t begin = page().find(heading + '\n');
  EXPECT_NE(begin, std::string::npos) << heading;
  return page().substr(begin, page().find("\n#", begin) - begin);
}

// What the first group of a pattern matches, wherever the pattern is found.
std::vector<std::string> allMatches(const std::string& text, const char* pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
       ++match) {
    found.push_back((*match)[1]);
  }
  return found;
}

// ---- Examples

// A line of an example: where the bytes stand in the reply, in some where they stand in the record
// as well, the bytes, and what they mean.
const std::regex& exampleLine() {
  static const std::regex line(
      R"( +(\d+)(?: +(\d+))? {2,}((?:[0-9A-F]{2} )*[0-9A-F]{2})(?:  .*)?)");
  return line;
}

struct Example {
  std::string golden;
  bool isSecondReply;
  std::size_t size;  // that the page tells
  std::string text;
};

std::vector<Example> examples() {
  const std::regex title(
      R"(\n`tests/data/([a-z0-9-]+)\.golden`, (?:the (first|second) reply, )?(\d+) bytes)");
  std::vector<Example> found;
  for (std::sregex_iterator match(page().begin(), page().end(), title), end; match != end;
       ++match) {
    const auto begin = static_cast<std::size_t>(match->position(0)) + 1;
    found.push_back({(*match)[1], (*match)[2] == "second", std::stoul((*match)[3]),
                     page().substr(begin, page().find("\n#", begin) - begin)});
  }
  return found;
}

Bytes replyOf(const Example& example) {
  std::vector<Bytes> replies;
  for (const Golden::Step& step : readGolden(example.golden).steps) {
    if (step.what == Golden::What::kReply) replies.push_back(step.bytes());
  }
  return replies.at(example.isSecondReply ? 1 : 0);
}

TEST(WireFormatPage, QuotesTheBytesOfGoldenFiles) {
  EXPECT_EQ(examples().size(), allMatches(page(), "\n### (Example): ").size());
  for (const Example& example : examples()) {
    SCOPED_TRACE(example.golden);
    Bytes quoted;
    std::set<std::size_t> distances;  // from the reply's beginning to the record's
    std::istringstream lines(example.text);
    for (std::string line; std::getline(lines, line);) {
      std::smatch match;
      if (!std::regex_match(line, match, exampleLine())) continue;
      EXPECT_EQ(std::stoul(match[1]), quoted.size()) << line;
      if (match[2].matched) distances.insert(std::stoul(match[1]) - std::stoul(match[2]));
      const Bytes bytes = hex(match[3].str());
      quoted.insert(quoted.end(), bytes.begin(), bytes.end());
    }
    EXPECT_EQ(hexText(quoted), hexText(replyOf(example)));
    EXPECT_EQ(quoted.size(), example.size);
    EXPECT_LE(distances.size(), 1U);
  }
}

// ---- Tests

// As the programs list them: a suite on a line of its own, then each of its tests.
const Names& testNames() {
  static const Names names = [] {
    Names found;
    for (const auto& entry : std::filesystem::directory_iterator(MOXSUPPLY_TESTS)) {
      const std::string program = entry.path().string();
      if (!program.ends_with("-tests") || !entry.is_regular_file()) continue;
      std::istringstream lines(run({program, "--gtest_list_tests"}).output);
      std::string suite;
      for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(0, line.find("  # "));
        if (name.starts_with("  ")) {
          found.insert(suite + name.substr(2));
        } else {
          suite = name;
        }
      }
    }
    return found;
  }();
  return names;
}

// A name that ends in a slash has cases.
bool isTest(const std::string& name) {
  const auto found = testNames().lower_bound(name);
  if (found == testNames().end()) return false;
  return name.ends_with('/') ? found->starts_with(name) : *found == name;
}

TEST(WireFormatPage, NamesTestsThatExist) {
  const auto named = allMatches(page(), R"(((?:\w+/)?[A-Z]\w+\.[A-Z][a-z]\w+(?:/\w*)?))");
  EXPECT_GT(named.size(), 50U);
  for (const std::string& name : named) EXPECT_TRUE(isTest(name)) << name;
}

// ---- Codes

// Two hex digits may mean anything on a page of bytes; here they are the codes, and no others.
TEST(WireFormatPage, HasTheCartridgeCodes) {
  const std::size_t begin = page().find("whose code is not among these");
  ASSERT_NE(begin, std::string::npos);
  const std::size_t codes = page().find("\n\n", begin) + 2;
  std::string known;
  for (const CartridgeCode& row : kCartridgeCodes) known += fmt::format("{:02X} ", row.code);
  EXPECT_EQ(hexText(hex(page().substr(codes, page().find("\n\n", codes) - codes))) + ' ', known);
  EXPECT_EQ(allMatches(page(), "whose code is not among these ([0-9]+)"),
            std::vector{std::to_string(kCartridgeCodes.size())});
}

// ---- What to change

// The sources and pages, by their paths in the project.
const std::map<std::string, std::string>& sources() {
  static const std::map<std::string, std::string> texts = [] {
    const Names kinds = {".cc", ".h", ".md", ".symbols"};
    std::map<std::string, std::string> found;
    std::filesystem::recursive_directory_iterator entry(MOXSUPPLY_SOURCES);
    for (; entry != std::filesystem::recursive_directory_iterator(); ++entry) {
      const std::string name = entry->path().filename();
      const bool isOurs = !name.starts_with('.') && !name.starts_with("build");
      if (entry->is_directory() && !isOurs) entry.disable_recursion_pending();
      if (!entry->is_regular_file() || !kinds.contains(entry->path().extension())) continue;
      found.emplace(std::filesystem::relative(entry->path(), MOXSUPPLY_SOURCES),
                    textOf(entry->path()));
    }
    return found;
  }();
  return texts;
}

// Whether one of the spellings stands in the text as a word of its own.
using Spellings = std::vector<std::string>;
bool mentions(const std::string& text, const Spellings& spellings) {
  const auto isPartOfWord = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
  };
  return std::ranges::any_of(spellings, [&](const std::string& word) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
      const std::size_t end = at + word.size();
      const bool begins = at == 0 || !isPartOfWord(text[at - 1]);
      if (begins && (end == text.size() || !isPartOfWord(text[end]))) return true;
    }
    return false;
  });
}

// Whoever names all that there are of something must name the next one too.
using Siblings = std::vector<Spellings>;
Names filesThatNameAll(const Siblings& siblings) {
  Names files;
  for (const auto& source : sources()) {
    const auto isNamed = [&](const Spellings& each) { return mentions(source.second, each); };
    if (std::ranges::all_of(siblings, isNamed)) files.insert(source.first);
  }
  files.erase("tests/docs/WireFormatTest.cc");
  EXPECT_FALSE(files.empty()) << siblings.front().front();
  return files;
}

// The files that a list names; the page itself as well.
Names filesNamedIn(const std::string& list) {
  Names files;
  for (const std::string& name : allMatches(list, R"(`([\w-]+(?:/[\w.-]+)+)`)")) {
    if (name.find("NAME") == std::string::npos) files.insert(name);
  }
  if (list.find("is page") != std::string::npos) files.insert("docs/wire-format.md");
  return files;
}

void expectList(const std::string& heading, const std::vector<Siblings>& groups) {
  SCOPED_TRACE(heading);
  Names needed;
  for (const Siblings& siblings : groups) needed.merge(filesThatNameAll(siblings));
  const Names named = filesNamedIn(section(heading));
  for (const std::string& file : needed) {
    EXPECT_TRUE(named.contains(file))
        << file << " names all that there are, and is not in the list";
  }
  for (const std::string& file : named) {
    EXPECT_TRUE(needed.contains(file)) << file << " is in the list, and names none, or not all";
  }
}

Siblings words(const std::vector<std::string>& each) {
  Siblings siblings;
  for (const std::string& word : each) siblings.push_back({word});
  return siblings;
}

TEST(WireFormatPage, ListsWhatChangesWithARecordType) {
  expectList("### A model-family record of type 4",
             {words({"parseKelvoS", "parseKelvoSC", "parseKelvoColor"}),
              words({"kSingleSupply", "kPageCounts", "kDotCounts"}),
              words({"SingleSupplyRecord", "PagesRecord", "DotsRecord"}),
              words({"promiseKelvoS", "promiseKelvoSC", "promiseKelvoColor"}),
              words({"pageLevels", "pageCounts", "dotCounts"}),
              words({"kKelvo1", "kKelvo2", "kKelvo3"}),
              words({"kelvo-1", "kelvo-2", "kelvo-3"}),
              {{"type 1", "Type 1"}, {"type 2", "Type 2"}, {"type 3", "Type 3"}}});
}

TEST(WireFormatPage, ListsWhatChangesWithACartridgeCode) {
  Siblings codes;
  Siblings codesWithAStatus = {{"Cartridge", "cartridges", "Cartridges"}};
  for (const CartridgeCode& known : kCartridgeCodes) {
    codes.push_back({fmt::format("{:02X}", known.code), fmt::format("0x{:02X}", known.code)});
    if (known.status != "Correct") codesWithAStatus.push_back({codes.back().back()});
  }
  expectList("### A cartridge code of inkjet printers", {codes, codesWithAStatus});
}

TEST(WireFormatPage, ListsWhatChangesWithAnItem) {
  Siblings ids;
  Siblings keys;
  for (const CPDTripletRow& row : CPDTriplet) {
    if (row.key == nullptr) break;
    ids.push_back({fmt::format("{:04X}", row.itemId), fmt::format("0x{:04X}", row.itemId)});
    keys.push_back({row.key});
  }
  Siblings wordsOfModels;
  for (const auto& row : simulator::kInkjetItems) {
    wordsOfModels.push_back({std::string(row.group)});
    if (!row.name.empty()) wordsOfModels.push_back({std::string(row.name)});
  }
  Siblings levels;
  for (const InkLevel* level : {&kThreeColorInk, &kBlackInk}) {
    for (const Key& ink : level->inks) levels.push_back({ink.text()});
    for (const Key& ink : level->photoInks) levels.push_back({ink.text()});
  }
  for (const DotLevel* level : {&kColorLevel, &kPhotoLevel, &kBlackLevel}) {
    for (const Key& count : level->counts) levels.push_back({count.text()});
    levels.push_back({level->capacity.text()});
  }
  const std::string rows = std::to_string(CPDTriplet.size());
  expectList("### An item of inkjet printers",
             {ids, keys, wordsOfModels, levels, {{"CPDTriplet"}, {rows, rows + "U"}}});
}

}  // namespace
}  // namespace moxsupply::testing
