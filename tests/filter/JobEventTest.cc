// What the print server tells a notifier, and what only looks like it.

#include <cups/ipp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <string>

#include "filter/JobEvent.h"
#include "system/MemoryFile.h"

namespace moxsupply {
namespace {

struct DeleteIpp {
  void operator()(ipp_t* ipp) const { ippDelete(ipp); }
};

struct Event {
  std::string kind = "job-completed";
  std::string queue = "office";
  int job = 7;
  std::string title = "A page";
};

// As the print server writes it.
std::string bytesOf(const Event& event) {
  const std::unique_ptr<ipp_t, DeleteIpp> ipp(ippNew());
  const auto add = [&](ipp_tag_t tag, const char* name, const std::string& text) {
    ippAddString(ipp.get(), IPP_TAG_EVENT_NOTIFICATION, tag, name, nullptr, text.c_str());
  };
  add(IPP_TAG_CHARSET, "notify-charset", "utf-8");
  add(IPP_TAG_KEYWORD, "notify-subscribed-event", event.kind);
  add(IPP_TAG_NAME, "printer-name", event.queue);
  ippAddInteger(ipp.get(), IPP_TAG_EVENT_NOTIFICATION, IPP_TAG_INTEGER, "notify-job-id", event.job);
  add(IPP_TAG_NAME, "job-name", event.title);
  std::string bytes;
  const auto write = [](void* text, ipp_uchar_t* buffer, std::size_t count) {
    static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(buffer), count);
    return static_cast<ssize_t>(count);
  };
  EXPECT_EQ(ippWriteIO(&bytes, write, 1, nullptr, ipp.get()), IPP_STATE_DATA);
  return bytes;
}

// A descriptor on which these come.
FileDescriptor holding(const std::string& bytes) {
  FileDescriptor file = memoryFile(bytes);
  ::lseek(file.get(), 0, SEEK_SET);
  return file;
}

TEST(AJobEvent, IsReadOneAfterTheOther) {
  const auto events = holding(bytesOf({}) + bytesOf({.queue = "lobby", .job = 8, .title = "B"}));
  const auto first = readEvent(events.get());
  ASSERT_TRUE(first);
  EXPECT_TRUE(first->isAnEnd);
  EXPECT_EQ(first->queue, "office");
  EXPECT_EQ(first->job, 7);
  EXPECT_EQ(first->title, "A page");
  const auto second = readEvent(events.get());
  ASSERT_TRUE(second);
  EXPECT_EQ(second->queue, "lobby");
  EXPECT_EQ(second->job, 8);
  EXPECT_FALSE(readEvent(events.get()));
}

TEST(AJobEvent, OfAnotherKindIsNoEnd) {
  for (const Event& event : {Event{.kind = "printer-state-changed"}, Event{.kind = "job-created"},
                             Event{.queue = ""}, Event{.job = 0}, Event{.job = -3}}) {
    const auto read = readEvent(holding(bytesOf(event)).get());
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->isAnEnd);
  }
}

TEST(AJobEvent, ThatIsCutShortAnywhereIsNone) {
  const std::string whole = bytesOf({});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(readEvent(holding(whole.substr(0, size)).get())) << size;
  }
}

TEST(AJobEvent, WithAnyByteWrongIsReadOrIsNot) {
  const std::string whole = bytesOf({});
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const char wrong : {'\0', '\x01', '\x7F', '\x80', '\xFF'}) {
      std::string bytes = whole;
      bytes[at] = wrong;
      const auto read = readEvent(holding(bytes).get());
      if (read) {
        EXPECT_LE(read->queue.size(), whole.size());
      }
    }
  }
}

TEST(AJobEvent, WithoutEndIsGivenUp) {
  std::string bytes = bytesOf({});
  bytes.pop_back();  // the tag that ends it
  const std::string header = bytes.substr(0, 8);
  const std::string attributes = bytes.substr(8);
  std::string endless = header;
  while (endless.size() < 2 * kLongestEvent) endless += attributes;
  const auto events = holding(endless + '\x03');
  EXPECT_FALSE(readEvent(events.get()));
  EXPECT_LE(::lseek(events.get(), 0, SEEK_CUR), static_cast<off_t>(kLongestEvent));
}

}  // namespace
}  // namespace moxsupply
