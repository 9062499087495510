// What `moxsupply levels --record` and MOXSUPPLY_RECORD of commandtomox leave in their file, and
// which files they leave alone.

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/Replay.h"
#include "tests/support/Requests.h"
#include "tests/support/Run.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/SmallPpd.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"
#include "transcript/TranscriptReader.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using transcript::Event;
using transcript::Transcript;

Transcript transcriptIn(const fs::path& path) {
  std::ifstream file(path);
  return transcript::readTranscript(file).value();
}

class Record : public ::testing::Test {
 protected:
  [[nodiscard]] std::string file() const { return mFolder.path() / "printer.transcript"; }
  [[nodiscard]] const fs::path& folder() const { return mFolder.path(); }

  // `levels` of a printer, recorded.
  Ran record(const std::string& uri, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {MOXSUPPLY_PROGRAM, "levels", uri, "--record", file()});
    return run(options, {"LC_ALL=C.UTF-8"});
  }

  // An address at which nobody may be asked.
  static std::string nobody() { return "socket://192.0.2.7"; }

  void expectRefusal(const char* why) {
    const auto before =
        fs::exists(fs::symlink_status(file())) ? std::optional(contentOf(file())) : std::nullopt;
    const Ran ran = record(nobody(), {"--deadline", "5"});
    EXPECT_EQ(ran.exitStatus, 2);
    EXPECT_EQ(ran.output, "");
    EXPECT_EQ(ran.errors,
              fmt::format("moxsupply levels: cannot record into \"{}\": {}\n", file(), why));
    EXPECT_LT(ran.time, 4s) << "the printer was asked";
    if (before) {
      EXPECT_EQ(contentOf(file()), *before);
    }
  }

 private:
  TemporaryFolder mFolder;
};

TEST_F(Record, OfALaserPrinterHasBothExchanges) {
  const SimulatedPrinter printer("laser-mono-levels-in-record");
  EXPECT_EQ(record(printer.uri(), {"--type", "laser"}).exitStatus, 0);
  const Transcript transcript = transcriptIn(file());
  ASSERT_EQ(transcript.size(), 1U);
  EXPECT_EQ(transcript[0].printerType, "Laser");
  EXPECT_EQ(transcript[0].transport, "socket");
  EXPECT_EQ(transcript[0].timeout, 2U);
  const auto& operations = transcript[0].operations;
  ASSERT_EQ(operations.size(), 4U);
  EXPECT_EQ(operations[0].event, Event::kSent);
  EXPECT_EQ(operations[0].bytes, kDeviceQuery);
  EXPECT_EQ(operations[1].event, Event::kReceived);
  EXPECT_EQ(operations[2].bytes, kSuppliesQuery);
  EXPECT_EQ(operations[3].event, Event::kReceived);
  EXPECT_THAT(hexText(operations[3].bytes), HasSubstr("0A 4D 4F 4E 4F 30 30 30 30 30 32 01"));
}

TEST_F(Record, WithoutSerialNumbersHasZerosAndTheSameReport) {
  const SimulatedPrinter printer("laser-mono-levels-in-record");
  const Ran plain = record(printer.uri(), {"--format", "json"});
  const Transcript whole = transcriptIn(file());
  const Ran redacted = record(printer.uri(), {"--redact", "--format", "json"});
  EXPECT_EQ(redacted.output, plain.output);
  const Transcript transcript = transcriptIn(file());
  EXPECT_THAT(hexText(transcript[0].operations[3].bytes),
              HasSubstr("0A 30 30 30 30 30 30 30 30 30 30 01"));
  EXPECT_EQ(contentOf(file()).find("4D 4F 4E 4F"), std::string::npos) << "the serial number";
  EXPECT_EQ(transcript[0].operations[1].bytes, whole[0].operations[1].bytes);
  EXPECT_EQ(reportOnReplay(MOXSUPPLY_PROGRAM, transcript[0]), plain.output);
}

TEST_F(Record, OfAPrinterOfUnknownTypeHasBothQueries) {
  const SimulatedPrinter printer("inkjet-quarry-colour-and-black");
  EXPECT_EQ(record(printer.uri()).exitStatus, 0);
  const Transcript transcript = transcriptIn(file());
  ASSERT_EQ(transcript.size(), 2U);
  EXPECT_EQ(transcript[0].printerType, "Laser");
  EXPECT_EQ(transcript[0].timeout, 1U);
  EXPECT_EQ(transcript[0].operations.size(), 1U);
  EXPECT_EQ(transcript[1].printerType, "Inkjet");
  EXPECT_EQ(transcript[1].operations.size(), 3U);
}

TEST_F(Record, KeepsWhenThePiecesCame) {
  const SimulatedPrinter printer("inkjet-lantern-in-pieces");
  EXPECT_EQ(record(printer.uri(), {"--type", "inkjet"}).exitStatus, 0);
  const Transcript transcript = transcriptIn(file());
  const auto& operations = transcript.at(0).operations;
  ASSERT_EQ(operations.size(), 8U);
  for (const std::size_t late : {4U, 6U}) {  // of the pieces, those that come after 50 ms
    EXPECT_GE(operations[late].pause, 45ms);
    EXPECT_LT(operations[late].pause, 1s);
  }
}

TEST_F(Record, ThroughABackendIsTheSame) {
  const SimulatedPrinter printer("laser-colour-full");
  record(printer.uri(), {"--type", "laser"});
  const Transcript direct = transcriptIn(file());
  record(printer.uri(), {"--type", "laser", "--backend"});
  const Transcript through = transcriptIn(file());
  const auto bytesOfPrinter = [](const Transcript& transcript) {
    Bytes bytes;
    for (const auto& operation : transcript.at(0).operations) {
      if (operation.event == Event::kReceived) bytes = joined({bytes, operation.bytes});
    }
    return bytes;
  };
  EXPECT_EQ(hexText(bytesOfPrinter(through)), hexText(bytesOfPrinter(direct)));
}

TEST_F(Record, OfAPrinterThatHangsUpSaysSo) {
  const SimulatedPrinter printer("laser-colour-full", {"cut=300"});
  const Ran ran = record(printer.uri(), {"--type", "laser", "--format", "json"});
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_LT(ran.time, 2s) << "a hang-up was not passed on";
  EXPECT_THAT(contentOf(file()), HasSubstr(" end\n"));
  EXPECT_EQ(reportOnReplay(MOXSUPPLY_PROGRAM, transcriptIn(file())[0]), ran.output);
}

// Recording changes nothing in what a query gives, over all printers.
class RecordOfModel : public ::testing::TestWithParam<std::string> {};

std::vector<std::string> models() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(MOXSUPPLY_MODELS)) {
    names.push_back(entry.path().stem());
  }
  return names;
}

INSTANTIATE_TEST_SUITE_P(Each, RecordOfModel, ::testing::ValuesIn(models()), [](const auto& model) {
  std::string name = model.param;
  std::ranges::replace(name, '-', '_');
  return name;
});

TEST_P(RecordOfModel, ChangesNothingAndCanBeReplayed) {
  const TemporaryFolder folder;
  const std::string file = folder.path() / "transcript";
  const SimulatedPrinter printer(GetParam());
  const std::string type = GetParam().starts_with("laser") ? "laser" : "inkjet";
  const std::vector<std::string> levels = {
      MOXSUPPLY_PROGRAM, "levels", printer.uri(), "--type", type,
      "--timeout",       "1",      "--format",    "json"};
  std::vector<std::string> recorded = levels;
  recorded.insert(recorded.end(), {"--record", file, "--redact"});
  const Ran expected = run(levels, {"LC_ALL=C"});
  const Ran ran = run(recorded, {"LC_ALL=C"});
  EXPECT_EQ(ran.output, expected.output);
  EXPECT_EQ(ran.errors, expected.errors);
  EXPECT_EQ(ran.exitStatus, expected.exitStatus);
  EXPECT_EQ(run({MOXSUPPLY_PROGRAM, "decode", file, "--format", "json"}, {"LC_ALL=C"}).output,
            expected.output);
}

// A TCP port at which the test itself is the printer.
class Port {
 public:
  Port() : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(mSocket.get(), generic, size) != 0 || ::listen(mSocket.get(), 8) != 0 ||
        ::getsockname(mSocket.get(), generic, &size) != 0) {
      std::abort();
    }
    mUri = fmt::format("socket://127.0.0.1:{}", ntohs(address.sin_port));
  }

  [[nodiscard]] const std::string& uri() const { return mUri; }
  [[nodiscard]] FileDescriptor accept() const {
    return FileDescriptor(::accept4(mSocket.get(), nullptr, nullptr, SOCK_CLOEXEC));
  }

 private:
  FileDescriptor mSocket;
  std::string mUri;
};

void awaitRequest(const FileDescriptor& connection) {
  Bytes request(kDeviceQuery.size());
  ::recv(connection.get(), request.data(), request.size(), MSG_WAITALL);
  EXPECT_EQ(hexText(request), hexText(kDeviceQuery));
}

bool fileHas(const fs::path& path, const std::string& text) {
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (contentOf(path).find(text) == std::string::npos) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

TEST_F(Record, IsWholeWhenTheQueryIsInterrupted) {
  const Port port;
  FilterProcess levels(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "levels", port.uri(), "--timeout",
                                              "100", "--type", "laser", "--record", file()});
  const FileDescriptor connection = port.accept();
  awaitRequest(connection);
  ASSERT_EQ(::send(connection.get(), "\xA5\x00\x10", 3, 0), 3);
  ASSERT_TRUE(fileHas(file(), "A5 00 10\n"));
  ::kill(levels.pid(), SIGINT);
  EXPECT_EQ(levels.wait().signal, SIGINT);
  const Transcript transcript = transcriptIn(file());
  ASSERT_EQ(transcript.at(0).operations.size(), 2U);
  EXPECT_EQ(transcript[0].operations[1].bytes, hex("A5 00 10"));
}

TEST_F(Record, IsWholeWhenTheDeadlineEndsTheQuery) {
  const Port port;
  const auto start = std::chrono::steady_clock::now();
  FilterProcess levels(BackChannel::kClosed,
                       {MOXSUPPLY_PROGRAM, "levels", port.uri(), "--timeout", "100", "--deadline",
                        "1", "--type", "laser", "--record", file()});
  const FileDescriptor connection = port.accept();
  awaitRequest(connection);
  ASSERT_EQ(::send(connection.get(), "\xA5\x00\x10", 3, 0), 3);
  const auto ending = levels.wait();
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_THAT(ending.result, HasSubstr("by the deadline"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
  EXPECT_EQ(transcriptIn(file()).at(0).operations.size(), 2U);
}

TEST_F(Record, OfAFloodEndsAsWithout) {
  const Port port;
  FilterProcess levels(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "levels", port.uri(), "--type",
                                              "inkjet", "--record", file()});
  const FileDescriptor connection = port.accept();
  std::thread flood([&] {
    const std::string bytes(65536, '\xA5');
    while (::send(connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0) {
    }
  });
  EXPECT_EQ(levels.wait().exitStatus, 1);
  flood.join();
  EXPECT_NO_THROW(transcriptIn(file()));
}

// A link that takes no request makes the query fail as it does without recording.
TEST_F(Record, OfALinkThatTakesNothingSaysSo) {
  std::ofstream(folder() / "queue.ppd") << smallPpd("*moxPrinterType: \"Laser\"\n");
  std::ofstream(folder() / "commands") << "#CUPS-COMMAND\nReportLevels\n";
  for (const std::string& recorded : {std::string(), file()}) {
    FilterProcess filter(
        BackChannel::kNonBlockingPipe,
        {"sh", "-c",
         "exec env -u SOFTWARE " MOXSUPPLY_COMMAND_FILTER " 1 u t 1 '' \"$0\" >/dev/full",
         folder() / "commands"},
        {"DEVICE_URI=usb://x", "PPD=" + (folder() / "queue.ppd").string(),
         "MOXSUPPLY_RECORD=" + recorded});
    const auto ending = filter.wait();
    EXPECT_EQ(ending.exitStatus, 0);
    EXPECT_THAT(ending.result, HasSubstr("The printer hung up before it was asked"));
  }
  const Transcript transcript = transcriptIn(file());
  ASSERT_EQ(transcript.at(0).operations.size(), 2U);
  EXPECT_EQ(transcript[0].operations[1].event, Event::kFailed);
}

TEST_F(Record, ByTheCommandFilterIsWhatWentOverItsDescriptors) {
  std::ofstream(folder() / "queue.ppd") << smallPpd("*moxPrinterType: \"Laser\"\n");
  std::ofstream(folder() / "commands") << "#CUPS-COMMAND\nReportLevels\n";
  const Transcript recorded = readTranscriptOf("laser-levels-in-record");
  const auto& operations = recorded.at(0).operations;
  FilterProcess filter(BackChannel::kNonBlockingPipe,
                       {"env", "-u", "SOFTWARE", MOXSUPPLY_COMMAND_FILTER, "1", "u", "t", "1", "",
                        folder() / "commands"},
                       {"DEVICE_URI=usb://x", "PPD=" + (folder() / "queue.ppd").string(),
                        "MOXSUPPLY_RECORD=" + file(), "MOXSUPPLY_REDACT=1"});
  for (const std::size_t request : {0U, 2U}) {
    EXPECT_EQ(filter.receive(operations[request].bytes.size()), operations[request].bytes);
    filter.sendInPieces({operations[request + 1].bytes});
  }
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_THAT(ending.result, HasSubstr("marker-levels='45,81'"));
  const Transcript transcript = transcriptIn(file());
  EXPECT_EQ(transcript.at(0).transport, "usb");
  ASSERT_GE(transcript[0].operations.size(), 4U);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(transcript[0].operations[i].bytes, operations[i].bytes);
  }
}

// The queue gets its levels all the same, and the log says why there is no transcript.
TEST_F(Record, ByTheCommandFilterThatCannotBeMadeTakesNoLevelsAway) {
  std::ofstream(folder() / "queue.ppd") << smallPpd("*moxPrinterType: \"Laser\"\n");
  std::ofstream(folder() / "commands") << "#CUPS-COMMAND\nReportLevels\n";
  std::ofstream(file()) << "precious";
  const auto operations = readTranscriptOf("laser-levels-in-record").at(0).operations;
  FilterProcess filter(BackChannel::kNonBlockingPipe,
                       {"env", "-u", "SOFTWARE", MOXSUPPLY_COMMAND_FILTER, "1", "u", "t", "1", "",
                        folder() / "commands"},
                       {"DEVICE_URI=usb://x", "PPD=" + (folder() / "queue.ppd").string(),
                        "MOXSUPPLY_RECORD=" + file()});
  filter.receive(operations[0].bytes.size());
  filter.sendInPieces({operations[1].bytes, operations[3].bytes});
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_THAT(ending.result, StartsWith("ERROR: cannot record into \"" + file() +
                                        "\": it is there already and is no transcript\n"));
  EXPECT_THAT(ending.result, HasSubstr("marker-levels="));
  EXPECT_EQ(contentOf(file()), "precious");
}

TEST_F(Record, IsForItsOwnerAlone) {
  const SimulatedPrinter printer("laser-mono-toner");
  const mode_t former = ::umask(0);
  EXPECT_EQ(record(printer.uri(), {"--type", "laser"}).exitStatus, 0);
  ::umask(former);
  struct stat status {};
  ASSERT_EQ(::stat(file().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(Record, ReplacesATranscriptAndAnEmptyFile) {
  const SimulatedPrinter printer("laser-mono-toner");
  std::ofstream(file()) << "";
  fs::permissions(file(), fs::perms(0644));
  EXPECT_EQ(record(printer.uri(), {"--type", "laser"}).exitStatus, 0);
  EXPECT_EQ(fs::status(file()).permissions(), fs::perms(0600));
  std::ofstream(file(), std::ios::app) << std::string(10000, '#') + '\n';
  EXPECT_EQ(record(printer.uri(), {"--type", "laser"}).exitStatus, 0);
  EXPECT_EQ(contentOf(file()).find("##"), std::string::npos);
}

TEST_F(Record, DoesNotFollowSymbolicLinks) {
  std::ofstream(folder() / "empty") << "";
  fs::create_symlink(folder() / "empty", file());
  expectRefusal("it is a symbolic link");
  fs::remove(file());
  fs::create_symlink(folder() / "nothing", file());
  expectRefusal("it is a symbolic link");
  EXPECT_FALSE(fs::exists(folder() / "nothing"));
}

TEST_F(Record, DoesNotReplaceAnotherFile) {
  std::ofstream(file()) << "precious";
  expectRefusal("it is there already and is no transcript");
}

TEST_F(Record, DoesNotReplaceAFileWithAnotherName) {
  std::ofstream(folder() / "other") << "";
  fs::create_hard_link(folder() / "other", file());
  expectRefusal("it has another name, too");
}

TEST_F(Record, DoesNotReplaceAFileOfSomebodyElse) {
  if (::geteuid() != 0) GTEST_SKIP() << "takes root, to give a file away";
  std::ofstream(file()) << "";
  ASSERT_EQ(::chown(file().c_str(), 65534, 65534), 0);
  expectRefusal("it belongs to somebody else");
}

TEST_F(Record, DoesNotWaitForWhatIsNoFile) {
  ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
  const Ran ran = record(nobody());
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_THAT(ran.errors, HasSubstr("it is no regular file"));
  fs::remove(file());
  fs::create_directory(file());
  EXPECT_THAT(record(nobody()).errors, HasSubstr("Is a directory"));
}

TEST_F(Record, IntoAFolderThatIsNotThereIsRefused) {
  const Ran ran = run({MOXSUPPLY_PROGRAM, "levels", nobody(), "--record", folder() / "no/file"});
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_THAT(ran.errors, HasSubstr("No such file or directory"));
}

TEST_F(Record, OnAFullDeviceShowsTheLevelsAndSaysSo) {
  // A limit on the size of files stands for the full device: SIGXFSZ ignored, writing fails.
  const SimulatedPrinter printer("laser-mono-levels-in-record");
  const Ran ran =
      run({"sh", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "sh", MOXSUPPLY_PROGRAM, "levels",
           printer.uri(), "--format", "json", "--record", file()});
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_THAT(ran.output, StartsWith("{\"status\":0,"));
  EXPECT_EQ(ran.errors, fmt::format("moxsupply levels: the transcript \"{}\" is not whole: File "
                                    "too large\n",
                                    file()));
}

TEST_F(Record, OfAQueueNamesTheEnvironmentVariable) {
  const Ran ran = record("office");
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_THAT(ran.errors,
              StartsWith("moxsupply levels: --record: takes a device URI, and \"office\" is none"));
  EXPECT_THAT(ran.errors, HasSubstr("MOXSUPPLY_RECORD"));
  EXPECT_FALSE(fs::exists(file()));
}

TEST_F(Record, IntoNoFileIsAMistake) {
  const Ran ran = run({MOXSUPPLY_PROGRAM, "levels", nobody(), "--record", ""});
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_THAT(ran.errors, HasSubstr("--record: expected the path of a file"));
}

TEST_F(Record, IsWhatRedactNeeds) {
  const Ran ran = run({MOXSUPPLY_PROGRAM, "levels", nobody(), "--redact"});
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_THAT(ran.errors, HasSubstr("--redact requires --record"));
}

}  // namespace
}  // namespace moxsupply::testing
