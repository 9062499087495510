#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <list>
#include <thread>

#include "tests/simulator/FourCartridges.h"
#include "tests/simulator/TemporaryFile.h"
#include "tests/support/Client.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/Processes.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using Clock = std::chrono::steady_clock;

const std::string kUriPattern = R"(socket://127\.0\.0\.1:[0-9]+)";

std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// The program, with these arguments. It does not share a terminal with the tests.
FilterProcess simulate(std::vector<std::string> arguments) {
  std::vector<std::string> command = {"sh", "-c", R"(exec "$0" "$@" < /dev/null)",
                                      MOXSUPPLY_PROGRAM, "simulate"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return {BackChannel::kClosed, command};
}

std::string firstLine(FilterProcess& program) {
  std::string line;
  for (Bytes next = program.receive(1); !next.empty() && next[0] != '\n';
       next = program.receive(1)) {
    line.push_back(static_cast<char>(next[0]));
  }
  return line;
}

// How the program ends when it serves no printer.
FilterProcess::Ending ended(const std::vector<std::string>& arguments) {
  FilterProcess program = simulate(arguments);
  return program.wait();
}

FilterProcess::Ending stopped(FilterProcess& program, int signal = SIGTERM) {
  ::kill(program.pid(), signal);
  return program.wait();
}

// That it comes to rest, and does not poll in a circle. What it was given to do before may take it
// a while on a busy machine.
void expectIdle(const FilterProcess& program) {
  for (int looks = 0; looks < 15; ++looks) {
    const auto before = processorTime(program.pid());
    std::this_thread::sleep_for(400ms);
    if (processorTime(program.pid()) - before < 100ms) return;
  }
  ADD_FAILURE() << "never idle";
}

// The text of an inkjet model file.
std::string modelWith(const std::string& members) {
  return R"({"about": "A", "printer": "inkjet", )" + members + "}";
}

// ---- The printer on the network.

TEST(Simulate, SaysItsUriFirstAndAnswersThere) {
  auto program = simulate({kFour});
  const std::string uri = firstLine(program);
  EXPECT_THAT(uri, MatchesRegex(kUriPattern));
  const Client client(uri);
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
  const auto ending = stopped(program);
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.result, "");
  EXPECT_EQ(textOf(ending.written), "");
}

TEST(Simulate, TakesThePathOfAModelFile) {
  const TemporaryFile model(modelWith(R"("head": 7)"));
  auto program = simulate({model.path()});
  const Client client(firstLine(program));
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(14), hex("A5 00 0B 50 E0 81 00 FF 00 01 00 19 01 07"));
}

TEST(Simulate, ListensOnIPv6) {
  auto program = simulate({kFour, "--listen", "[::1]:0"});
  const std::string uri = firstLine(program);
  if (uri.empty()) GTEST_SKIP() << "no IPv6 here: " << program.wait().result;
  EXPECT_THAT(uri, MatchesRegex(R"(socket://\[::1\]:[0-9]+)"));
  const Client client(uri);
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
}

TEST(Simulate, ListensOnTheGivenPortAlsoAgain) {
  auto first = simulate({kFour});
  const std::string uri = firstLine(first);
  const std::string address = uri.substr(uri.find("127"));
  {
    const Client client(uri);
    client.send(kInkjetQuery);
    EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
    stopped(first);  // hangs up first, which leaves the port in use for a while
  }
  auto second = simulate({kFour, "--listen", address});
  EXPECT_EQ(firstLine(second), uri);
  const auto third = ended({kFour, "--listen", address});
  EXPECT_EQ(third.exitStatus, 2);
  EXPECT_EQ(third.result, "moxsupply simulate: " + address + ": Address already in use\n");
  EXPECT_EQ(textOf(third.written), "");
}

TEST(Simulate, AnswersARequestThatComesInPieces) {
  auto program = simulate({kFour});
  const Client client(firstLine(program));
  for (const std::uint8_t byte : kInkjetQuery) {
    client.send(Bytes{byte});
    std::this_thread::sleep_for(5ms);
  }
  EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
}

TEST(Simulate, AnswersSeveralRequestsInOneWrite) {
  auto program = simulate({kFour});
  const Client client(firstLine(program));
  client.send(joined({kLoopBack, kInkjetQuery, kInkjetQuery}));
  EXPECT_EQ(client.receive(2 * kFourCartridges.size()), joined({kFourCartridges, kFourCartridges}));
}

TEST(Simulate, IsSilentToTheOtherKindOfPrintersQuery) {
  auto program = simulate({kFour});
  const Client client(firstLine(program));
  client.send(joined({kSuppliesQuery, kInkjetQuery}));
  EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
  EXPECT_EQ(stopped(program).result, "");
}

TEST(Simulate, WritesThePiecesOfItsModelWithTheirPauses) {
  const TemporaryFile model(modelWith(R"("head": 7, "replies": {"inkjet-query": {
      "writes": [{"size": 5}, {"size": 4, "pause": 150}, {"pause": 150}]}})"));
  auto program = simulate({model.path()});
  const Client client(firstLine(program));
  const auto start = Clock::now();
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(5), hex("A5 00 0B 50 E0"));
  EXPECT_EQ(client.receive(4), hex("81 00 FF 00"));
  EXPECT_GE(Clock::now() - start, 150ms);
  EXPECT_EQ(client.receive(5), hex("01 00 19 01 07"));
  EXPECT_GE(Clock::now() - start, 300ms);
}

TEST(Simulate, ShowsJunkInALineAndGoesOn) {
  auto program = simulate({kFour});
  const Client client(firstLine(program));
  client.send(joined({bytesOf("\x1B[31m"), kInkjetQuery}));
  EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
  EXPECT_EQ(stopped(program).result, "moxsupply simulate: no request: 1B 5B 33 31 6D (5 bytes)\n");
}

TEST(Simulate, ShowsTheHeadOfLongJunkInOneLine) {
  auto program = simulate({kFour});
  {
    const Client client(firstLine(program));
    for (int i = 0; i < 10; ++i) client.send(Bytes(1000, 'A'));
    client.endSending();
    EXPECT_EQ(client.receive(1), Bytes{});
  }
  EXPECT_EQ(stopped(program).result,
            "moxsupply simulate: no request: 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 "
            "41 41 41 41 41 41 41 41 41 41 41 41 41 41 ... (10000 bytes)\n");
}

TEST(Simulate, ShowsJunkWhileTheHostStays) {
  auto program = simulate({kFour, "--", "bash", "-c", R"(
      exec 3<> /dev/tcp/127.0.0.1/${DEVICE_URI##*:}
      printf 'Hi' >&3
      sleep 1
      printf 'Ho' >&3
      exit 3)"});
  const auto ending = program.wait();
  EXPECT_EQ(ending.exitStatus, 3);
  EXPECT_THAT(ending.result, EndsWith("moxsupply simulate: no request: 48 69 (2 bytes)\n"
                                      "moxsupply simulate: no request: 48 6F (2 bytes)\n"));
}

TEST(Simulate, ShowsHalfARequestOnceTheHostHangsUp) {
  auto program = simulate({kFour});
  {
    const Client client(firstLine(program));
    client.send(hex("A5 00 05"));
    client.endSending();
    EXPECT_EQ(client.receive(1), Bytes{});
  }
  EXPECT_EQ(stopped(program).result, "moxsupply simulate: no request: A5 00 05 (3 bytes)\n");
}

TEST(Simulate, AnswersAHostThatSendsNoMoreAndThenHangsUp) {
  auto program = simulate({kFour});
  const Client client(firstLine(program));
  client.send(kInkjetQuery);
  client.endSending();
  EXPECT_EQ(client.receive(kFourCartridges.size() + 1), kFourCartridges);
}

TEST(Simulate, OutlivesAHostThatResetsTheConnection) {
  const TemporaryFile model(modelWith(R"("head": 7, "replies": {"inkjet-query": {
      "writes": [{"size": 5}, {"pause": 2000}]}})"));
  auto program = simulate({model.path()});
  const std::string uri = firstLine(program);
  Client rude(uri);
  rude.send(joined({kInkjetQuery, kInkjetQuery}));
  EXPECT_EQ(rude.receive(5), hex("A5 00 0B 50 E0"));
  rude.reset();
  expectIdle(program);
  const Client polite(uri);
  polite.send(kInkjetQuery);
  EXPECT_EQ(polite.receive(5), hex("A5 00 0B 50 E0"));
  EXPECT_EQ(stopped(program).exitStatus, 0);
}

TEST(Simulate, ServesManyConnectionsAtOnce) {
  auto program = simulate({kFour});
  const std::string uri = firstLine(program);
  std::list<Client> clients;
  for (int i = 0; i < 200; ++i) clients.emplace_back(uri);
  for (const Client& client : clients)
    client.send(Bytes(kInkjetQuery.begin(), kInkjetQuery.begin() + 4));
  for (const Client& client : clients)
    client.send(Bytes(kInkjetQuery.begin() + 4, kInkjetQuery.end()));
  for (const Client& client : clients) {
    EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
  }
  EXPECT_EQ(stopped(program).exitStatus, 0);
}

TEST(Simulate, IsNotHeldUpByASlowConnection) {
  const TemporaryFile model(modelWith(R"("replies": {
      "loop-back": "A5 00 02 50 00",
      "inkjet-query": {"writes": [{"pause": 5000}]}})"));
  auto program = simulate({model.path()});
  const std::string uri = firstLine(program);
  const Client slow(uri);
  slow.send(kInkjetQuery);
  const auto start = Clock::now();
  const Client quick(uri);
  quick.send(kLoopBack);
  EXPECT_EQ(quick.receive(5), hex("A5 00 02 50 00"));
  EXPECT_LT(Clock::now() - start, 4s);
  EXPECT_EQ(stopped(program).exitStatus, 0);
  EXPECT_LT(Clock::now() - start, 4s);
}

TEST(Simulate, IsNotHeldUpByAHostThatDoesNotReadAndWaitsIdly) {
  auto program = simulate({kFour});
  const std::string uri = firstLine(program);
  const Client deaf(uri);
  deaf.fill(kInkjetQuery);
  const Client other(uri);
  other.send(kInkjetQuery);
  EXPECT_EQ(other.receive(kFourCartridges.size()), kFourCartridges);
  expectIdle(program);
}

TEST(Simulate, TakesTheConnectionsThatWaitOnceOthersEnd) {
  FilterProcess program(BackChannel::kClosed, {"sh", "-c", R"(ulimit -n 16 && exec "$0" "$@")",
                                               MOXSUPPLY_PROGRAM, "simulate", kFour});
  const std::string uri = firstLine(program);
  std::list<Client> clients;
  for (int i = 0; i < 30; ++i) clients.emplace_back(uri).send(kInkjetQuery);
  expectIdle(program);
  while (!clients.empty()) {
    EXPECT_EQ(clients.front().receive(kFourCartridges.size()), kFourCartridges);
    clients.pop_front();
  }
  EXPECT_EQ(stopped(program).exitStatus, 0);
}

TEST(Simulate, EndsAtOnceOnEitherSignal) {
  for (const int signal : {SIGINT, SIGTERM}) {
    auto program = simulate({kFour});
    const Client client(firstLine(program));
    client.send(kInkjetQuery);
    EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
    EXPECT_EQ(stopped(program, signal).exitStatus, 0) << signal;
    EXPECT_EQ(client.receive(1), Bytes{});
  }
}

TEST(Simulate, EndsOnASignalThatItWasStartedWithIgnored) {
  FilterProcess program(BackChannel::kClosed, {"sh", "-c", R"(trap '' INT; exec "$0" "$@")",
                                               MOXSUPPLY_PROGRAM, "simulate", kFour});
  firstLine(program);
  EXPECT_EQ(stopped(program, SIGINT).exitStatus, 0);
}

// ---- The command beside it.

TEST(SimulateCommand, FindsTheUriInItsArgumentsAndEnvironment) {
  const auto ending = ended({kFour, "--", "sh", "-c", "echo $DEVICE_URI; echo $1; echo $2; echo $3",
                             "sh", "{}", "{}?a={}", "{ }"});
  EXPECT_EQ(ending.exitStatus, 0);
  ASSERT_THAT(ending.result, MatchesRegex(kUriPattern + "\n"));
  const std::string uri = ending.result.substr(0, ending.result.size() - 1);
  EXPECT_EQ(textOf(ending.written), uri + "\n" + uri + "\n" + uri + "?a=" + uri + "\n{ }\n");
}

TEST(SimulateCommand, GetsItsArgumentsAsTheyStand) {
  const auto ending = ended({kFour, "--", "printf", "%s;", "[a,b]", "--list", "--", "", "-h"});
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(textOf(ending.written), "[a,b];--list;--;;-h;");
}

TEST(SimulateCommand, TalksToThePrinter) {
  const auto ending = ended({kFour, "--", "bash", "-c", R"(
      exec 3<> /dev/tcp/127.0.0.1/${DEVICE_URI##*:}
      printf '\xA5\x00\x05\x50\xE0\x81\x00\xFF' >&3
      head -c 46 <&3)"});
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.written, kFourCartridges);
}

TEST(SimulateCommand, DecidesTheExitStatus) {
  EXPECT_EQ(ended({kFour, "--", "true"}).exitStatus, 0);
  EXPECT_EQ(ended({kFour, "--", "sh", "-c", "exit 7"}).exitStatus, 7);
  EXPECT_EQ(ended({kFour, "--", "sh", "-c", "kill -KILL $$"}).exitStatus, 128 + SIGKILL);
}

TEST(SimulateCommand, ThatCannotBeStartedGives127) {
  const auto ending = ended({kFour, "--", "/no/such/command"});
  EXPECT_EQ(ending.exitStatus, 127);
  EXPECT_THAT(ending.result, MatchesRegex(kUriPattern + "\nmoxsupply simulate: /no/such/command: "
                                                        "No such file or directory\n"));
}

// A command that sends junk and is gone before the printer may have looked.
std::vector<std::string> sendingJunk(const std::string& exitStatus) {
  return {kFour, "--", "bash", "-c",
          "exec 3<> /dev/tcp/127.0.0.1/${DEVICE_URI##*:}; printf Hi >&3; exit " + exitStatus};
}

TEST(SimulateCommand, ThatSucceedsAndSentJunkGives1) {
  for (int i = 0; i < 20; ++i) {
    const auto ending = ended(sendingJunk("0"));
    EXPECT_EQ(ending.exitStatus, 1);
    EXPECT_THAT(ending.result, EndsWith("\nmoxsupply simulate: no request: 48 69 (2 bytes)\n"));
  }
}

TEST(SimulateCommand, ThatFailsAndSentJunkGivesItsOwnStatus) {
  EXPECT_EQ(ended(sendingJunk("5")).exitStatus, 5);
}

TEST(SimulateCommand, EndsWithTheProgramOnASignalAndAllThatItStarted) {
  auto program = simulate({kFour, "--", "sh", "-c", "echo here; sleep 60; echo more"});
  EXPECT_EQ(firstLine(program), "here");
  const auto start = Clock::now();
  const auto ending = stopped(program, SIGTERM);  // waits for `sleep` too: it holds the output open
  EXPECT_EQ(ending.exitStatus, 128 + SIGTERM);
  EXPECT_EQ(textOf(ending.written), "");
  EXPECT_LT(Clock::now() - start, 5s);
}

TEST(SimulateCommand, IsKilledWhenItIgnoresTheSignal) {
  auto program = simulate({kFour, "--", "sh", "-c", "trap '' TERM; echo here; sleep 60"});
  EXPECT_EQ(firstLine(program), "here");
  const auto start = Clock::now();
  EXPECT_EQ(stopped(program, SIGTERM).exitStatus, 128 + SIGKILL);
  EXPECT_LT(Clock::now() - start, 5s);
}

TEST(SimulateCommand, MayHandleTheSignal) {
  auto program = simulate({kFour, "--", "bash", "-c", R"(
      trap 'exit 9' INT
      echo here
      while :; do sleep 0.05; done)"});
  EXPECT_EQ(firstLine(program), "here");
  EXPECT_EQ(stopped(program, SIGINT).exitStatus, 9);
}

// ---- Wrong arguments.

struct Misuse {
  std::string name;
  std::vector<std::string> arguments;
  std::string line;
};

class SimulateMisuse : public ::testing::TestWithParam<Misuse> {};

TEST_P(SimulateMisuse, IsToldInOneLineAndGives2) {
  const auto ending = ended(GetParam().arguments);
  EXPECT_EQ(ending.exitStatus, 2);
  EXPECT_EQ(ending.result, "moxsupply simulate: " + GetParam().line + "\n");
  EXPECT_EQ(textOf(ending.written), "");
}

Misuse badAddress(const std::string& name, const std::string& address) {
  return {name,
          {kFour, "--listen", address},
          "--listen: expected ADDRESS:PORT, such as 127.0.0.1:9100 or [::1]:0, not \"" + address +
              "\""};
}

INSTANTIATE_TEST_SUITE_P(
    Of, SimulateMisuse,
    ::testing::Values(
        Misuse{
            "NoModel", {}, "MODEL, --replay or --list is required (see moxsupply simulate --help)"},
        Misuse{"ModelAndReplay",
               {"laser-mono-toner", "--replay", "x"},
               "MODEL excludes --replay (see moxsupply simulate --help)"},
        Misuse{"QuickWithoutReplay",
               {"--quick"},
               "--quick requires --replay (see moxsupply simulate --help)"},
        Misuse{
            "MissingTranscript", {"--replay", "/no/such"}, "/no/such: No such file or directory"},
        Misuse{"NoTranscript", {"--replay", "/dev/null"}, "/dev/null: line 1: the file is empty"},
        Misuse{"UnknownModel",
               {"laser-printer"},
               "there is no model \"laser-printer\"; moxsupply simulate --list names all models"},
        Misuse{"MissingFile", {"/no/such.json"}, "/no/such.json: No such file or directory"},
        Misuse{"NoCommand",
               {kFour, "--"},
               "a command after -- is required (see moxsupply simulate --help)"},
        Misuse{"CommandWithoutDashes",
               {kFour, "true"},
               "The following argument was not expected: true (see moxsupply simulate --help)"},
        badAddress("NoPort", "127.0.0.1"), badAddress("NoAddress", ":9100"),
        badAddress("PortTooLarge", "127.0.0.1:65536"), badAddress("PortNegative", "127.0.0.1:-1"),
        badAddress("PortNoNumber", "127.0.0.1:9100x"), badAddress("PortEmpty", "127.0.0.1:"),
        badAddress("Name", "localhost:9100"), badAddress("AddressTooLarge", "300.0.0.1:9100"),
        badAddress("NoBrackets", "::1:9100"), badAddress("BracketsAroundIPv4", "[127.0.0.1]:9100"),
        Misuse{"AddressOfAnotherMachine",
               {kFour, "--listen", "192.0.2.1:9100"},
               "192.0.2.1:9100: Cannot assign requested address"}),
    [](const auto& test) { return test.param.name; });

TEST(SimulateHelp, TellsUsageExamplesAndExitStatuses) {
  const auto ending = ended({"--help"});
  EXPECT_EQ(ending.exitStatus, 0);
  const std::string help = textOf(ending.written);
  EXPECT_THAT(help, HasSubstr("Usage: moxsupply simulate MODEL [--listen ADDRESS:PORT]\n"
                              "                          [--fault VERB[=VALUE]]... "
                              "[-- COMMAND...]\n"));
  EXPECT_THAT(help, HasSubstr("\nExamples:\n  moxsupply simulate "));
  EXPECT_THAT(help, HasSubstr("\nExit status: "));
}

}  // namespace
}  // namespace moxsupply::testing
