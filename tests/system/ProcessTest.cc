#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>

#include "system/MemoryFile.h"
#include "system/Pipe.h"
#include "system/Process.h"
#include "system/ReadFile.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

FileDescriptor null() {
  return aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
}

// What a shell writes that runs this.
std::string outputOf(const std::string& script, ProgramStart start = {}) {
  const FileDescriptor nothing = null();
  const FileDescriptor output = aboveFilterDescriptors(memoryFile(""));
  start.program = "sh";
  start.arguments = {"sh", "-c", script};
  start.descriptors = {nothing.get(), output.get(), output.get()};
  auto process = Process::start(start);
  EXPECT_TRUE(process);
  EXPECT_TRUE(process->waitFor(10s));
  return readFile(output.get(), 100'000).value();
}

Process shell(const std::string& script, bool inOwnGroup = false) {
  return Process::start(
             {.program = "sh", .arguments = {"sh", "-c", script}, .inOwnGroup = inOwnGroup})
      .value();
}

bool isRunning(pid_t process) {
  const std::string stat = contentOf("/proc/" + std::to_string(process) + "/stat");
  return !stat.empty() && stat.find(") Z") == std::string::npos;
}

bool isGoneWithin(std::chrono::milliseconds patience, pid_t process) {
  for (const auto end = std::chrono::steady_clock::now() + patience; isRunning(process);) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

TEST(AProcess, HasItsArgumentsAndItsEnvironment) {
  ::setenv("KEPT", "of this process", 1);
  ::setenv("CHANGED", "of this process", 1);
  EXPECT_EQ(outputOf("echo $KEPT, $CHANGED", {.environment = environmentWith({"CHANGED=its own"})}),
            "of this process, its own\n");
  ::unsetenv("KEPT");
  ::unsetenv("CHANGED");
}

TEST(AProcess, HasTheDescriptorsThatItIsGivenAndNoOthers) {
  ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);  // what whoever runs this test has left open
  const Pipe pipe = makePipe(Blocking::kYes);
  EXPECT_EQ(outputOf("ls /proc/self/fd"), "0\n1\n2\n3\n");  // 3 is the folder that is listed
}

TEST(AProcess, HasNoSignalsOfItsParentsBlockedOrIgnored) {
  sigset_t blocked;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
  const auto former = ::signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(outputOf("grep -E 'SigBlk|SigIgn' /proc/self/status"),
            "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
  ::signal(SIGPIPE, former);
  ::sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
}

TEST(AProcess, TellsHowItEnded) {
  Process exits = shell("exit 7");
  exits.wait();
  EXPECT_EQ(exits.shellStatus(), 7);
  Process isKilled = shell("kill -TERM $$");
  isKilled.wait();
  EXPECT_EQ(isKilled.shellStatus(), 128 + SIGTERM);
  Process runs = shell("exec sleep 60");
  EXPECT_FALSE(runs.waitFor(10ms));
  EXPECT_EQ(runs.shellStatus(), std::nullopt);
  runs.kill();
  EXPECT_EQ(runs.shellStatus(), 128 + SIGKILL);
  EXPECT_TRUE(runs.waitFor(0ms));
}

TEST(AProcess, IsReadableOnceItHasEnded) {
  Process process = shell("read line", false);
  pollfd ended = {.fd = process.descriptor(), .events = POLLIN, .revents = 0};
  process.signal(SIGKILL);
  EXPECT_EQ(::poll(&ended, 1, 10'000), 1);
}

TEST(AProcess, ThatCannotBeStartedSaysWhy) {
  const TemporaryFolder folder;
  const std::string text = folder.path() / "text";
  write(text, "#!/nowhere/shell\n");
  const auto errorOf = [](const std::string& program) {
    const auto process = Process::start({.program = program, .arguments = {program}});
    return process ? 0 : process.error();
  };
  EXPECT_EQ(errorOf("/nowhere/program"), ENOENT);
  EXPECT_EQ(errorOf("no-such-program-anywhere"), ENOENT);
  EXPECT_EQ(errorOf(""), ENOENT);
  EXPECT_EQ(errorOf(text), EACCES);
  std::filesystem::permissions(text, std::filesystem::perms::owner_all);
  EXPECT_EQ(errorOf(text), ENOENT);  // its shell is not there
  EXPECT_EQ(errorOf(folder.path()), EACCES);
}

TEST(AProcess, DoesNotOutliveItsObject) {
  pid_t pid = 0;
  {
    const Process process = shell("exec sleep 60");
    pid = process.pid();
    EXPECT_TRUE(isRunning(pid));
  }
  EXPECT_FALSE(isRunning(pid));
}

TEST(AProcess, EndsWithWhatItHasStartedInItsGroup) {
  const TemporaryFolder folder;
  const std::string said = folder.path() / "said";
  Process process = shell("sleep 60 & echo $! >" + said + "; exec sleep 60", true);
  while (contentOf(said).empty()) std::this_thread::sleep_for(5ms);
  process.stop(SIGTERM, 5s);
  EXPECT_EQ(process.shellStatus(), 128 + SIGTERM);
  EXPECT_TRUE(isGoneWithin(2s, std::stoi(contentOf(said))));
}

TEST(AProcess, ThatDoesNotHeedASignalIsKilled) {
  const TemporaryFolder folder;
  const std::string ready = folder.path() / "ready";
  Process process = shell("trap '' TERM; echo yes >" + ready + "; while :; do sleep 1; done", true);
  while (contentOf(ready).empty()) std::this_thread::sleep_for(5ms);
  const auto begin = std::chrono::steady_clock::now();
  process.stop(SIGTERM, 100ms);
  EXPECT_EQ(process.shellStatus(), 128 + SIGKILL);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
}

// Nothing can be done then in the process that is killed.
TEST(AProcess, EndsWithItsParentAlsoWhenThatIsKilled) {
  const Pipe pipe = makePipe(Blocking::kYes);
  const pid_t parent = ::fork();
  if (parent == 0) {
    const auto process = Process::start({.program = "sleep", .arguments = {"sleep", "60"}});
    const pid_t pid = process->pid();
    static_cast<void>(::write(pipe.writeEnd.get(), &pid, sizeof pid) > 0);
    ::pause();
  }
  pid_t child = 0;
  ASSERT_EQ(::read(pipe.readEnd.get(), &child, sizeof child), static_cast<ssize_t>(sizeof child));
  EXPECT_TRUE(isRunning(child));
  ::kill(parent, SIGKILL);
  ::waitpid(parent, nullptr, 0);
  EXPECT_TRUE(isGoneWithin(2s, child));
}

// A thread that allocates all the time holds the allocator's lock when the other forks.
TEST(AProcess, IsStartedWhileOtherThreadsHoldLocks) {
  std::atomic<bool> isOver = false;
  std::thread busy([&] {
    while (!isOver) std::string(10'000, 'x').append(std::to_string(::getpid()));
  });
  for (int i = 0; i < 100; ++i) {
    auto process = Process::start({.program = "true", .arguments = {"true"}});
    ASSERT_TRUE(process);
    ASSERT_TRUE(process->waitFor(10s));
    EXPECT_EQ(process->shellStatus(), 0);
  }
  isOver = true;
  busy.join();
}

}  // namespace
}  // namespace moxsupply::testing
