// `moxsupply doctor` on queues with one fault each: it names that fault and no other, and what it
// advises mends it.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;

struct NamedFault {
  std::string what;
  std::string remedy;
};

struct Diagnosis {
  int exitStatus = 0;
  std::vector<NamedFault> faults;
  std::string output;
};

class Doctor : public QueueTest {
 protected:
  [[nodiscard]] Diagnosis diagnose() const {
    const Ran ran = server().moxsupply({"doctor", queue()});
    EXPECT_EQ(ran.errors, "");
    Diagnosis diagnosis{ran.exitStatus, {}, ran.output};
    std::istringstream lines(ran.output);
    for (std::string line; std::getline(lines, line);) {
      constexpr std::string_view kFault = "  FAULT  ";
      constexpr std::string_view kRemedy = "         ";
      if (line.starts_with(kFault)) diagnosis.faults.push_back({line.substr(kFault.size()), ""});
      if (!line.starts_with(kRemedy)) continue;
      std::string& remedy = diagnosis.faults.back().remedy;
      if (remedy.empty()) remedy = line.substr(kRemedy.size());  // the first of two to choose from
    }
    return diagnosis;
  }

  // Expects a single fault, and returns what mends it.
  [[nodiscard]] std::string remedyOf(const std::string& fault) const {
    const Diagnosis diagnosis = diagnose();
    EXPECT_EQ(diagnosis.exitStatus, 1);
    EXPECT_EQ(diagnosis.faults.size(), 1U) << diagnosis.output;
    EXPECT_NE(diagnosis.output.find("\n1 fault.\n"), std::string::npos) << diagnosis.output;
    if (diagnosis.faults.empty()) return {};
    EXPECT_EQ(diagnosis.faults[0].what, fault);
    return diagnosis.faults[0].remedy;
  }

  // Does what was advised, as somebody who copies it from the terminal.
  void follow(std::string remedy) const {
    constexpr std::string_view kOurs = "moxsupply ";
    if (remedy.starts_with(kOurs)) remedy.replace(0, kOurs.size(), MOXSUPPLY_PROGRAM " ");
    const Ran ran = server().run({"sh", "-c", remedy});
    EXPECT_EQ(ran.exitStatus, 0) << remedy << ": " << ran.errors;
  }

  void expectNothingWrong() const {
    const Diagnosis diagnosis = diagnose();
    EXPECT_EQ(diagnosis.exitStatus, 0) << diagnosis.output;
    EXPECT_TRUE(diagnosis.output.ends_with("\nNothing is wrong.\n")) << diagnosis.output;
  }

  // Changes a line of the queue's driver.
  void changeDriver(const std::string& from, const std::string& to) const {
    std::string ppd = ppdOf(server(), queue());
    const std::size_t at = ppd.find(from);
    ASSERT_NE(at, std::string::npos) << ppd;
    addQueue(server(), queue(), port().uri(), ppd.replace(at, from.size(), to));
  }

  [[nodiscard]] fs::path filter() const {
    return server().folder() / "lib/cups/filter/commandtomox";
  }
};

const auto kGoodPrinter = [] { return laserPrinter({{"Black", 50}}); };

TEST_F(Doctor, FindsNothingWrongWithAGoodQueue) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  const Diagnosis diagnosis = diagnose();
  EXPECT_EQ(diagnosis.exitStatus, 0);
  EXPECT_EQ(diagnosis.output, queue() + ", " + port().uri() +
                                  "\n"
                                  "  ok     the queue has a driver (PPD file)\n"
                                  "  ok     socket:// brings the printer's answers back\n"
                                  "  ok     the command filter commandtomox is on the queue\n"
                                  "  ok     the queue takes the command ReportLevels\n"
                                  "  ok     it is asked as a printer of the type Laser\n"
                                  "  ok     the print server does not ask over SNMP\n"
                                  "  ok     the queue is in service\n"
                                  "  ok     the print server may run " +
                                  filter().string() +
                                  "\n"
                                  "  ok     the printer reports 1 supply\n"
                                  "Nothing is wrong.\n");
}

TEST_F(Doctor, NamesARawQueue) {
  addQueue(server(), queue(), port().uri(), "");
  EXPECT_EQ(remedyOf("\"" + queue() +
                     "\" is a raw queue: it has no driver (PPD file), so a command for its printer "
                     "would come out as paper"),
            "Give it a driver first, laser-passthrough or inkjet-passthrough: lpadmin -p " +
                queue() + " -m drv:///moxsupply.drv/laser-passthrough.ppd");
}

TEST_F(Doctor, NamesAllThatAQueueLacksAndOneCommandMendsIt) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Diagnosis diagnosis = diagnose();
  EXPECT_EQ(diagnosis.exitStatus, 1);
  ASSERT_FALSE(diagnosis.faults.empty());
  EXPECT_EQ(diagnosis.faults[0].what, "no command filter is on the queue");
  follow(diagnosis.faults[0].remedy);
  expectNothingWrong();
}

TEST_F(Doctor, NamesAMissingCommandFilter) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  changeDriver("*cupsFilter: \"application/vnd.cups-command 0 commandtomox\"\n", "");
  follow(remedyOf("no command filter is on the queue"));
  expectNothingWrong();
}

TEST_F(Doctor, NamesAnotherCommandFilter) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  changeDriver("commandtomox", "commandtops");
  follow(remedyOf("the queue's command filter is commandtops, which cannot ask this printer"));
  expectNothingWrong();
}

TEST_F(Doctor, NamesACommandFilterThatIsHidden) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  changeDriver("*OpenUI *PageSize",
               "*cupsFilter2: \"application/vnd.cups-postscript application/postscript 0 -\"\n"
               "*OpenUI *PageSize");
  follow(
      remedyOf("the command filter is on a cupsFilter line of the driver, which its cupsFilter2 "
               "lines hide"));
  expectNothingWrong();
}

TEST_F(Doctor, NamesAFilterOfAnotherOwner) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"chown", "lp", filter()}).exitStatus, 0);
  follow(
      remedyOf(filter().string() + " does not belong to root; the print server does not run it"));
  expectNothingWrong();
}

TEST_F(Doctor, NamesAFilterThatItsGroupMayWrite) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  fs::permissions(filter(), fs::perms(0775));
  follow(remedyOf(filter().string() +
                  " can be written by its group; the print server does not run it"));
  expectNothingWrong();
}

TEST_F(Doctor, NamesAFolderThatEverybodyMayWrite) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  fs::permissions(filter().parent_path(), fs::perms(0757));
  follow(remedyOf(filter().parent_path().string() +
                  " can be written by everyone; the print server does not run it"));
  expectNothingWrong();
}

TEST_F(Doctor, NamesAFilterThatIsNotThere) {
  addEnabledQueue("laser");
  const fs::path elsewhere = server().folder() / "home/commandtomox";
  fs::rename(filter(), elsewhere);
  EXPECT_EQ(remedyOf(filter().string() + ": No such file or directory"),
            "Install moxsupply's package again.");
  fs::rename(elsewhere, filter());
}

TEST_F(Doctor, NamesSnmp) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"lpadmin", "-p", queue(), "-o", "cupsSNMPSupplies=true"}).exitStatus, 0);
  follow(
      remedyOf("the print server asks the printer over SNMP, too: that overwrites the levels, or "
               "costs every job four seconds"));
  expectNothingWrong();
}

// The print server takes nearly any character for one of a name.
TEST_F(Doctor, AdvisesCommandsThatAShellTakesForTheVeryQueue) {
  const std::string name = queue() + ";a$(b)&|`c`*!~";
  addQueue(server(), name, port().uri(), postScriptDriver());
  const Ran doctor = server().moxsupply({"doctor", name});
  const std::string command = "moxsupply enable '" + name + "' --type laser";
  EXPECT_NE(doctor.output.find("\n         " + command + "\n"), std::string::npos)
      << doctor.output << doctor.errors;
  follow(command);
  EXPECT_NE(ppdOf(server(), name).find("commandtomox"), std::string::npos);
  EXPECT_EQ(server().run({"lpadmin", "-x", name}).exitStatus, 0);
}

TEST_F(Doctor, NamesAConnectionThatBringsNoAnswersBack) {
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"lpadmin", "-p", queue(), "-v", "lpd://127.0.0.1/raw"}).exitStatus, 0);
  EXPECT_EQ(remedyOf("lpd:// brings no answers back from the printer"),
            "Reach it over usb, socket, dnssd or mdns, for example: lpadmin -p " + queue() +
                " -v socket://HOST");
}

TEST_F(Doctor, NamesAStoppedQueue) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"cupsdisable", queue()}).exitStatus, 0);
  follow(remedyOf("the queue is stopped"));
  expectNothingWrong();
}

TEST_F(Doctor, NamesAQueueThatTakesNoJobs) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"cupsreject", queue()}).exitStatus, 0);
  follow(remedyOf("the queue takes no jobs"));
  expectNothingWrong();
}

TEST_F(Doctor, NamesASilentPrinter) {
  const SimulatedPrinter printer(port(), {}, silence());
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Ran enabled = server().moxsupply(
      {"enable", queue(), "--type", "laser", "--timeout", "1", "--deadline", "3"});
  ASSERT_EQ(enabled.exitStatus, 0) << enabled.errors;
  const std::string remedy =
      remedyOf("The printer did not answer. The levels shown are those of its last report.");
  EXPECT_EQ(remedy.find("Switch the printer on and wake it. `moxsupply levels " + port().uri() +
                        "` asks it without the queue"),
            0U)
      << remedy;
}

TEST_F(Doctor, NamesAPrinterThatNeverHangsUp) {
  const SimulatedPrinter printer(port(), kGoodPrinter(), {.neverClose = true});
  addEnabledQueue("laser");
  follow(remedyOf(
      "the printer answers, but does not hang up, and holds every job for up to 90 seconds"));
  expectNothingWrong();
}

}  // namespace
}  // namespace moxsupply::testing
