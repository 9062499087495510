#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/support/Run.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

// What the programs say in other languages, from outside: the catalogs' sources, and the built
// program in real locales.

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using Environment = std::vector<std::string>;  // NAME=VALUE; an empty value counts as none
using Texts = std::vector<std::string>;

const fs::path kProgram = MOXSUPPLY_PROGRAM;
const fs::path kModule = MOXSUPPLY_MODULE;
const fs::path kSources = MOXSUPPLY_SOURCES;
const fs::path kLocales = TEST_LOCALES;

// Of a catalog's source.
struct Entry {
  std::string references;
  Texts originals;     // two, where it depends on a number
  Texts translations;  // as many as the language has forms of it
};

std::vector<fs::path> catalogSources() {
  std::vector<fs::path> found;
  for (const auto& file : fs::directory_iterator(kSources / "messages")) {
    if (file.path().extension() == ".po") found.push_back(file.path());
  }
  return found;
}

// Its entries but the header.
std::vector<Entry> entriesOf(const fs::path& source) {
  std::vector<Entry> entries(1);
  std::istringstream lines(run({"msgcat", "--no-wrap", source}).output);
  std::string* text = nullptr;
  for (std::string line; std::getline(lines, line);) {
    Entry& entry = entries.back();
    const auto quote = line.find('"');
    if (line.empty()) {
      entries.emplace_back();
    } else if (line.starts_with("#:")) {
      entry.references += line;
    } else if (line.starts_with("msgid")) {
      text = &entry.originals.emplace_back();
    } else if (line.starts_with("msgstr")) {
      text = &entry.translations.emplace_back();
    }
    if (text != nullptr && !line.starts_with('#') && quote != std::string::npos) {
      text->append(line, quote + 1, line.size() - quote - 2);
    }
  }
  entries.erase(entries.begin());
  return entries;
}

// The placeholders of a message, with the numbers that they have or are given.
std::multiset<std::string> placeholdersOf(const std::string& message) {
  static const std::regex kPlaceholder(R"(\{(\d*)([^}]*)\})");
  std::multiset<std::string> found;
  for (std::sregex_iterator at(message.begin(), message.end(), kPlaceholder), end; at != end;
       ++at) {
    const std::string number = (*at)[1].str();
    found.insert((number.empty() ? std::to_string(found.size()) : number) + (*at)[2].str());
  }
  return found;
}

// The variables that choose a locale of those that were made for the tests. `languages`: LANGUAGE.
Environment in(const std::string& locale, const std::string& languages = "") {
  EXPECT_TRUE(fs::is_directory(kLocales / locale)) << locale << " was not made";
  return {"LC_ALL=" + locale, "LANGUAGE=" + languages, "LOCPATH=" + kLocales.string(),
          "LSAN_OPTIONS=print_suppressions=0:suppressions=" LEAKS};
}

Ran moxsupply(const Environment& environment, std::vector<std::string> arguments,
              const fs::path& program = kProgram) {
  arguments.insert(arguments.begin(), program);
  return run(arguments, environment);
}

const SimulatedPrinter& faultyCartridges() {
  static const SimulatedPrinter kPrinter("inkjet-lantern-cartridge-faults");
  return kPrinter;
}

Ran levels(const Environment& environment, const fs::path& program = kProgram) {
  return moxsupply(environment, {"levels", faultyCartridges().uri(), "--type", "inkjet"}, program);
}

TEST(Messages, AreThereInFourLanguages) {
  Texts languages;
  for (const fs::path& source : catalogSources()) languages.push_back(source.stem());
  for (const char* language : {"de", "es", "fr", "ja"}) {
    EXPECT_THAT(languages, Contains(language));
  }
}

// msgcmp names what is untranslated, fuzzy, or not in the sources any more.
TEST(Messages, AreAllTranslated) {
  const TemporaryFolder folder;
  const fs::path messages = folder.path() / "messages.pot";
  ASSERT_EQ(run({kSources / "script/messages", "--template", messages}).exitStatus, 0);
  EXPECT_THAT(contentOf(messages), HasSubstr("msgid \"wrong cartridge\"\n"));
  for (const fs::path& source : catalogSources()) {
    SCOPED_TRACE(source);
    const Ran compared = run({"msgcmp", source, messages});
    EXPECT_EQ(compared.exitStatus, 0);
    EXPECT_EQ(compared.errors, "");
    EXPECT_EQ(run({"msgattrib", "--only-obsolete", source}).output, "");
    EXPECT_EQ(run({"msgfmt", "--check", "--output-file=/dev/null", source}).errors, "");
    EXPECT_THAT(contentOf(source),
                HasSubstr(fmt::format("\"Language: {}\\n\"", source.stem().string())));
  }
}

TEST(Messages, KeepTheirPlaceholders) {
  EXPECT_EQ(placeholdersOf("{} of {}"), placeholdersOf("{1}/{0}"));
  EXPECT_NE(placeholdersOf("{} of {}"), placeholdersOf("{}"));
  for (const fs::path& source : catalogSources()) {
    SCOPED_TRACE(source);
    const auto entries = entriesOf(source);
    EXPECT_GT(entries.size(), 100);
    for (const Entry& entry : entries) {
      ASSERT_FALSE(entry.originals.empty());
      for (const std::string& translation : entry.translations) {
        EXPECT_EQ(placeholdersOf(translation), placeholdersOf(entry.originals.back()))
            << translation;
      }
    }
  }
}

// What goes to the print server: it keeps no commas in a message.
TEST(Messages, HaveNoCommasForThePrintServer) {
  const auto isSentence = [](const std::string& text) {
    return text.ends_with('.') || text.ends_with('?');
  };
  for (const fs::path& source : catalogSources()) {
    SCOPED_TRACE(source);
    int looked = 0;
    for (const Entry& entry : entriesOf(source)) {
      const bool isOutcome = entry.references.find("supplies/Outcome.h") != std::string::npos &&
                             !isSentence(entry.originals.front());
      const bool isOfStatus =
          entry.references.find("renderings/MarkerAttributes") != std::string::npos;
      if (!isOutcome && !isOfStatus) continue;
      ++looked;
      EXPECT_EQ(entry.translations.front().find(','), std::string::npos)
          << entry.translations.front();
    }
    EXPECT_GE(looked, 13);
  }
}

struct Language {
  std::string locale;
  Texts inLevels;
  std::string refusal;
};

class MessagesIn : public ::testing::TestWithParam<Language> {};

TEST_P(MessagesIn, TheTableOfLevels) {
  const Ran ran = levels(in(GetParam().locale));
  EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  for (const std::string& text : GetParam().inLevels) EXPECT_THAT(ran.output, HasSubstr(text));
  for (const char* english : {"SUPPLY", "STATUS\n\n", "missing", "wrong cartridge", "supplies"}) {
    EXPECT_THAT(ran.output, Not(HasSubstr(english)));
  }
}

TEST_P(MessagesIn, WhyThereAreNoLevels) {
  const ReservedPort closed;
  const Ran ran = moxsupply(in(GetParam().locale), {"levels", "socket://" + closed.address()});
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_THAT(ran.errors, StartsWith("moxsupply levels: "));
  EXPECT_THAT(ran.errors, HasSubstr(GetParam().refusal));
  EXPECT_THAT(ran.errors, Not(HasSubstr("cannot connect")));
}

INSTANTIATE_TEST_SUITE_P(
    Languages, MessagesIn,
    ::testing::Values(
        Language{
            "de_DE.UTF-8",
            {"Tintenstrahldrucker, Druckkopf Lantern, 4 Verbrauchsmaterialien",
             "FARBE    FÜLLSTAND", "keine Patrone", "fehlt", "hier ungültig", "falsche Patrone"},
            "Ist es die Adresse des Druckers, und ist Raw-Druck (Port 9100) eingeschaltet?"},
        Language{"fr_FR.UTF-8",
                 {"Imprimante à jet d'encre, tête d'impression Lantern, 4 consommables",
                  "COULEUR  NIVEAU", "pas de cartouche", "absent", "mauvaise cartouche"},
                 "l'impression brute (port 9100) est-elle activée"},
        Language{"es_ES.UTF-8",
                 {"Impresora de inyección de tinta, cabezal Lantern, 4 consumibles",
                  "COLOR     NIVEL", "sin cartucho", "falta", "cartucho equivocado"},
                 "¿es la dirección de la impresora"},
        Language{"ja_JP.UTF-8",
                 {"インクジェットプリンター、プリントヘッド Lantern、消耗品4個", "色        残量",
                  "カートリッジなし", "未装着", "非対応カートリッジ"},
                 "RAW印刷(ポート9100)"}),
    [](const auto& test) { return test.param.locale.substr(0, 2); });

// A letter of Japanese takes two columns of a terminal.
TEST(Messages, StandInColumns) {
  const Ran ran = levels(in("ja_JP.UTF-8"));
  EXPECT_THAT(ran.output,
              HasSubstr("消耗品                色        残量                        状態\n"
                        "シアンカートリッジ    シアン    カートリッジなし            未装着\n"
                        "ブラックカートリッジ  ブラック  █████░░░░░░░░░░░░░░░  25 %  使用不可\n"));
}

TEST(Messages, AreInEnglishWhereNobodyAskedForALanguage) {
  const std::string english = levels({"LC_ALL=C.UTF-8", "LANGUAGE="}).output;
  EXPECT_THAT(english, AllOf(HasSubstr("SUPPLY"), HasSubstr("wrong cartridge")));
  EXPECT_EQ(levels({"LC_ALL=C.UTF-8", "LANGUAGE=de"}).output, english);
  EXPECT_EQ(levels(in("is_IS.UTF-8")).output, english);
  EXPECT_EQ(levels(in("de_DE.UTF-8", "en_US:de")).output, english);
}

// Whose terminal shows one byte a letter gets plain letters.
TEST(Messages, AreInEnglishWhereTheTerminalIsNotUtf8) {
  EXPECT_THAT(levels(in("de_DE.ISO-8859-1")).output, HasSubstr("wrong cartridge"));
}

TEST(Messages, FollowTheListOfLanguages) {
  EXPECT_THAT(levels(in("de_DE.UTF-8", "is:fr:de")).output, HasSubstr("mauvaise cartouche"));
}

// A print user says in which language a job is, and a catalog is a file that is read.
TEST(Messages, AreInEnglishWhereALanguageIsAPath) {
  EXPECT_THAT(levels(in("de_DE.UTF-8", "../locale/de")).output, HasSubstr("wrong cartridge"));
}

TEST(Messages, LeaveWhatProgramsReadInEnglish) {
  const std::string& printer = faultyCartridges().uri();
  const ReservedPort closed;
  const std::string nobody = "socket://" + closed.address();
  const Environment german = in("de_DE.UTF-8");
  const Ran json = moxsupply(german, {"levels", printer, "--type", "inkjet", "--format", "json"});
  const auto report = nlohmann::json::parse(json.output)["report"];
  EXPECT_EQ(report["Supply 1"]["SupplyStatus"], "Missing");
  EXPECT_EQ(report["Supply 3"]["SupplyStatus"], "Incorrect");
  EXPECT_THAT(moxsupply(german, {"levels", nobody, "--format", "json"}).errors,
              HasSubstr("cannot connect"));
  EXPECT_THAT(moxsupply(german, {"check", printer, "--type", "inkjet"}).output,
              HasSubstr("CRITICAL"));
  EXPECT_THAT(moxsupply(german, {"check", nobody}).output, HasSubstr("cannot connect"));
  EXPECT_THAT(moxsupply(german, {"levels", "--help"}).output, HasSubstr("Exit status: 0"));
}

// The program with its module and catalogs, in a folder of its own.
class MovedProgram {
 public:
  MovedProgram() {
    for (const char* folder : {"bin", "lib", "share/locale"}) {
      fs::create_directories(mFolder.path() / folder);
    }
    fs::copy_file(kProgram, program());
    fs::copy_file(kModule, mFolder.path() / "lib" / kModule.filename());
    fs::copy(kProgram.parent_path() / "../share/locale", mFolder.path() / "share/locale",
             fs::copy_options::recursive);
  }

  [[nodiscard]] fs::path program() const { return mFolder.path() / "bin/moxsupply"; }
  [[nodiscard]] fs::path catalog(const std::string& language) const {
    return mFolder.path() / "share/locale" / language / "LC_MESSAGES/moxsupply-programs.mo";
  }

 private:
  TemporaryFolder mFolder;
};

TEST(Messages, AreFoundBesideTheProgramWhereverItIs) {
  const MovedProgram moved;
  const Environment german = in("de_DE.UTF-8");
  EXPECT_THAT(levels(german, moved.program()).output, HasSubstr("falsche Patrone"));
  fs::remove(moved.catalog("de"));
  EXPECT_THAT(levels(german, moved.program()).output, HasSubstr("wrong cartridge"));
}

// A catalog of somebody else's, or a damaged one, takes nothing but its words away.
TEST(Messages, GiveWayToTheOriginalWherePlaceholdersAreWrong) {
  const MovedProgram moved;
  const TemporaryFolder folder;
  std::string source = contentOf(kSources / "messages/de.po");
  for (const auto& [right, wrong] : std::map<std::string, std::string>{
           {"msgstr[1] \"{} Verbrauchsmaterialien\"", "msgstr[1] \"{} von {}\""},
           {"msgstr \"Tintenstrahldrucker, Druckkopf {}, {}\"", "msgstr \"{:d} {\""}}) {
    const std::size_t at = source.find(right);
    ASSERT_NE(at, std::string::npos) << right;
    source.replace(at, right.size(), wrong);
  }
  write(folder.path() / "de.po", source);
  ASSERT_EQ(
      run({"msgfmt", "--output-file=" + moved.catalog("de").string(), folder.path() / "de.po"})
          .exitStatus,
      0);
  const Ran ran = levels(in("de_DE.UTF-8"), moved.program());
  EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  EXPECT_THAT(ran.output, StartsWith("Inkjet printer, Lantern print head, 4 supplies\n"));
  EXPECT_THAT(ran.output, HasSubstr("falsche Patrone"));
}

}  // namespace
}  // namespace moxsupply::testing
