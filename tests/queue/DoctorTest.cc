// `moxsupply doctor` on queues with one fault each: it names that fault and no other, and what it
// advises mends it.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Silence is waited for until a printer that is asleep would have woken up.
constexpr auto kLongestDiagnosis = 120s;

struct NamedFault {
  std::string what;
  std::string help;  // the lines below it
  std::string command;
};

struct Diagnosis {
  int exitStatus = 0;
  std::vector<NamedFault> faults;
  std::string output;
};

bool isCommand(const std::string& line) {
  return line.starts_with("sudo ") || line.starts_with("moxsupply ");
}

Diagnosis diagnosisOf(const Ran& ran) {
  EXPECT_EQ(ran.errors, "");
  Diagnosis diagnosis{ran.exitStatus, {}, ran.output};
  std::istringstream lines(ran.output);
  for (std::string line; std::getline(lines, line);) {
    constexpr std::string_view kFault = "  FAULT  ";
    constexpr std::string_view kHelp = "         ";
    if (line.starts_with(kFault)) diagnosis.faults.push_back({line.substr(kFault.size()), "", ""});
    if (!line.starts_with(kHelp)) continue;
    NamedFault& fault = diagnosis.faults.back();
    const std::string help = line.substr(kHelp.size());
    if (isCommand(help)) fault.command = help;
    if (!isCommand(help)) fault.help += help + '\n';
  }
  return diagnosis;
}

class Doctor : public QueueTest {
 protected:
  [[nodiscard]] Diagnosis diagnose() const {
    return diagnosisOf(server().moxsupply({"doctor", queue()}, {}, kLongestDiagnosis));
  }

  // Expects a single fault, and returns it.
  [[nodiscard]] NamedFault faultOf() const {
    const Diagnosis diagnosis = diagnose();
    EXPECT_EQ(diagnosis.exitStatus, 1);
    EXPECT_EQ(diagnosis.faults.size(), 1U) << diagnosis.output;
    EXPECT_NE(diagnosis.output.find("\n1 fault.\n"), std::string::npos) << diagnosis.output;
    return diagnosis.faults.empty() ? NamedFault() : diagnosis.faults[0];
  }

  // Expects this single fault, and returns the command that mends it.
  [[nodiscard]] std::string remedyOf(const std::string& fault) const {
    const NamedFault found = faultOf();
    EXPECT_EQ(found.what, fault);
    return found.command;
  }

  // Does what was advised, as somebody who copies it from the terminal, and is root already.
  void follow(const std::string& remedy) const {
    const Ran ran = server().run(
        {"sh", "-c",
         "sudo() { \"$@\"; }; moxsupply() { " MOXSUPPLY_PROGRAM " \"$@\"; }; " + remedy});
    EXPECT_EQ(ran.exitStatus, 0) << remedy << ": " << ran.errors;
  }

  void addQueueLike(const std::string& driver) const {
    addQueue(server(), queue(), port().uri(), driver);
  }

  void enable(const std::vector<std::string>& options) const {
    addQueueLike(postScriptDriver());
    std::vector<std::string> arguments = {"enable", queue()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Ran ran = server().moxsupply(arguments);
    ASSERT_EQ(ran.exitStatus, 0) << ran.errors;
  }

  // Sends a job to a queue. Returns its number.
  [[nodiscard]] static int print(const std::string& queue, const std::string& title) {
    const std::string file = server().folder() / "home/page";
    std::ofstream(file) << "page\n";
    return jobOf(server().run({"lp", "-d", queue, "-o", "raw", "-t", title, file}), queue);
  }

  // Whether the queue's printer has taken a job by then.
  [[nodiscard]] bool isPrintingWithin(std::chrono::nanoseconds patience) const {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < end) {
      const Attributes now = attributes();
      const bool isConnecting = now["printer-state-reasons"] == Values{"connecting-to-device"};
      if (now["printer-state"] == Values{"4"} && !isConnecting) return true;
      std::this_thread::sleep_for(20ms);
    }
    return false;
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
                                  "  ok     asked directly, it answers as a laser printer\n"
                                  "  ok     the printer reports 1 supply\n"
                                  "Nothing is wrong.\n");
}

// The driver that it advises is not installed here: the command is tried with the package.
TEST_F(Doctor, NamesARawQueueAndTheDriverForItsPrinter) {
  const SimulatedPrinter printer(port(), inkjetPrinter("B0", 61));
  addQueueLike("");
  EXPECT_EQ(
      remedyOf("\"" + queue() +
               "\" is a raw queue: it has no driver (PPD file), so a command for its printer "
               "would come out as paper"),
      "sudo /usr/sbin/lpadmin -p " + queue() + " -m drv:///moxsupply.drv/inkjet-passthrough.ppd");
}

TEST_F(Doctor, NamesAllThatAQueueLacksAndOneCommandMendsIt) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Diagnosis diagnosis = diagnose();
  EXPECT_EQ(diagnosis.exitStatus, 1);
  ASSERT_FALSE(diagnosis.faults.empty());
  EXPECT_EQ(diagnosis.faults[0].what, "no command filter is on the queue");
  EXPECT_EQ(diagnosis.faults[0].command, "sudo moxsupply enable " + queue() + " --type laser");
  follow(diagnosis.faults[0].command);
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
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  const fs::path elsewhere = server().folder() / "home/commandtomox";
  fs::rename(filter(), elsewhere);
  const NamedFault fault = faultOf();
  EXPECT_EQ(fault.what, filter().string() + ": No such file or directory");
  EXPECT_EQ(fault.help, "Install moxsupply's package again.\n");
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
TEST_F(Doctor, NamesSettingsThatAreWrong) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  changeDriver("*moxDeadline: \"45\"", "*moxDeadline: \"soon\"");
  follow(remedyOf("moxDeadline is \"soon\"; it must be a whole number of seconds"));
  expectNothingWrong();
}

// As one that was killed leaves it.
TEST_F(Doctor, NamesADisableThatWasInterrupted) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  changeDriver("*moxDeadline: \"45\"", "*moxDeadline: \"45\"\n*moxForget: \"2\"");
  follow(remedyOf(
      "the queue forgets its levels when it is to report them: a `moxsupply disable` of it "
      "was interrupted"));
  expectNothingWrong();
}

// As an update of the driver does it.
TEST_F(Doctor, NamesASetUpThatAnotherDriverHasTakenAway) {
  const SimulatedPrinter printer(port(), inkjetPrinter("B0", 61));
  addEnabledQueue("inkjet");
  addQueueLike(postScriptDriver());
  const std::string remedy = remedyOf(
      "the queue was set up for its levels, and another driver, or an update of its driver, has "
      "taken that away");
  EXPECT_EQ(remedy, "sudo moxsupply enable " + queue() + " --type inkjet");
  follow(remedy);
  expectNothingWrong();
}

// The print server takes nearly any character for one of a name.
TEST_F(Doctor, AdvisesCommandsThatAShellTakesForTheVeryQueue) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  const std::string name = queue() + ";a$(b)&|`c`*!~";
  addQueue(server(), name, port().uri(), postScriptDriver());
  const Ran doctor = server().moxsupply({"doctor", name});
  const std::string command = "sudo moxsupply enable '" + name + "' --type laser";
  EXPECT_NE(doctor.output.find("\n         " + command + "\n"), std::string::npos)
      << doctor.output << doctor.errors;
  follow(command);
  EXPECT_NE(ppdOf(server(), name).find("commandtomox"), std::string::npos);
  EXPECT_EQ(server().run({"lpadmin", "-x", name}).exitStatus, 0);
}

TEST_F(Doctor, NamesAConnectionThatBringsNoAnswersBack) {
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"lpadmin", "-p", queue(), "-v", "lpd://nowhere.invalid/raw"}).exitStatus,
            0);
  const NamedFault fault = faultOf();
  EXPECT_EQ(fault.what, "lpd:// brings no answers back from the printer");
  EXPECT_NE(fault.help.find("usb://, socket:// and dnssd://"), std::string::npos) << fault.help;
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
  enable({"--type", "laser", "--timeout", "1"});
  EXPECT_EQ(remedyOf("the printer takes the connection, and says nothing when it is asked as a "
                     "laser or an inkjet printer"),
            "moxsupply levels " + port().uri() + " --type laser --timeout 15 --deadline 180");
}

TEST_F(Doctor, NamesThePrinterThatIsNoLaserPrinter) {
  const SimulatedPrinter printer(port(), inkjetPrinter("B0", 61));
  addEnabledQueue("laser");
  const std::string remedy =
      remedyOf("the queue asks it as a laser printer, and it is an inkjet printer");
  EXPECT_EQ(remedy, "sudo moxsupply enable " + queue() + " --type inkjet");
  follow(remedy);
  expectNothingWrong();
}

TEST_F(Doctor, NamesThePrinterThatIsNoInkjetPrinter) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  enable({"--type", "inkjet", "--deadline", "50"});
  const std::string remedy =
      remedyOf("the queue asks it as an inkjet printer, and it is a laser printer");
  EXPECT_EQ(remedy, "sudo moxsupply enable " + queue() + " --type laser --deadline 50");
  follow(remedy);
  expectNothingWrong();
}

TEST_F(Doctor, LeavesAQueueThatDoesNotAskAfterJobsLikeThat) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  enable({"--type", "inkjet", "--no-after-jobs"});
  EXPECT_EQ(faultOf().command,
            "sudo moxsupply enable " + queue() + " --type laser --no-after-jobs");
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  EXPECT_EQ(faultOf().command,
            "sudo moxsupply enable " + queue() + " --type laser --no-after-jobs");
}

// What it shows is the last report's where there was one, and only then that is said.
TEST_F(Doctor, NamesAPortThatIsRefused) {
  constexpr const char* kOld = "The levels that the queue shows are those of its last report.";
  addEnabledQueue("laser");
  const std::string refused = "cannot connect to 127.0.0.1 port " +
                              std::to_string(port().number()) + ": Connection refused";
  NamedFault fault = faultOf();
  EXPECT_EQ(fault.what, refused);
  EXPECT_EQ(fault.command, "sudo /usr/sbin/lpinfo -v");
  EXPECT_EQ(fault.help.find(kOld), std::string::npos) << fault.help;
  {
    const SimulatedPrinter printer(port(), kGoodPrinter());
    expectNothingWrong();
  }
  fault = faultOf();
  EXPECT_EQ(fault.what, refused);
  EXPECT_EQ(fault.help.find(kOld), 0U) << fault.help;
}

TEST_F(Doctor, NamesAHostThatIsNotKnown) {
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"lpadmin", "-p", queue(), "-v", "socket://nowhere.invalid"}).exitStatus,
            0);
  const NamedFault fault = faultOf();
  EXPECT_TRUE(fault.what.starts_with("cannot find the host \"nowhere.invalid\": ")) << fault.what;
  EXPECT_EQ(fault.command, "sudo /usr/sbin/lpinfo -v");
}

TEST_F(Doctor, NamesAUsbPrinterWithoutADevice) {
  addEnabledQueue("laser");
  constexpr const char* kUri = "usb://Example/Printer?serial=1";
  ASSERT_EQ(server().run({"lpadmin", "-p", queue(), "-v", kUri}).exitStatus, 0);
  EXPECT_EQ(remedyOf(std::string("no device is there as ") + kUri), "sudo /usr/sbin/lpinfo -v");
}

TEST_F(Doctor, NamesAPrinterThatHangsUp) {
  for (const simulator::Faults& faults :
       {simulator::Faults{.cut = 0}, simulator::Faults{.reset = 0}}) {
    const SimulatedPrinter printer(port(), kGoodPrinter(), faults);
    addEnabledQueue("laser");
    EXPECT_EQ(remedyOf("the printer takes the connection, and ends it without an answer"),
              "moxsupply doctor " + queue());
  }
}

// It is on, and it did answer: nobody is sent to switch it on.
TEST_F(Doctor, NamesAnAnswerThatCannotBeRead) {
  for (const simulator::Faults& faults :
       {simulator::Faults{.cut = 20}, simulator::Faults{.reset = 20},
        simulator::Faults{.flood = simulator::Faults::Flood::kBytes}}) {
    const SimulatedPrinter printer(port(), kGoodPrinter(), faults);
    addEnabledQueue("laser");
    const NamedFault fault = faultOf();
    EXPECT_TRUE(fault.what == "the printer answered but its supplies cannot be read" ||
                fault.what ==
                    "the printer answers, but with nothing that its supplies can be read from")
        << fault.what;
    EXPECT_EQ(fault.help.find("witch"), std::string::npos) << fault.help;
    EXPECT_EQ(fault.command, "moxsupply levels " + port().uri() +
                                 " --type laser --record printer.transcript --redact");
  }
}

TEST_F(Doctor, NamesAPrinterThatIsSlowAndTheDeadlineThatItNeeds) {
  simulator::Model model = kGoodPrinter();
  model.replyTo(simulator::Request::kSuppliesQuery).writes = {{8, 1500ms}, {40, 1500ms}};
  const SimulatedPrinter printer(port(), model);
  enable({"--type", "laser", "--deadline", "3"});
  const NamedFault fault = faultOf();
  EXPECT_TRUE(fault.what.starts_with("the printer sends its answer slowly: it takes "))
      << fault.what;
  EXPECT_TRUE(fault.what.ends_with(" seconds, and the queue gives up after 2")) << fault.what;
  EXPECT_EQ(fault.command, "sudo moxsupply enable " + queue() + " --type laser");
  follow(fault.command);
  expectNothingWrong();
}

TEST_F(Doctor, NamesAPrinterThatIsLongAsleepAndTheTimeoutThatItNeeds) {
  const SimulatedPrinter printer(port(), kGoodPrinter(), {.wake = 11s});
  addEnabledQueue("laser");
  const NamedFault fault = faultOf();
  EXPECT_EQ(fault.command, "sudo moxsupply enable " + queue() + " --type laser --timeout 4")
      << fault.what;
  follow(fault.command);
  expectNothingWrong();
}

// The title is whatever the job's sender wrote.
TEST_F(Doctor, NamesTheJobOnAPrinterThatIsPrinting) {
  const SimulatedPrinter printer(port(), kGoodPrinter(), {.neverClose = true});
  addEnabledQueue("laser");
  const int job = print(queue(), "The \u202E \"plan\" \u202C");
  ASSERT_TRUE(isPrintingWithin(10s));
  const Ran ran = server().moxsupply({"doctor", queue()});
  EXPECT_EQ(ran.exitStatus, 0) << ran.output;
  EXPECT_LT(ran.time, 10s);
  EXPECT_NE(ran.output.find("  ok     the printer is at work on job " + std::to_string(job) +
                            ", \"The \"plan\"\", of root; it was not asked now\n"),
            std::string::npos)
      << ran.output;
  EXPECT_EQ(server().run({"cancel", queue() + "-" + std::to_string(job)}).exitStatus, 0);
}

// Its levels come from the print server; changing it to socket:// would break it.
TEST_F(Doctor, LeavesAQueueThatPrintsOverIppAlone) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  report();
  const std::string client = queue() + "-ipp";
  addQueue(server(), client, server().printerUri(queue()), "");
  Ran ran = server().moxsupply({"doctor", client});
  EXPECT_EQ(ran.exitStatus, 0) << ran.output;
  EXPECT_NE(
      ran.output.find("  ok     it prints over IPP: the print server itself fetches the levels "
                      "with each job, if the printer tells them; it shows none yet\n"),
      std::string::npos)
      << ran.output;

  EXPECT_EQ(endOf(server(), client, print(client, "page")), "completed");
  ran = server().moxsupply({"doctor", client});
  EXPECT_EQ(ran.exitStatus, 0) << ran.output;
  EXPECT_NE(ran.output.find("and shows those of 1 supply\n"), std::string::npos) << ran.output;
  EXPECT_EQ(ran.output.find("socket://"), std::string::npos) << ran.output;
}

TEST_F(Doctor, SendsFromAClassToItsQueues) {
  addEnabledQueue("laser");
  const std::string name = queue() + "-class";
  ASSERT_EQ(server().run({"lpadmin", "-p", queue(), "-c", name}).exitStatus, 0);
  ASSERT_EQ(server().run({"cupsenable", name}).exitStatus, 0);
  ASSERT_EQ(server().run({"cupsaccept", name}).exitStatus, 0);
  const Ran ran = server().moxsupply({"doctor", name});
  EXPECT_EQ(ran.exitStatus, 0) << ran.output;
  EXPECT_NE(ran.output.find("  ok     it is a class of queues, and shows no levels; each of these "
                            "shows its own: " +
                            queue() + "\n"),
            std::string::npos)
      << ran.output;
  EXPECT_EQ(server().run({"lpadmin", "-x", name}).exitStatus, 0);
}

TEST_F(Doctor, NamesAPrinterThatNeverHangsUp) {
  const SimulatedPrinter printer(port(), kGoodPrinter(), {.neverClose = true});
  addEnabledQueue("laser");
  follow(remedyOf(
      "the printer answers, but does not hang up, and holds every job for up to 90 seconds"));
  expectNothingWrong();
}

TEST_F(Doctor, ExaminesTheQueuesThatAreNamed) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  addEnabledQueue("laser");
  const std::string other = queue() + "-other";
  addQueue(server(), other, "socket://nowhere.invalid", postScriptDriver());
  const Ran both = server().moxsupply({"doctor", other, queue()});
  EXPECT_EQ(both.exitStatus, 1);
  EXPECT_EQ(both.output.find(other + ", socket://nowhere.invalid\n"), 0U) << both.output;
  EXPECT_NE(both.output.find("\n2 faults.\n" + queue() + ", " + port().uri() + "\n"),
            std::string::npos)
      << both.output;
  EXPECT_TRUE(both.output.ends_with("Nothing is wrong.\n")) << both.output;

  const Ran withNone = server().moxsupply({"doctor", queue(), "nosuch"});
  EXPECT_EQ(withNone.exitStatus, 2);
  EXPECT_TRUE(withNone.output.ends_with("Nothing is wrong.\n")) << withNone.output;
  EXPECT_NE(withNone.errors.find("no queue \"nosuch\""), std::string::npos) << withNone.errors;
  EXPECT_EQ(server().run({"lpadmin", "-x", other}).exitStatus, 0);
}

TEST_F(Doctor, TakesQueuesOrAllOfThem) {
  EXPECT_EQ(server().moxsupply({"doctor"}).exitStatus, 2);
  EXPECT_EQ(server().moxsupply({"doctor", "--all", queue()}).exitStatus, 2);
  EXPECT_EQ(server().moxsupply({"doctor", "nosuch"}).exitStatus, 2);
}

// A print server of its own, which has no queues but those of the test.
class DoctorOfAll : public Doctor {
 protected:
  static void SetUpTestSuite() { startPrintServer(PrivatePrintServer::Policy::kOpen); }
};

TEST_F(DoctorOfAll, TellsALineAQueueTheWorstFirst) {
  const SimulatedPrinter printer(port(), kGoodPrinter());
  const ReservedPort nobody;
  Ran ran = server().moxsupply({"doctor", "--all"});
  EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  EXPECT_EQ(ran.output, "");
  addEnabledQueue("laser");
  ran = server().moxsupply({"doctor", "--all"});
  EXPECT_EQ(ran.exitStatus, 0) << ran.output << ran.errors;
  EXPECT_EQ(ran.output, "ok     " + queue() + "  the printer reports 1 supply\n");

  addQueue(server(), "a-none", port().uri(), postScriptDriver());
  addQueue(server(), "b-dead", nobody.uri(), postScriptDriver());
  addQueue(server(), "c-ipp", "ipp://nowhere.invalid/ipp/print", postScriptDriver());
  ran = server().moxsupply({"doctor", "--all"});
  EXPECT_EQ(ran.exitStatus, 1);
  std::istringstream text(ran.output);
  Values lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 4U) << ran.output;
  EXPECT_TRUE(lines[0].starts_with("FAULT  b-dead")) << lines[0];
  EXPECT_NE(lines[0].find("Connection refused"), std::string::npos) << lines[0];
  EXPECT_TRUE(lines[1].starts_with("FAULT  a-none")) << lines[1];
  EXPECT_TRUE(lines[1].ends_with("; run: sudo moxsupply enable a-none --type laser")) << lines[1];
  EXPECT_TRUE(lines[2].starts_with("ok     c-ipp")) << lines[2];
  EXPECT_TRUE(lines[3].starts_with("ok     " + queue())) << lines[3];
}

// Each of them waits ten seconds for a device.
TEST_F(DoctorOfAll, ExaminesSeveralQueuesAtOnce) {
  constexpr int kQueues = 6;
  for (int i = 0; i < kQueues; ++i) {
    addQueue(server(), "cable" + std::to_string(i),
             "usb://Example/Printer?serial=" + std::to_string(i), postScriptDriver());
  }
  const Ran ran = server().moxsupply({"doctor", "--all"}, {}, kLongestDiagnosis);
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_LT(ran.time, 30s) << ran.output;
  for (int i = 0; i < kQueues; ++i) {
    EXPECT_NE(
        ran.output.find("no device is there as usb://Example/Printer?serial=" + std::to_string(i)),
        std::string::npos)
        << ran.output;
  }
}

TEST_F(Doctor, PassesOnWhatTheBackendSays) {
  server().addBackend(
      "cable", "#!/bin/sh\n[ $# -gt 0 ] || exit 0\necho 'ERROR: It is loose' >&2\nsleep 2\n");
  addQueue(server(), queue(), "cable://office", postScriptDriver());
  ASSERT_EQ(server().moxsupply({"enable", queue(), "--type", "laser"}).exitStatus, 0);
  const std::string output = diagnose().output;
  EXPECT_NE(output.find(" The CUPS backend says: It is loose\n"), std::string::npos) << output;
}

}  // namespace
}  // namespace moxsupply::testing
