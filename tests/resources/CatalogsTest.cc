#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "front/MoxFilter.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

// The localized names from outside: the built program, real locales, and the compiled catalogs.

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

using Names = std::vector<std::string>;
using Environment = std::vector<std::string>;  // NAME=VALUE; an empty value counts as none
using Texts = std::map<std::string, std::string>;

const fs::path kProgram = MOXSUPPLY_PROGRAM;
const fs::path kModule = MOXSUPPLY_MODULE;
const fs::path kResources = MOXSUPPLY_RESOURCES;
const fs::path kLocales = TEST_LOCALES;
const std::string kLocalesPath = "LOCPATH=" + kLocales.string();
const std::string kLeaksOfTheCLibrary = "LSAN_OPTIONS=print_suppressions=0:suppressions=" LEAKS;
const fs::path kCatalogsBesideModule = "moxsupply/locale";

const std::set<std::string> kKeys = {"Black",          "BlackCartridge", "Color",
                                     "ColorCartridge", "CyanCartridge",  "MagentaCartridge",
                                     "Photo",          "YellowCartridge"};

// The printers: their reply, and the keys of the names that it leads to.
struct Printer {
  Bytes reply;
  std::vector<std::string> keys;
};

const Printer kFourCartridges = {
    hex("A5 001B 50 E08100FF"  // one packet
        "0005"                 // items
        "0019 01 02"           // a head of the "Lantern" family
        "0110 01 B0"           // first cartridge: cyan
        "0120 01 50"           // second: black
        "0130 01 50"           // third: magenta
        "0140 01 50"),         // fourth: yellow
    {"CyanCartridge", "BlackCartridge", "MagentaCartridge", "YellowCartridge"}};

const Printer kCombinedCartridge = {hex("A5 0013 50 E08100FF"
                                        "0003"
                                        "0019 01 02"    // a head of the "Lantern" family
                                        "0110 01 A1"    // first cartridge: three colours
                                        "0120 01 50"),  // second: black
                                    {"ColorCartridge", "BlackCartridge"}};

const Printer kColorAndBlack = {hex("A5 0013 50 E08100FF"
                                    "0003"
                                    "0019 01 00"    // a head of the "Quarry" family
                                    "0110 01 30"    // first cartridge: colour
                                    "0120 01 50"),  // second: black
                                {"Color", "Black"}};

const Printer kColorAndPhoto = {hex("A5 0013 50 E08100FF"
                                    "0003"
                                    "0019 01 00"    // a head of the "Quarry" family
                                    "0110 01 30"    // first cartridge: colour
                                    "0120 01 70"),  // second: photo
                                {"Color", "Photo"}};

const std::array kPrinters = {kFourCartridges, kCombinedCartridge, kColorAndBlack, kColorAndPhoto};

const Names kDefaultNames = {"Cyan Cartridge", "Black Cartridge", "Magenta Cartridge",
                             "Yellow Cartridge"};
const Names kGermanNames = {"Tintenpatrone Cyan", "Tintenpatrone Schwarz", "Tintenpatrone Magenta",
                            "Tintenpatrone Gelb"};

// What a shell command writes to standard output and standard error. It must succeed.
std::string outputOf(const std::string& command) {
  std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) std::abort();
  std::string output;
  for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
    output += static_cast<char>(byte);
  }
  EXPECT_EQ(::pclose(pipe), 0) << command << '\n' << output;
  return output;
}

std::string quoted(const fs::path& path) { return "'" + path.string() + "'"; }

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

fs::path catalogOf(const std::string& language) {
  return kModule.parent_path() / kCatalogsBesideModule / language / "LC_MESSAGES/moxsupply.mo";
}

fs::path sourceOf(const std::string& language) { return kResources / (language + ".po"); }

// The languages that resources/ has a catalog for.
std::vector<std::string> languages() {
  std::vector<std::string> found;
  for (const auto& file : fs::directory_iterator(kResources)) {
    if (file.path().extension() == ".po") found.push_back(file.path().stem());
  }
  return found;
}

// The texts of a compiled catalog by their keys, without its header.
Texts textsOf(const fs::path& catalog) {
  const auto unquoted = [](const std::string& line, std::size_t at) {
    return line.substr(at + 1, line.size() - at - 2);
  };
  Texts texts;
  std::string key;
  for (const auto& line : linesOf(outputOf("msgunfmt --no-wrap " + quoted(catalog)))) {
    if (line.starts_with("msgid ")) key = unquoted(line, 6);
    if (line.starts_with("msgstr ") && !key.empty()) texts[key] = unquoted(line, 7);
  }
  return texts;
}

// What a catalog's source says beside its texts: the keys and the comments on them.
std::vector<std::string> skeletonOf(const fs::path& source) {
  std::vector<std::string> skeleton;
  bool isHeader = true;
  for (const auto& line : linesOf(contentOf(source))) {
    if (!isHeader && !line.starts_with("msgstr ")) skeleton.push_back(line);
    if (line.empty()) isHeader = false;
  }
  return skeleton;
}

class Catalogs : public ::testing::Test {
 protected:
  // The variables that choose a locale of those that were made for the tests.
  static Environment in(const std::string& name, const std::string& charset = "UTF-8") {
    const std::string locale = name + '.' + charset;
    EXPECT_TRUE(fs::is_directory(kLocales / locale)) << locale << " was not made";
    return {"LC_ALL=" + locale, kLocalesPath};
  }

  // The report of `program` on a printer, asked in `environment`.
  nlohmann::json report(const Printer& printer, const Environment& environment,
                        const fs::path& program = kProgram) {
    Environment whole = {"LC_ALL=",   "LC_MESSAGES=", "LC_CTYPE=",        "LANG=",
                         "LANGUAGE=", "LOCPATH=",     kLeaksOfTheCLibrary};
    whole.insert(whole.end(), environment.begin(), environment.end());
    const fs::path output = mFolder.path() / "report.json";
    FilterProcess filter(BackChannel::kNonBlockingPipe,
                         {program, "report", "--printer-type", "Inkjet", "--transport", "usb",
                          "--timeout", "1", "--output", output},
                         whole);
    filter.send(printer.reply);
    const auto ending = filter.wait();
    EXPECT_EQ(ending.signal, 0);
    EXPECT_EQ(ending.exitStatus, 0) << ending.result;
    const std::string json = contentOf(output);
    EXPECT_TRUE(nlohmann::json::accept(json)) << "no JSON, or not UTF-8: " << json;
    return nlohmann::json::parse(json, nullptr, false);
  }

  Names names(const Environment& environment, const Printer& printer = kFourCartridges,
              const fs::path& program = kProgram) {
    const auto answer = report(printer, environment, program);
    EXPECT_EQ(answer.value("status", -99), 0);
    Names found;
    const auto supplies = answer.value("report", nlohmann::json::object());
    for (int i = 1; i <= supplies.value("SupplyCount", 0); ++i) {
      const auto supply = supplies.value("Supply " + std::to_string(i), nlohmann::json::object());
      found.push_back(supply.value("SupplyName", std::string("no name")));
    }
    return found;
  }

  static Environment with(Environment environment, const std::string& further) {
    environment.push_back(further);
    return environment;
  }

  TemporaryFolder mFolder;
};

// A copy of the program, its module and the catalogs, in a folder of its own.
class Installation {
 public:
  explicit Installation(const fs::path& root) : mRoot(root) {
    fs::create_directories(root / "bin");
    fs::create_directories(root / "lib");
    fs::copy_file(kProgram, program());
    fs::copy_file(kModule, root / "lib" / kModule.filename());
    fs::create_directories(catalogs());
    fs::copy(kModule.parent_path() / kCatalogsBesideModule, catalogs(),
             fs::copy_options::recursive);
  }

  [[nodiscard]] fs::path program() const { return mRoot / "bin" / kProgram.filename(); }
  [[nodiscard]] fs::path catalogs() const { return mRoot / "lib" / kCatalogsBesideModule; }
  [[nodiscard]] fs::path catalog(const std::string& language) const {
    return catalogs() / language / "LC_MESSAGES/moxsupply.mo";
  }

 private:
  fs::path mRoot;
};

TEST_F(Catalogs, AreNotAskedInTheLocalesWithoutALanguage) {
  for (const char* locale : {"C", "POSIX", "C.UTF-8", "C.utf8"}) {
    SCOPED_TRACE(locale);
    const std::string chosen = std::string("LC_ALL=") + locale;
    EXPECT_EQ(names({chosen}), kDefaultNames);
    EXPECT_EQ(names({chosen, "LANGUAGE=de"}), kDefaultNames);
    EXPECT_THAT(names({chosen, "LANGUAGE=de"}, kCombinedCartridge),
                ElementsAre("Color Cartridge", "Black Cartridge"));
    EXPECT_THAT(names({chosen, "LANGUAGE=de"}, kColorAndBlack), ElementsAre("Color", "Black"));
    EXPECT_THAT(names({chosen, "LANGUAGE=de"}, kColorAndPhoto), ElementsAre("Color", "Photo"));
  }
  EXPECT_EQ(names({}), kDefaultNames);
  EXPECT_EQ(names(with(in("C"), "LANGUAGE=de")), kDefaultNames);
}

// The C library takes a charset's name in any case and with or without its hyphens.
TEST_F(Catalogs, AreNotAskedInCUtf8HoweverItIsSpelled) {
  for (const char* locale : {"C.utf-8", "C.UTF8", "C.Utf-8"}) {
    SCOPED_TRACE(locale);
    EXPECT_EQ(names({std::string("LC_ALL=") + locale, "LANGUAGE=de"}), kDefaultNames);
  }
}

TEST_F(Catalogs, GiveTheNamesInTheLanguageOfTheLocale) {
  const Environment german = in("de_DE");
  EXPECT_EQ(names(german, kFourCartridges), kGermanNames);
  EXPECT_THAT(names(german, kCombinedCartridge),
              ElementsAre("Tintenpatrone Farbe", "Tintenpatrone Schwarz"));
  EXPECT_THAT(names(german, kColorAndBlack), ElementsAre("Farbe", "Schwarz"));
  EXPECT_THAT(names(german, kColorAndPhoto), ElementsAre("Farbe", "Foto"));
}

TEST_F(Catalogs, ChangeNothingButTheName) {
  auto inGerman = report(kFourCartridges, in("de_DE"));
  auto inEnglish = report(kFourCartridges, {"LC_ALL=C"});
  EXPECT_NE(inGerman, inEnglish);
  for (auto* answer : {&inGerman, &inEnglish}) {
    for (auto& value : (*answer)["report"]) {
      if (value.is_object()) value.erase("SupplyName");
    }
  }
  EXPECT_EQ(inGerman, inEnglish);
}

TEST_F(Catalogs, ServeACountryThatHasNoneOfItsOwn) {
  EXPECT_EQ(names(in("de_AT")), kGermanNames);
  EXPECT_THAT(names(in("pt_PT"), kCombinedCartridge),
              ElementsAre("Tinteiro a cores", "Tinteiro preto"));
}

TEST_F(Catalogs, PreferTheCountrysOwn) {
  EXPECT_THAT(names(in("pt_BR"), kCombinedCartridge),
              ElementsAre("Cartucho colorido", "Cartucho preto"));
  EXPECT_THAT(names(in("en_GB"), kColorAndBlack), ElementsAre("Colour", "Black"));
}

TEST_F(Catalogs, KnowBothScriptsOfChinese) {
  EXPECT_THAT(names(in("zh_TW")),
              ElementsAre("青色墨水匣", "黑色墨水匣", "洋紅色墨水匣", "黃色墨水匣"));
  EXPECT_THAT(names(in("zh_CN")), ElementsAre("青色墨盒", "黑色墨盒", "品红色墨盒", "黄色墨盒"));
}

TEST_F(Catalogs, AreUtf8WhateverTheCharsetOfTheLocale) {
  const Names russian = {"Голубой картридж", "Черный картридж", "Пурпурный картридж",
                         "Желтый картридж"};
  EXPECT_EQ(names(in("ru_RU", "UTF-8")), russian);
  EXPECT_EQ(names(in("ru_RU", "KOI8-R")), russian);
  EXPECT_EQ(names(in("ru_RU", "ISO-8859-5")), russian);
  EXPECT_THAT(names(in("sv_SE", "ISO-8859-1"), kColorAndBlack), ElementsAre("Färg", "Svart"));
  EXPECT_THAT(names(in("zh_TW", "BIG5"), kColorAndPhoto), ElementsAre("彩色", "相片"));
}

// The charset of the process is no matter of its language.
TEST_F(Catalogs, AreUtf8WhenOnlyTheMessagesHaveALocale) {
  EXPECT_THAT(names({"LANG=C", "LC_MESSAGES=ru_RU.UTF-8", kLocalesPath}, kColorAndBlack),
              ElementsAre("Цветной", "Черный"));
}

TEST_F(Catalogs, FollowTheLocaleOfMessagesOnly) {
  EXPECT_EQ(names({"LANG=de_DE.UTF-8", kLocalesPath}), kGermanNames);
  EXPECT_EQ(names({"LANG=de_DE.UTF-8", "LC_MESSAGES=C", "LANGUAGE=de", kLocalesPath}),
            kDefaultNames);
  EXPECT_EQ(names({"LC_CTYPE=de_DE.UTF-8", "LANGUAGE=de", kLocalesPath}), kDefaultNames);
}

TEST_F(Catalogs, LeaveTheDefaultTextsToALanguageThatHasNone) {
  ASSERT_THAT(languages(), Not(Contains("is")));
  EXPECT_EQ(names(in("is_IS")), kDefaultNames);
  EXPECT_EQ(names(with(in("de_DE"), "LANGUAGE=is")), kDefaultNames);
  EXPECT_EQ(names({"LC_ALL=de_DE.UTF-8", "LOCPATH=/nonexistent"}), kDefaultNames);
}

TEST_F(Catalogs, FollowTheListOfLanguages) {
  const Environment german = in("de_DE");
  const Names french = {"Cartouche cyan", "Cartouche noire", "Cartouche magenta",
                        "Cartouche jaune"};
  EXPECT_EQ(names(with(german, "LANGUAGE=fr")), french);
  EXPECT_EQ(names(with(german, "LANGUAGE=fr_CA:de")), french);
  EXPECT_EQ(names(with(german, "LANGUAGE=is:fr:de")), french);
  EXPECT_EQ(names(with(in("is_IS"), "LANGUAGE=is:de")), kGermanNames);
}

// Who puts English first is answered in English, though there is German further down.
TEST_F(Catalogs, AnswerInEnglishWhenItComesFirst) {
  EXPECT_EQ(names(with(in("de_DE"), "LANGUAGE=en_US:de")), kDefaultNames);
  EXPECT_EQ(names(with(in("de_DE"), "LANGUAGE=en:de")), kDefaultNames);
  EXPECT_THAT(names(with(in("de_DE"), "LANGUAGE=en_GB:de"), kCombinedCartridge),
              ElementsAre("Colour Cartridge", "Black Cartridge"));
}

TEST_F(Catalogs, AreThereForTheLanguagesOfPrintDialogs) {
  for (const char* language :
       {"ca", "cs", "da", "de", "es",    "fi", "fr", "hu", "it",    "ja",   "ko",
        "nb", "nl", "pl", "pt", "pt_BR", "ru", "sv", "tr", "zh_CN", "zh_TW"}) {
    EXPECT_TRUE(fs::is_regular_file(catalogOf(language))) << language;
  }
}

TEST_F(Catalogs, HoldATextForEveryKey) {
  for (const std::string& language : languages()) {
    SCOPED_TRACE(language);
    std::set<std::string> keys;
    for (const auto& [key, text] : textsOf(catalogOf(language))) {
      keys.insert(key);
      EXPECT_FALSE(text.empty()) << key;
      EXPECT_EQ(text.find_first_of("\"\\\t"), std::string::npos) << text;
      EXPECT_FALSE(text.starts_with(' ') || text.ends_with(' ')) << text;
    }
    EXPECT_EQ(keys, kKeys);
  }
}

TEST_F(Catalogs, TellTheCartridgesApart) {
  const std::set<std::string> inOneList = {"BlackCartridge", "CyanCartridge", "MagentaCartridge",
                                           "YellowCartridge", "ColorCartridge"};
  for (const std::string& language : languages()) {
    SCOPED_TRACE(language);
    const Texts texts = textsOf(catalogOf(language));
    std::set<std::string> distinct;
    for (const auto& key : inOneList) distinct.insert(texts.at(key));
    EXPECT_EQ(distinct.size(), inOneList.size());
    EXPECT_NE(texts.at("Color"), texts.at("Black"));
    EXPECT_NE(texts.at("Color"), texts.at("Photo"));
  }
}

TEST_F(Catalogs, HaveNoLatinLettersInAnotherScript) {
  for (const char* language : {"ja", "ko", "ru", "th", "uk", "zh_CN", "zh_TW"}) {
    SCOPED_TRACE(language);
    for (const auto& [key, text] : textsOf(catalogOf(language))) {
      EXPECT_EQ(text.find_first_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"),
                std::string::npos)
          << text;
    }
  }
}

// In a locale whose charset has few of these letters.
TEST_F(Catalogs, AreReportedAsTheyAre) {
  const Environment latin = in("de_DE", "ISO-8859-1");
  for (const std::string& language : languages()) {
    SCOPED_TRACE(language);
    const Texts texts = textsOf(catalogOf(language));
    for (const Printer& printer : kPrinters) {
      Names expected;
      for (const auto& key : printer.keys) expected.push_back(texts.at(key));
      EXPECT_EQ(names(with(latin, "LANGUAGE=" + language), printer), expected);
    }
  }
}

TEST_F(Catalogs, HaveTidySources) {
  const auto skeleton = skeletonOf(kResources / "moxsupply.pot");
  EXPECT_GE(skeleton.size(), kKeys.size());
  for (const std::string& language : languages()) {
    SCOPED_TRACE(language);
    EXPECT_EQ(outputOf("msgfmt --check -o /dev/null " + quoted(sourceOf(language))), "");
    EXPECT_EQ(skeletonOf(sourceOf(language)), skeleton);
    const auto lines = linesOf(contentOf(sourceOf(language)));
    EXPECT_THAT(lines, Contains("\"Language: " + language + "\\n\""));
    EXPECT_THAT(lines, Contains("\"Content-Type: text/plain; charset=UTF-8\\n\""));
  }
}

TEST_F(Catalogs, AreFoundBesideTheModule) {
  const Installation copy(mFolder.path() / "elsewhere with spaces");
  EXPECT_EQ(names(in("de_DE"), kFourCartridges, copy.program()), kGermanNames);

  // The copy's catalogs and no others: it says what stands there.
  fs::copy_file(catalogOf("fr"), copy.catalog("de"), fs::copy_options::overwrite_existing);
  EXPECT_THAT(names(in("de_DE"), kColorAndBlack, copy.program()), ElementsAre("Couleur", "Noir"));
}

// To be called in a child: loads `module`, goes to another folder, and asks. Returns the names, a
// line each.
std::string namesAfterAMove(const fs::path& module, const Environment& environment) {
  for (const std::string& variable : environment) {
    const std::size_t sign = variable.find('=');
    ::setenv(variable.substr(0, sign).c_str(), variable.substr(sign + 1).c_str(), 1);
  }
  std::setlocale(LC_ALL, "");
  void* const loaded = ::dlopen(module.c_str(), RTLD_NOW);
  if (loaded == nullptr) return ::dlerror();
  fs::current_path("/");

  using Text = std::optional<std::string_view>;
  const auto create = reinterpret_cast<std::unique_ptr<MoxFilter> (*)(Text, Text, std::uint32_t)>(
      ::dlsym(loaded,
              "_ZN9MoxFilter19initWithPrinterTypeESt8optionalISt17basic_string_viewIcSt11char_"
              "traitsIcEEES5_j"));
  const auto ask = reinterpret_cast<Status (*)(MoxFilter*, Dictionary*)>(
      ::dlsym(loaded, "_ZN9MoxFilter14inkStatusQueryEPN9moxsupply10DictionaryE"));
  if (create == nullptr || ask == nullptr) return "no MoxFilter";
  std::string names;
  {
    Dictionary report;
    if (ask(create("Inkjet", "usb", 1).get(), &report) != Status::kSuccess) return "no report";
    for (int i = 1; i <= report.number("SupplyCount"); ++i) {
      names += *report.get<Dictionary>({"Supply", i})->get<std::string>("SupplyName") + '\n';
    }
  }
  ::dlclose(loaded);
  return names;
}

TEST_F(Catalogs, AreFoundByAHostThatHasGoneToAnotherFolder) {
  FilterProcess host(BackChannel::kNonBlockingPipe, [environment = in("de_DE")] {
    fs::current_path(kModule.parent_path());
    return namesAfterAMove("." / kModule.filename(), environment);
  });
  host.send(kColorAndBlack.reply);
  EXPECT_EQ(host.wait().result, "Farbe\nSchwarz\n");
}

TEST_F(Catalogs, LeaveTheDefaultTextsToAHostWhoseFolderIsGone) {
  const Installation copy(mFolder.path() / "copy");
  const fs::path gone = mFolder.path() / "copy/gone";
  fs::create_directory(gone);
  FilterProcess host(BackChannel::kNonBlockingPipe, [&, environment = in("de_DE")] {
    fs::current_path(gone);
    fs::remove(gone);
    return namesAfterAMove("../lib" / kModule.filename(), environment);
  });
  host.send(kColorAndBlack.reply);
  EXPECT_EQ(host.wait().result, "Color\nBlack\n");
}

TEST_F(Catalogs, LeaveTheDefaultTextToAKeyThatIsMissing) {
  const Installation copy(mFolder.path() / "copy");
  std::string source = contentOf(sourceOf("de"));
  const std::size_t entry = source.find("msgid \"BlackCartridge\"\n");
  ASSERT_NE(entry, std::string::npos);
  source.erase(entry, source.find("\n\n", entry) - entry);
  write(mFolder.path() / "de.po", source);
  outputOf("msgfmt -o " + quoted(copy.catalog("de")) + ' ' + quoted(mFolder.path() / "de.po"));

  EXPECT_THAT(names(in("de_DE"), kFourCartridges, copy.program()),
              ElementsAre("Tintenpatrone Cyan", "Black Cartridge", "Tintenpatrone Magenta",
                          "Tintenpatrone Gelb"));
}

TEST_F(Catalogs, LeaveTheDefaultTextsWhenTheirFolderIsMissing) {
  const Installation copy(mFolder.path() / "copy");
  fs::remove_all(copy.catalogs());
  EXPECT_EQ(names(in("de_DE"), kFourCartridges, copy.program()), kDefaultNames);
}

TEST_F(Catalogs, LeaveTheDefaultTextsWhenTheFileIsNoCatalog) {
  const Installation copy(mFolder.path() / "copy");
  const Environment german = in("de_DE");
  const std::string whole = contentOf(copy.catalog("de"));
  const std::string otherMagic = '\0' + whole.substr(1);
  const std::string headOnly = whole.substr(0, 20);
  for (const std::string& content : {std::string(), std::string("no catalog\n"),
                                     std::string(100'000, '\xFF'), otherMagic, headOnly}) {
    SCOPED_TRACE(content.substr(0, 20));
    write(copy.catalog("de"), content);
    EXPECT_EQ(names(german, kFourCartridges, copy.program()), kDefaultNames);
  }
}

// The report comes all the same; a name may be cut, even within a letter.
TEST_F(Catalogs, DoNoHarmWhenTheFileIsCutShort) {
  const Installation copy(mFolder.path() / "copy");
  const Environment russian = in("ru_RU");
  const std::string whole = contentOf(copy.catalog("ru"));
  for (std::size_t size = 0; size < whole.size(); size += 17) {
    SCOPED_TRACE(size);
    write(copy.catalog("ru"), whole.substr(0, size));
    EXPECT_THAT(names(russian, kFourCartridges, copy.program()), SizeIs(4));
  }
}

TEST_F(Catalogs, NeverGiveAnEmptyName) {
  const Installation copy(mFolder.path() / "copy");
  const Environment german = in("de_DE");
  const std::string whole = contentOf(copy.catalog("de"));
  for (std::size_t size = 0; size < whole.size(); size += 17) {
    SCOPED_TRACE(size);
    write(copy.catalog("de"), whole.substr(0, size));
    EXPECT_THAT(names(german, kFourCartridges, copy.program()), Each(Not(IsEmpty())));
  }
}

}  // namespace
}  // namespace moxsupply::testing
