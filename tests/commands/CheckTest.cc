// `moxsupply check` as a monitoring system runs it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "tests/support/ReservedPort.h"
#include "tests/support/Run.h"
#include "tests/support/SilentPort.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Ran check(std::vector<std::string> arguments, const std::vector<std::string>& environment = {}) {
  arguments.insert(arguments.begin(), {MOXSUPPLY_PROGRAM, "check"});
  return run(arguments, environment);
}

// Whatever happens, the caller gets one line, on standard output, and nothing besides.
void expectOneLine(const Ran& checked) {
  EXPECT_EQ(std::ranges::count(checked.output, '\n'), 1) << checked.output;
  EXPECT_TRUE(checked.output.ends_with('\n')) << checked.output;
  EXPECT_EQ(checked.errors, "");
}

TEST(Check, OfAPrinterWithEnoughOfAllIsOk) {
  const SimulatedPrinter printer("inkjet-lantern-four-cartridges");
  const Ran checked = check({printer.uri(), "--type", "inkjet"});
  EXPECT_EQ(checked.exitStatus, 0);
  EXPECT_EQ(checked.output,
            "NPA OK - Cyan Cartridge 61 %, Black Cartridge 80 %, Magenta Cartridge 47 %, Yellow "
            "Cartridge 92 % | 'Cyan Cartridge'=61%;20:;5:;0;100 'Black Cartridge'=80%;20:;5:;0;100 "
            "'Magenta Cartridge'=47%;20:;5:;0;100 'Yellow Cartridge'=92%;20:;5:;0;100\n");
  expectOneLine(checked);
}

TEST(Check, WarnsOfACartridgeThatIsLow) {
  const SimulatedPrinter printer("laser-colour-full");
  const Ran checked = check({printer.uri()});
  EXPECT_EQ(checked.exitStatus, 1);
  EXPECT_THAT(checked.output,
              StartsWith("NPA WARNING - Black Toner Cartridge 15 % (below 20 %), Cyan Toner"));
  EXPECT_THAT(checked.output, HasSubstr(" 'Waste Toner Container'=40%;;;0;100\n"));
  expectOneLine(checked);
}

TEST(Check, TakesThresholds) {
  const SimulatedPrinter printer("laser-colour-full");
  EXPECT_EQ(check({printer.uri(), "-w", "15", "-c", "15"}).exitStatus, 0);
  EXPECT_EQ(check({printer.uri(), "--warning=50", "--critical=16"}).exitStatus, 2);
  EXPECT_EQ(check({printer.uri(), "-w", "41", "-c", "0"}).exitStatus, 1);
  // The container, at 40 %, only counts when all do.
  EXPECT_EQ(check({printer.uri(), "-w", "40", "-c", "15"}).exitStatus, 1);
  const Ran all = check({printer.uri(), "-w", "41", "-c", "41", "--all"});
  EXPECT_EQ(all.exitStatus, 2);
  EXPECT_THAT(all.output, HasSubstr("Waste Toner Container 40 % (below 41 %)"));
}

TEST(Check, FindsCartridgeFaultsCritical) {
  const SimulatedPrinter printer("inkjet-lantern-cartridge-faults");
  const Ran checked = check({printer.uri(), "--type", "inkjet"});
  EXPECT_EQ(checked.exitStatus, 2);
  EXPECT_THAT(checked.output, HasSubstr(" missing"));
  EXPECT_THAT(checked.output, HasSubstr(" (not valid here)"));
  EXPECT_THAT(checked.output, HasSubstr(" (wrong cartridge)"));
  EXPECT_THAT(checked.output, HasSubstr("=U;20:;5:;0;100"));
  expectOneLine(checked);
}

// The data of a supply must not be torn in two when somebody changes the system's language.
TEST(Check, NamesSuppliesAlikeInEveryLanguage) {
  const SimulatedPrinter printer("inkjet-lantern-four-cartridges");
  const Ran checked = check({printer.uri(), "--type", "inkjet"},
                            {"LC_ALL=C.UTF-8", "LANGUAGE=de", "LC_MESSAGES=C.UTF-8"});
  EXPECT_THAT(checked.output, HasSubstr("'Black Cartridge'=80%"));
}

TEST(CheckOfAPrinterThatIsSilent, IsUnknown) {
  const SilentPort port;
  const Ran checked = check({port.uri(), "--type", "laser", "--timeout", "0"});
  EXPECT_EQ(checked.exitStatus, 3);
  EXPECT_EQ(checked.output, "NPA UNKNOWN - " + port.uri() + " did not answer as a laser printer\n");
  expectOneLine(checked);
}

TEST(CheckOfAPrinterThatIsSilent, EndsAtTheDeadlineWithItsLine) {
  const SilentPort port;
  const Ran checked = check({port.uri(), "--timeout", "100", "--deadline", "1"});
  EXPECT_EQ(checked.exitStatus, 3);
  EXPECT_EQ(checked.output, "NPA UNKNOWN - no answer from " + port.uri() + " by the deadline\n");
  EXPECT_LT(checked.time, 4s);
  expectOneLine(checked);
}

// The caller kills what takes ten seconds, and then knows nothing.
TEST(CheckOfAPrinterThatIsSilent, EndsWithinTenSecondsByItself) {
  const SilentPort port;
  const Ran checked = check({port.uri()});
  EXPECT_EQ(checked.exitStatus, 3);
  EXPECT_LT(checked.time, 9800ms);
  expectOneLine(checked);
}

TEST(CheckThroughABackend, EndsAtTheDeadlineWithItsLine) {
  if (::getuid() != 0) GTEST_SKIP() << "only root may run this backend";
  // There is no such printer; the backend goes on waiting for it.
  const std::string uri = "usb://Nobody/Nothing";
  const Ran checked = check({uri, "--deadline", "1"});
  EXPECT_EQ(checked.exitStatus, 3);
  EXPECT_THAT(checked.output, StartsWith("NPA UNKNOWN - "));
  EXPECT_LT(checked.time, 4s);
  expectOneLine(checked);
}

// A print server that hangs is no reason to say nothing, either.
TEST(CheckOfAQueue, WhosePrintServerIsSilentEndsAtTheDeadline) {
  const SilentPort server;
  const Ran checked =
      check({"office", "--deadline", "1"},
            {"CUPS_SERVER=" + server.uri().substr(std::string("socket://").size())});
  EXPECT_EQ(checked.exitStatus, 3);
  EXPECT_THAT(checked.output, StartsWith("NPA UNKNOWN - no answer from the print server"));
  EXPECT_LT(checked.time, 4s);
  expectOneLine(checked);
}

class CheckOfAFaultyPrinter : public ::testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Each, CheckOfAFaultyPrinter,
                         ::testing::Values("cut=0", "cut=20", "silent=0", "silent=30", "reset=10",
                                           "flood", "twice", "wrong-request", "length=65535",
                                           "flip=12", "never-close"),
                         [](const auto& fault) {
                           std::string name = fault.param;
                           std::ranges::replace_if(
                               name, [](char c) { return c == '=' || c == '-'; }, '_');
                           return name;
                         });

TEST_P(CheckOfAFaultyPrinter, IsOneLineInTime) {
  const SimulatedPrinter printer("laser-colour-full", {GetParam()});
  const Ran checked = check({printer.uri(), "--timeout", "1", "--deadline", "4"});
  EXPECT_THAT(checked.exitStatus, ::testing::AllOf(::testing::Ge(0), ::testing::Le(3)));
  EXPECT_LT(checked.time, 5s);
  expectOneLine(checked);
}

TEST(CheckOfAHostThatRefuses, IsUnknown) {
  const ReservedPort port;
  const Ran checked = check({port.uri()});
  EXPECT_EQ(checked.exitStatus, 3);
  EXPECT_THAT(checked.output, StartsWith("NPA UNKNOWN - "));
  EXPECT_THAT(checked.output, HasSubstr("Connection refused"));
  expectOneLine(checked);
}

struct MistakeInCheck {
  const char* name;
  std::vector<std::string> arguments;
  const char* named;
};

class MistakeOfCheck : public ::testing::TestWithParam<MistakeInCheck> {};

INSTANTIATE_TEST_SUITE_P(
    Check, MistakeOfCheck,
    ::testing::Values(
        MistakeInCheck{"NoPrinter", {}, "PRINTER"},
        MistakeInCheck{"NoHost", {"socket://"}, "names no host"},
        MistakeInCheck{"UnknownScheme", {"carrier-pigeon://loft"}, "carrier-pigeon"},
        MistakeInCheck{"UnknownType", {"socket://h", "--type", "Laser"}, "--type"},
        MistakeInCheck{"UnknownOption", {"socket://h", "--port=1"}, "--port"},
        MistakeInCheck{"NoNumber", {"socket://h", "-w", "ten"}, "--warning"},
        MistakeInCheck{"MoreThanAll", {"socket://h", "-w", "101"}, "\"101\""},
        MistakeInCheck{"NoPercentage", {"socket://h", "-c", "-1"}, "--critical"},
        MistakeInCheck{"WarningBelowCritical", {"socket://h", "-w", "5", "-c", "10"}, "below"},
        MistakeInCheck{"DeadlineOfZero", {"socket://h", "--deadline", "0"}, "--deadline"}),
    [](const auto& mistake) { return mistake.param.name; });

TEST_P(MistakeOfCheck, IsNamedAndUnknown) {
  const Ran checked = check(GetParam().arguments);
  EXPECT_EQ(checked.exitStatus, 3);
  EXPECT_THAT(checked.output, StartsWith("NPA UNKNOWN - "));
  EXPECT_THAT(checked.output, HasSubstr(GetParam().named));
  expectOneLine(checked);
}

TEST(Check, WhoseLineIsLostIsUnknown) {
  const SimulatedPrinter printer("laser-colour-full");
  const Ran checked = run({"sh", "-c", R"(exec "$0" check "$1" -w 0 -c 0 >/dev/full)",
                           MOXSUPPLY_PROGRAM, printer.uri()});
  EXPECT_EQ(checked.exitStatus, 3);
}

}  // namespace
}  // namespace moxsupply::testing
