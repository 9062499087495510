#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "filter/PublishedMarkers.h"
#include "system/FileDescriptor.h"
#include "system/Substitute.h"
#include "tests/support/CapturedErrors.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Lines = std::vector<std::string>;

const Lines kListLines = {"ATTR: marker-names='Black'\n", "ATTR: marker-levels='37'\n"};
const Lines kOtherListLines = {"ATTR: marker-names='Black'\n", "ATTR: marker-levels='36'\n"};
const std::string kMessage = "ATTR: marker-message='Black is low (5 %)'\n";
const std::string kNoMessage = "ATTR: marker-message=\n";

std::ptrdiff_t filesIn(const fs::path& folder) {
  return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

std::string joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line;
  return text;
}

// Each report is made as by a new filter of the same print server, which is this process's parent.
class MarkersOfAQueue : public ::testing::Test {
 protected:
  MarkersOfAQueue() {
    fs::create_directory(cache());
    write(ppd(), "*PPD-Adobe: \"4.3\"\n");
  }

  [[nodiscard]] fs::path cache() const { return mFolder.path() / "cache"; }
  [[nodiscard]] fs::path ppd() const { return mFolder.path() / "queue.ppd"; }
  [[nodiscard]] fs::path folder() const { return mFolder.path(); }

  // The file in which the queue's markers are remembered.
  [[nodiscard]] fs::path memory(const std::string& queue = "lobby") const {
    return cache() / ("moxsupply-" + queue + ".markers");
  }

  [[nodiscard]] PublishedMarkers markers(const std::string& queue = "lobby") const {
    return {cache(), queue, ppd()};
  }

  // What a filter sends for these lists and this message.
  Lines report(const Lines& lists, const std::string& message, const std::string& queue = "lobby") {
    CapturedErrors errors;
    PublishedMarkers markers = this->markers(queue);
    markers.publishLists(lists);
    markers.publishNewMessage(message);
    return errors.writes();
  }
  Lines report() { return report(kListLines, kMessage); }

 private:
  TemporaryFolder mFolder;
};

const auto kEverything = ElementsAre(kListLines[0], kListLines[1], kMessage);

TEST_F(MarkersOfAQueue, ArePublishedFirstEachLineInAWriteOfItsOwn) {
  EXPECT_THAT(report(), kEverything);
}

TEST_F(MarkersOfAQueue, AreNotPublishedAgainWhileTheyHold) {
  report();
  EXPECT_THAT(report(), IsEmpty());
  EXPECT_THAT(report(), IsEmpty());
}

TEST_F(MarkersOfAQueue, ArePublishedWhenTheyHaveChanged) {
  report();
  const Lines otherNames = {"ATTR: marker-names='Cyan'\n", kListLines[1]};
  EXPECT_THAT(report(otherNames, kMessage), ElementsAre(otherNames[0], otherNames[1]));
  EXPECT_THAT(report(otherNames, kMessage), IsEmpty());
  EXPECT_THAT(report(), ElementsAre(kListLines[0], kListLines[1]));
}

TEST_F(MarkersOfAQueue, HaveTheirLevelsPublishedAloneWhenNothingElseHasChanged) {
  report();
  EXPECT_THAT(report(kOtherListLines, kMessage), ElementsAre(kOtherListLines[1]));
  EXPECT_THAT(report(kOtherListLines, kMessage), IsEmpty());
  EXPECT_THAT(report(), ElementsAre(kListLines[1]));
}

TEST_F(MarkersOfAQueue, ArePublishedAgainWhereTheyCouldNotBeSent) {
  report();
  {
    const FileDescriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    const Substitute errors(STDERR_FILENO, full.get());
    markers().publishLists(kOtherListLines);
  }
  EXPECT_THAT(report(kOtherListLines, kMessage),
              ElementsAre(kOtherListLines[0], kOtherListLines[1]));
}

// The age of the levels is that of the last publication.
TEST_F(MarkersOfAQueue, HaveTheMessageOfANewReportPublishedEachTime) {
  for (int i = 0; i < 2; ++i) {
    CapturedErrors errors;
    markers().publishMessage(kMessage);
    EXPECT_THAT(errors.writes(), ElementsAre(kMessage));
  }
  EXPECT_THAT(report({}, kMessage), IsEmpty());
}

TEST_F(MarkersOfAQueue, HaveAMessageOfTheirOwn) {
  report();
  EXPECT_THAT(report(kListLines, kNoMessage), ElementsAre(kNoMessage));
  EXPECT_THAT(report(kListLines, kNoMessage), IsEmpty());
  EXPECT_THAT(report(kListLines, kMessage), ElementsAre(kMessage));
}

// A printer that did not answer changes the message alone.
TEST_F(MarkersOfAQueue, StayRememberedWhenOnlyTheMessageIsPublished) {
  report();
  {
    CapturedErrors errors;
    markers().publishMessage(kNoMessage);
    EXPECT_THAT(errors.writes(), ElementsAre(kNoMessage));
  }
  EXPECT_THAT(report(), ElementsAre(kMessage));
}

TEST_F(MarkersOfAQueue, TakeAFormerMessageAwayAlsoWhenNoneIsRemembered) {
  EXPECT_THAT(report(kListLines, kNoMessage),
              ElementsAre(kListLines[0], kListLines[1], kNoMessage));
  EXPECT_THAT(report(kListLines, kNoMessage), IsEmpty());
}

// Also by reports that brought none, and by an earlier print server.
TEST_F(MarkersOfAQueue, AreKnownToHaveBeenPublished) {
  EXPECT_FALSE(markers().hasLevels());
  report({}, kMessage);
  EXPECT_FALSE(markers().hasLevels());
  report();
  EXPECT_TRUE(markers().hasLevels());
  write(ppd(), "*PPD-Adobe: \"4.3\"\n*% another driver\n");
  for (int i = 0; i < 2; ++i) {
    CapturedErrors errors;
    EXPECT_TRUE(markers().hasLevels());
    markers().publishMessage(i == 0 ? kNoMessage : kMessage);
  }
  EXPECT_TRUE(markers().hasLevels());
  EXPECT_THAT(report(), ElementsAre(kListLines[0], kListLines[1])) << "they may be gone";
  markers().forget();
  EXPECT_FALSE(markers().hasLevels());
  EXPECT_EQ(filesIn(cache()), 0);
}

TEST_F(MarkersOfAQueue, AreNotThoseOfAnotherQueue) {
  report();
  EXPECT_THAT(report(kListLines, kMessage, "office"), kEverything);
  EXPECT_THAT(report(kListLines, kMessage, "lobb"), kEverything);
  EXPECT_THAT(report(), IsEmpty());
}

TEST_F(MarkersOfAQueue, ArePublishedAgainWhenTheQueueHasAnotherPpdFile) {
  report();
  const auto time = fs::last_write_time(ppd());
  fs::rename(ppd(), folder() / "former.ppd");  // keeps its number in the file system
  write(ppd(), "*PPD-Adobe: \"4.3\"\n");
  fs::last_write_time(ppd(), time);
  EXPECT_THAT(report(), kEverything);
  EXPECT_THAT(report(), IsEmpty());
}

TEST_F(MarkersOfAQueue, ArePublishedAgainWhenThePpdFileWasWrittenOver) {
  report();
  fs::last_write_time(ppd(), fs::last_write_time(ppd()) + std::chrono::nanoseconds(1'000));
  EXPECT_THAT(report(), kEverything);
}

TEST_F(MarkersOfAQueue, AreRememberedWithoutAPpdFileToo) {
  fs::remove(ppd());
  EXPECT_THAT(report(), kEverything);
  EXPECT_THAT(report(), IsEmpty());
}

// A print server in a process of its own, which starts two filters.
std::string reportsUnderAnotherServer(const std::function<std::string()>& filter) {
  FilterProcess server(BackChannel::kClosed, [&] {
    FilterProcess first(BackChannel::kClosed, filter);
    const std::string sent = first.wait().result;
    FilterProcess second(BackChannel::kClosed, filter);
    return sent + "|" + second.wait().result;
  });
  return server.wait().result;
}

TEST_F(MarkersOfAQueue, ArePublishedAgainByAnotherPrintServer) {
  const auto filter = [&] { return joined(report()); };
  const std::string everything = kListLines[0] + kListLines[1] + kMessage;
  report();
  EXPECT_EQ(reportsUnderAnotherServer(filter), everything + "|");
  EXPECT_EQ(reportsUnderAnotherServer(filter), everything + "|");
  EXPECT_THAT(report(), kEverything);
}

TEST_F(MarkersOfAQueue, ArePublishedEachTimeWithoutAFolder) {
  for (const std::string& cache : {std::string(), std::string(folder() / "none")}) {
    for (int i = 0; i < 2; ++i) {
      CapturedErrors errors;
      PublishedMarkers markers(cache, "lobby", ppd());
      markers.publishLists(kListLines);
      markers.publishMessage(kMessage);
      EXPECT_THAT(errors.writes(), kEverything);
    }
  }
  EXPECT_FALSE(fs::exists(folder() / "none"));
}

TEST_F(MarkersOfAQueue, ArePublishedOnceByOneObjectWithoutAFolder) {
  CapturedErrors errors;
  PublishedMarkers markers("", "lobby", ppd());
  for (int i = 0; i < 2; ++i) {
    markers.publishLists(kListLines);
    markers.publishNewMessage(kMessage);
  }
  EXPECT_THAT(errors.writes(), kEverything);
}

TEST_F(MarkersOfAQueue, AreForTheirOwnersEyesOnly) {
  report();
  EXPECT_EQ(fs::status(memory()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(MarkersOfAQueue, LeaveNoOtherFileBehind) {
  report();
  report(kOtherListLines, kNoMessage);
  EXPECT_EQ(filesIn(cache()), 1);
}

TEST_F(MarkersOfAQueue, StayInTheFolderWhateverTheQueueIsCalled) {
  for (const std::string queue : {"../../up", "/etc/passwd", "..", ".", "", "a/b"}) {
    EXPECT_THAT(report(kListLines, kMessage, queue), kEverything) << queue;
    EXPECT_THAT(report(kListLines, kMessage, queue), IsEmpty()) << queue;
  }
  EXPECT_EQ(filesIn(cache()), 6);
  EXPECT_EQ(filesIn(folder()), 2);  // with the PPD file
}

// What stands in the file of the queue's markers need not be what was written there.
TEST_F(MarkersOfAQueue, ArePublishedWhenTheirFileIsNotOurs) {
  report();
  const std::string whole = contentOf(memory());
  const std::vector<std::string> contents = {
      "",
      "\n",
      "\n\n\n",
      "x",
      std::string(1'000'000, 'x'),
      std::string(1'000'000, '\n'),
      std::string(1000, '\0'),
      whole.substr(1),
      "x" + whole,
      "\n" + whole,
      kListLines[0] + kListLines[1],
  };
  for (const std::string& content : contents) {
    write(memory(), content);
    EXPECT_THAT(report(), kEverything) << content.substr(0, 40);
    EXPECT_THAT(report(), IsEmpty());
  }
}

// Nothing of the file is ever sent, only compared.
TEST_F(MarkersOfAQueue, NeverSendWhatTheirFileHolds) {
  report();
  const std::string whole = contentOf(memory());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    write(memory(), whole.substr(0, size));
    for (const std::string& line : report()) {
      EXPECT_TRUE(line == kListLines[0] || line == kListLines[1] || line == kMessage) << line;
    }
    EXPECT_THAT(report(), IsEmpty());
  }
  write(memory(), whole + "STATE: paused\n");
  EXPECT_THAT(report(), ElementsAre(kListLines[0], kListLines[1]));
}

TEST_F(MarkersOfAQueue, ArePublishedWhenTheirFileIsAFolder) {
  fs::create_directory(memory());
  EXPECT_THAT(report(), kEverything);
  EXPECT_THAT(report(), kEverything);
  EXPECT_EQ(filesIn(cache()), 1);
}

TEST_F(MarkersOfAQueue, LeaveAloneWhatALinkInTheFolderLeadsTo) {
  const fs::path target = folder() / "target";
  write(target, "precious");
  fs::create_symlink(target, memory());
  EXPECT_THAT(report(), kEverything);
  EXPECT_EQ(contentOf(target), "precious");
  EXPECT_FALSE(fs::is_symlink(memory()));
  EXPECT_THAT(report(), IsEmpty());
}

TEST_F(MarkersOfAQueue, DoNotFollowALinkForWhatIsRemembered) {
  report();
  fs::rename(memory(), folder() / "elsewhere");
  fs::create_symlink(folder() / "elsewhere", memory());
  EXPECT_THAT(report(), kEverything);
}

TEST_F(MarkersOfAQueue, DoNotFollowALinkInPlaceOfTheUnfinishedFile) {
  const fs::path target = folder() / "target";
  fs::create_symlink(target, memory().string() + "." + std::to_string(::getpid()));
  EXPECT_THAT(report(), kEverything);
  EXPECT_FALSE(fs::exists(target));
}

// A folder or a file that the filter has no rights to; root has rights to all.
TEST_F(MarkersOfAQueue, ArePublishedEachTimeWhereNothingMayBeRead) {
  report();
  fs::permissions(cache(), fs::perms::none);
  for (int i = 0; i < 2; ++i) {
    FilterProcess filter(BackChannel::kClosed, [&] {
      constexpr uid_t kNobody = 65534;
      if (::geteuid() == 0 && ::setresuid(kNobody, kNobody, kNobody) != 0) return std::string();
      return joined(report());
    });
    EXPECT_EQ(filter.wait().result, kListLines[0] + kListLines[1] + kMessage);
  }
  fs::permissions(cache(), fs::perms::owner_all);
}

// A filter that read one of these files to its end would wait for ever, or fill the memory.
class FileWithoutEnd : public MarkersOfAQueue {
 protected:
  std::string reportWithinASecond() {
    FilterProcess filter(BackChannel::kClosed, [&] {
      constexpr rlimit kOneSecond = {.rlim_cur = 1, .rlim_max = 1};  // of processor time
      ::setrlimit(RLIMIT_CPU, &kOneSecond);
      return joined(report());
    });
    return filter.wait().result;
  }

  void expectEverythingOnce() {
    EXPECT_EQ(reportWithinASecond(), kListLines[0] + kListLines[1] + kMessage);
    EXPECT_EQ(reportWithinASecond(), "");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(memory())));
    EXPECT_LE(fs::file_size(memory()), 10'000U);
  }
};

TEST_F(FileWithoutEnd, IsAPipe) {
  ASSERT_EQ(::mkfifo(memory().c_str(), 0600), 0);
  expectEverythingOnce();
}

TEST_F(FileWithoutEnd, IsALinkToADevice) {
  fs::create_symlink("/dev/zero", memory());
  expectEverythingOnce();
}

TEST_F(FileWithoutEnd, IsATerabyteOfNothing) {
  reportWithinASecond();
  fs::resize_file(memory(), std::uintmax_t{1} << 40);
  expectEverythingOnce();
}

}  // namespace
}  // namespace moxsupply::testing
