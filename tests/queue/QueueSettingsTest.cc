#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "queue/QueueSettings.h"
#include "tests/support/SmallPpd.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SettingsOfAQueue : public ::testing::Test {
 protected:
  Result<QueueSettings> read(std::string_view ppdLines, const std::string& jobOptions = "",
                             const std::string& deviceUri = "usb://Example/Small") {
    std::ofstream(path()) << smallPpd(ppdLines);
    return queueSettings(path(), jobOptions, deviceUri);
  }

  // The settings, where there is nothing wrong with them.
  QueueSettings settings(std::string_view ppdLines, const std::string& jobOptions = "",
                         const std::string& deviceUri = "usb://Example/Small") {
    const auto result = read(ppdLines, jobOptions, deviceUri);
    if (!result) ADD_FAILURE() << result.error().what;
    return result.value_or(QueueSettings());
  }

  // What is wrong with them; every such mistake is one of the set-up.
  std::string mistake(std::string_view ppdLines, const std::string& jobOptions = "") {
    const auto result = read(ppdLines, jobOptions);
    EXPECT_FALSE(result);
    if (result) return {};
    EXPECT_TRUE(result.error().isMisuse);
    return result.error().what;
  }

  [[nodiscard]] std::string path() const { return mFolder.path() / "queue.ppd"; }

 private:
  TemporaryFolder mFolder;
};

TEST_F(SettingsOfAQueue, AreThoseOfItsPpdFile) {
  const QueueSettings found = settings(
      "*moxPrinterType: \"Inkjet\"\n"
      "*moxTimeout: \"7\"\n"
      "*moxDeadline: \"20\"\n");
  EXPECT_EQ(found.kind, PrinterKind::kInkjet);
  EXPECT_EQ(found.timeout, 7U);
  EXPECT_EQ(found.deadline, 20U);
  EXPECT_EQ(found.transport, "usb");
}

TEST_F(SettingsOfAQueue, AreTheOrdinaryOnesWhereThePpdFileHasNone) {
  const QueueSettings found = settings("*moxPrinterType: \"Laser\"\n");
  EXPECT_EQ(found.kind, PrinterKind::kLaser);
  EXPECT_EQ(found.timeout, 2U);
  EXPECT_EQ(found.deadline, 45U);
}

TEST_F(SettingsOfAQueue, MayStandWithoutQuotes) {
  const QueueSettings found = settings("*moxPrinterType: Inkjet\n*moxTimeout: 3\n");
  EXPECT_EQ(found.kind, PrinterKind::kInkjet);
  EXPECT_EQ(found.timeout, 3U);
}

TEST_F(SettingsOfAQueue, MayStandInAFileWithReturns) {
  const QueueSettings found = settings("*moxPrinterType: \"Inkjet\"\r\n*moxTimeout: \"3\"\r\n");
  EXPECT_EQ(found.kind, PrinterKind::kInkjet);
  EXPECT_EQ(found.timeout, 3U);
}

TEST_F(SettingsOfAQueue, TakeSmallLettersForTheType) {
  EXPECT_EQ(settings("*moxPrinterType: \"laser\"\n").kind, PrinterKind::kLaser);
  EXPECT_EQ(settings("*moxPrinterType: \"inkjet\"\n").kind, PrinterKind::kInkjet);
}

constexpr const char* kLaserForSeconds =
    "*moxPrinterType: \"Laser\"\n*moxTimeout: \"7\"\n*moxDeadline: \"20\"\n";

TEST_F(SettingsOfAQueue, AreShortenedByJobOptions) {
  const QueueSettings found =
      settings(kLaserForSeconds, "sides=one-sided moxTimeout='1' moxDeadline=19 n=1");
  EXPECT_EQ(found.timeout, 1U);
  EXPECT_EQ(found.deadline, 19U);
  EXPECT_THAT(found.ignoredOptions, IsEmpty());
  EXPECT_EQ(settings(kLaserForSeconds, "moxTimeout=0").timeout, 0U);
  EXPECT_EQ(settings("*moxPrinterType: \"Laser\"\n", "moxTimeout=1").timeout, 1U);
}

// Who may print must not hold the queue for hours.
TEST_F(SettingsOfAQueue, AreNotLengthenedByJobOptions) {
  for (const char* longer : {"21", "4294967295"}) {
    const QueueSettings found =
        settings(kLaserForSeconds, fmt::format("moxTimeout={0} moxDeadline={0}", longer));
    EXPECT_EQ(found.timeout, 7U);
    EXPECT_EQ(found.deadline, 20U);
    EXPECT_THAT(
        found.ignoredOptions,
        ElementsAre(
            fmt::format("The job option moxTimeout={} is ignored: the queue allows 7 seconds, "
                        "which a job can only shorten.",
                        longer),
            fmt::format("The job option moxDeadline={} is ignored: the queue allows 20 seconds, "
                        "which a job can only shorten.",
                        longer)));
  }
  // Where the PPD file says nothing, the ordinary seconds are the queue's.
  const QueueSettings found =
      settings("*moxPrinterType: \"Laser\"\n", "moxTimeout=3 moxDeadline=46");
  EXPECT_EQ(found.timeout, 2U);
  EXPECT_EQ(found.deadline, 45U);
  EXPECT_THAT(found.ignoredOptions, SizeIs(2));
}

TEST_F(SettingsOfAQueue, IgnoreJobOptionsThatAreNoSeconds) {
  for (const char* name : {"moxTimeout", "moxDeadline"}) {
    for (const char* value : {"soon", "5s", "-1", "1.5", "4294967296", "99999999999999999999",
                              "18446744073709551617", "0x1", "+1", "1e1", "true"}) {
      const QueueSettings found = settings(kLaserForSeconds, fmt::format("{}={}", name, value));
      EXPECT_EQ(found.timeout, 7U);
      EXPECT_EQ(found.deadline, 20U);
      EXPECT_THAT(found.ignoredOptions,
                  ElementsAre(fmt::format("The job option {}={} is ignored: it is no whole number "
                                          "of seconds.",
                                          name, value)));
    }
  }
  EXPECT_THAT(settings(kLaserForSeconds, "moxDeadline=0").ignoredOptions,
              ElementsAre("The job option moxDeadline=0 is ignored: it must leave the printer at "
                          "least a second."));
  const auto many = settings(kLaserForSeconds, "moxTimeout=" + std::string(100'000, 'x'));
  ASSERT_THAT(many.ignoredOptions, SizeIs(1));
  EXPECT_LT(many.ignoredOptions[0].size(), 200U);
}

TEST_F(SettingsOfAQueue, KeepTheirTypeWhateverAJobSays) {
  for (const char* type : {"Inkjet", "Plotter", "LASER"}) {
    const auto found = settings(kLaserForSeconds, fmt::format("moxPrinterType={}", type));
    EXPECT_EQ(found.kind, PrinterKind::kLaser);
    EXPECT_THAT(found.ignoredOptions,
                ElementsAre(fmt::format("The job option moxPrinterType={} is ignored: a job does "
                                        "not change what the printer is.",
                                        type)));
  }
  EXPECT_THAT(settings(kLaserForSeconds, "moxPrinterType=Laser").ignoredOptions, IsEmpty());
  EXPECT_THAT(mistake("", "moxPrinterType=Laser"), HasSubstr("moxPrinterType"));
}

TEST_F(SettingsOfAQueue, HaveTheTransportOfTheDeviceUri) {
  const char* ppd = "*moxPrinterType: \"Laser\"\n";
  EXPECT_EQ(settings(ppd, "", "socket://printer:9100/?waiteof=false").transport, "socket");
  EXPECT_EQ(settings(ppd, "", "dnssd://Small._pdl-datastream._tcp.local/").transport, "dnssd");
  EXPECT_EQ(settings(ppd, "", "mdns://Small/").transport, "mdns");
  EXPECT_EQ(settings(ppd, "", "parallel:/dev/lp0").transport, "usb");
  EXPECT_EQ(settings(ppd, "", "other://printer").transport, "socket");
  EXPECT_EQ(settings(ppd, "", "USB://printer").transport, "USB");
  EXPECT_EQ(settings(ppd, "", "ipp://printer/ipp/print").transport, "ipp");
  EXPECT_EQ(settings(ppd, "", "file:/dev/null").transport, "file");
  EXPECT_EQ(settings(ppd, "", "").transport, "");
}

TEST_F(SettingsOfAQueue, NeedAPpdFile) {
  for (const std::string& path : {path(), std::string()}) {
    const auto result = queueSettings(path, "moxPrinterType=Laser", "usb://x");
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().what, "cannot read the queue's PPD file \"" + path + "\"");
    EXPECT_TRUE(result.error().isMisuse);
  }
}

TEST_F(SettingsOfAQueue, NeedAPpdFileThatIsOne) {
  std::ofstream(path()) << "#!/bin/sh\n";
  const auto result = queueSettings(path(), "moxPrinterType=Laser", "usb://x");
  ASSERT_FALSE(result);
  EXPECT_THAT(result.error().what, HasSubstr(path()));
}

TEST_F(SettingsOfAQueue, NeedAType) {
  EXPECT_THAT(mistake(""), HasSubstr("moxPrinterType"));
  const auto result = read("");
  EXPECT_EQ(result.error().advice, "`moxsupply enable` writes it there.");
}

TEST_F(SettingsOfAQueue, NeedATypeThatThereIs) {
  EXPECT_EQ(mistake("*moxPrinterType: \"Plotter\"\n"),
            "moxPrinterType is \"Plotter\"; it must be Laser or Inkjet");
  EXPECT_EQ(mistake("*moxPrinterType: \"LASER\"\n"),
            "moxPrinterType is \"LASER\"; it must be Laser or Inkjet");
  EXPECT_EQ(mistake("*moxPrinterType: \"\"\n"),
            "moxPrinterType is \"\"; it must be Laser or Inkjet");
}

TEST_F(SettingsOfAQueue, NeedWholeSeconds) {
  const std::string type = "*moxPrinterType: \"Laser\"\n";
  for (const char* name : {"moxTimeout", "moxDeadline"}) {
    for (const char* value : {"soon", "5s", "-1", "1.5", "4294967296", "0x10", "+1"}) {
      const auto what =
          fmt::format("{} is \"{}\"; it must be a whole number of seconds", name, value);
      EXPECT_EQ(mistake(fmt::format("{}*{}: \"{}\"\n", type, name, value)), what);
    }
  }
}

TEST_F(SettingsOfAQueue, LeaveThePrinterAtLeastASecond) {
  EXPECT_THAT(mistake("*moxPrinterType: \"Laser\"\n*moxDeadline: \"0\"\n"),
              HasSubstr("moxDeadline is 0"));
  EXPECT_THAT(mistake("*moxPrinterType: \"Laser\"\n*moxDeadline: \"0\"\n", "moxDeadline=1"),
              HasSubstr("moxDeadline is 0"));
}

TEST_F(SettingsOfAQueue, NeedALowLevelBetweenEmptyAndFull) {
  const std::string type = "*moxPrinterType: \"Laser\"\n";
  for (const int level : {1, 99}) {
    EXPECT_EQ(settings(fmt::format("{}*moxLowLevel: \"{}\"\n", type, level)).lowLevel, level);
  }
  for (const char* value : {"0", "100", "-5", "10 %", "", "4294967306"}) {
    EXPECT_EQ(mistake(fmt::format("{}*moxLowLevel: \"{}\"\n", type, value)),
              fmt::format("moxLowLevel is \"{}\"; it must be a whole number from 1 to 99", value));
  }
}

}  // namespace
}  // namespace moxsupply::testing
