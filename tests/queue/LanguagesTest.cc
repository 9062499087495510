// What people read of queues in their language, with a print server in between.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using ::testing::HasSubstr;

class Languages : public QueueTest {
 protected:
  // In a locale of those that were made for the tests.
  static Ran moxsupplyIn(const std::string& locale, const std::vector<std::string>& arguments) {
    return server().moxsupply(arguments, {"LC_ALL=" + locale, "LANGUAGE=", "LOCPATH=" TEST_LOCALES,
                                          "LSAN_OPTIONS=print_suppressions=0:suppressions=" LEAKS});
  }

  void answerAs(const std::string& model) { mPrinter.emplace(port(), shippedModel(model)); }

  std::optional<SimulatedPrinter> mPrinter;
};

TEST_F(Languages, AreThoseOfWhoHasTheQueueReport) {
  addEnabledQueue("inkjet");
  answerAs("inkjet-lantern-cartridge-faults");
  const Ran german = moxsupplyIn("de_DE.UTF-8", {"refresh", queue()});
  EXPECT_EQ(german.exitStatus, 0) << german.errors;
  EXPECT_THAT(german.output, HasSubstr(queue() + ", 4 Verbrauchsmaterialien\n\nMATERIAL "));
  EXPECT_THAT(german.output, HasSubstr("Magenta Cartridge  Magenta  ██████████░░░░░░░░░░  50 %  "
                                       "falsche Patrone\n"));
  EXPECT_THAT(german.output, HasSubstr("\nCyan Cartridge fehlt; "));
}

// The message at the print server is in another language than that of who reads it.
TEST_F(Languages, NeedNotBeThoseOfWhoReadsTheQueue) {
  addEnabledQueue("inkjet");
  answerAs("inkjet-lantern-cartridge-faults");
  ASSERT_EQ(moxsupplyIn("ja_JP.UTF-8", {"refresh", queue()}).exitStatus, 0);
  EXPECT_THAT(
      moxsupplyIn("fr_FR.UTF-8", {"queues"}).output,
      HasSubstr(queue() + "  à l'instant  Cyan Cartridge manque, Black Cartridge mauvaise"));
  const auto queues =
      nlohmann::json::parse(moxsupplyIn("fr_FR.UTF-8", {"queues", "--format", "json"}).output);
  const auto entry = std::ranges::find(
      queues, queue(), [](const auto& each) { return each["queue"].template get<std::string>(); });
  ASSERT_NE(entry, queues.end());
  std::vector<std::string> attentions;
  for (const auto& supply : (*entry)["supplies"]) attentions.push_back(supply["attention"]);
  EXPECT_THAT(attentions, ::testing::ElementsAre("missing", "wrong", "wrong", "none"));
}

TEST_F(Languages, AreThoseOfWhoLooksForTheFault) {
  const Ran made = server().run({"lpadmin", "-p", queue(), "-E", "-v", port().uri()});
  ASSERT_EQ(made.exitStatus, 0) << made.errors;
  const Ran spanish = moxsupplyIn("es_ES.UTF-8", {"doctor", queue()});
  EXPECT_EQ(spanish.exitStatus, 1);
  EXPECT_THAT(
      spanish.output,
      HasSubstr(fmt::format("  FALLO  «{}» es una cola en bruto: no tiene controlador", queue())));
  EXPECT_THAT(spanish.output, HasSubstr("\n  bien   la cola está en servicio\n"));
  EXPECT_THAT(spanish.output, HasSubstr(" fallos.\n"));
}

TEST_F(Languages, AreInThreeColumnsAlsoWhereLettersAreWide) {
  addEnabledQueue("laser");
  EXPECT_THAT(moxsupplyIn("ja_JP.UTF-8", {"queues"}).output, HasSubstr("  まだ報告なし\n"));
  const Ran none = moxsupplyIn("ja_JP.UTF-8", {"refresh", "no-such-queue"});
  EXPECT_EQ(none.exitStatus, 2);
  EXPECT_THAT(none.errors,
              HasSubstr("moxsupply refresh: プリントキュー「no-such-queue」がありません"));
}

}  // namespace
}  // namespace moxsupply::testing
