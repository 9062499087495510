// That no serial number of a printer gets into a transcript that is to have none: over all golden
// exchanges, however a printer sends them.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "links/Recording.h"
#include "system/MemoryFile.h"
#include "system/ReadFile.h"
#include "tests/support/Depth.h"
#include "tests/support/Golden.h"
#include "tests/support/Hex.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {
namespace {

// What a printer sends, and the same as a transcript may have it.
struct Told {
  Bytes bytes;
  Bytes redacted;

  [[nodiscard]] std::size_t size() const { return bytes.size(); }
  [[nodiscard]] Told first(std::size_t count) const {
    return {firstBytes(bytes, count), firstBytes(redacted, count)};
  }
  [[nodiscard]] Told from(std::size_t offset) const {
    return {bytesFrom(bytes, offset), bytesFrom(redacted, offset)};
  }
  friend Told operator+(const Told& one, const Told& other) {
    return {testing::joined({one.bytes, other.bytes}),
            testing::joined({one.redacted, other.redacted})};
  }
};

// The packets of a reply: with zeros in the place of its serial number, if it has one.
std::vector<Told> packetsOf(const Golden::Step& reply) {
  const Bytes& first = reply.packets.front();
  bool isComing = first.size() > 7 && hexText(std::span(first).subspan(4, 3)) == "E0 07 02";
  std::size_t left = isComing ? first[7] : 0;
  std::vector<Told> packets;
  for (const Bytes& packet : reply.packets) {
    packets.push_back({packet, packet});
    Bytes& redacted = packets.back().redacted;
    for (std::size_t at = packets.size() == 1 ? 8 : 5; at < redacted.size() && left > 0; --left) {
      redacted[at++] = '0';
    }
  }
  EXPECT_EQ(left, 0U) << "a serial number that the file does not have";
  return packets;
}

using Reply = std::vector<Told>;  // its packets

Told whole(const Reply& reply) {
  Told told;
  for (const Told& packet : reply) told = told + packet;
  return told;
}

std::vector<Reply> repliesOf(const Golden& exchange) {
  std::vector<Reply> replies;
  for (const Golden::Step& step : exchange.steps) {
    if (step.what == Golden::What::kReply) replies.push_back(packetsOf(step));
  }
  return replies;
}

// A transcript without serial numbers, while it is made and then.
class Redacted {
 public:
  Redacted() {
    FileDescriptor file = memoryFile("");
    mFile = FileDescriptor(::dup(file.get()));
    mRecording = std::make_unique<Recording>("memory", std::move(file), Redact::kYes);
    beginQuery();
  }

  void beginQuery() { mRecording->beginQuery("Laser", "usb", 1); }
  void request() { mRecording->sent(kSuppliesQuery); }
  void receive(const Told& told) {
    if (told.size() == 0) return;
    mRecording->received(told.bytes);
    mTold = mTold + told;
  }

  // What the printer sent, as the transcript has it.
  [[nodiscard]] Bytes bytes() const {
    std::string digits;
    std::istringstream lines(*readFile(mFile.get(), std::size_t{1} << 20U));
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("< ")) digits += line.substr(line.find(' ', 2));
    }
    return hex(digits);
  }

  // Whether it has all of what was sent but the serial numbers, or why not.
  [[nodiscard]] ::testing::AssertionResult isAsItShouldBe() const {
    const Bytes is = bytes();
    if (is == mTold.redacted) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "sent:     " << hexText(mTold.bytes) << "\nrecorded: " << hexText(is)
           << "\nexpected: " << hexText(mTold.redacted);
  }

  // The same, but zeros may stand for more than serial numbers.
  [[nodiscard]] ::testing::AssertionResult tellsNoSerialNumber() const {
    const Bytes is = bytes();
    bool isSafe = is.size() == mTold.size();
    for (std::size_t i = 0; isSafe && i < is.size(); ++i) {
      isSafe = is[i] == mTold.redacted[i] || is[i] == '0';
    }
    return isSafe ? ::testing::AssertionSuccess() : isAsItShouldBe();
  }

 private:
  FileDescriptor mFile;
  std::unique_ptr<Recording> mRecording;
  Told mTold;
};

// Sends `told` in two reads.
void receiveCut(Redacted& redacted, const Told& told, std::size_t cut) {
  redacted.receive(told.first(std::min(cut, told.size())));
  redacted.receive(told.from(std::min(cut, told.size())));
}

// Has a printer send these replies with a cut at this byte, in every way.
void expectNoSerialNumberCutAt(std::size_t cut, const std::vector<Told>& replies) {
  Told stream;
  for (const Told& reply : replies) stream = stream + reply;

  Redacted inTwoReads;
  receiveCut(inTwoReads, stream, cut);
  ASSERT_TRUE(inTwoReads.isAsItShouldBe());

  Redacted endsThere;
  endsThere.receive(stream.first(cut));
  ASSERT_TRUE(endsThere.isAsItShouldBe());

  // One reply is cut, breaks off, or breaks off and comes again: in the same read, in another, and
  // in two.
  Redacted asked;
  Redacted brokenOff;
  Redacted brokenOffWithoutRequest;
  Redacted again;
  Redacted againLater;
  Redacted againInPieces;
  for (std::size_t i = 0, begin = 0; i < replies.size(); begin += replies[i++].size()) {
    const Told& reply = replies[i];
    const bool isHere = begin <= cut && cut < begin + reply.size();
    const std::size_t at = isHere ? cut - begin : 0;
    const Told begun = reply.first(at);
    asked.request();
    receiveCut(asked, reply, at);
    brokenOff.request();
    brokenOff.receive(isHere ? begun : reply);
    brokenOffWithoutRequest.receive(isHere ? begun : reply);
    again.receive(begun + reply);
    againLater.receive(begun);
    againLater.receive(reply);
    againInPieces.receive(begun);
    receiveCut(againInPieces, reply, at);
  }
  ASSERT_TRUE(asked.isAsItShouldBe());
  ASSERT_TRUE(brokenOff.isAsItShouldBe());
  ASSERT_TRUE(brokenOffWithoutRequest.tellsNoSerialNumber());
  ASSERT_TRUE(again.isAsItShouldBe());
  ASSERT_TRUE(againLater.isAsItShouldBe());
  ASSERT_TRUE(againInPieces.tellsNoSerialNumber());
}

// The same with a cut at each of these bytes.
void expectNoSerialNumber(const std::vector<Reply>& replies, std::size_t firstCut,
                          std::size_t every) {
  std::vector<Told> told;
  std::size_t size = 0;
  for (const Reply& reply : replies) {
    told.push_back(whole(reply));
    size += told.back().size();
  }
  for (std::size_t cut = firstCut; cut <= size; cut += every) {
    SCOPED_TRACE("cut at " + std::to_string(cut));
    ASSERT_NO_FATAL_FAILURE(expectNoSerialNumberCutAt(cut, told));
  }
}

bool hasSerialNumber(const std::vector<Reply>& replies) {
  return std::ranges::any_of(replies, [](const Reply& reply) {
    const Told told = whole(reply);
    return told.bytes != told.redacted;
  });
}

// The exchanges of tests/data that have a serial number, each with all its replies.
std::vector<std::string> tellingNames() {
  std::vector<std::string> names;
  std::ranges::copy_if(exchangeNames(), std::back_inserter(names), [](const std::string& name) {
    return hasSerialNumber(repliesOf(readGolden(name)));
  });
  return names;
}

TEST(RedactedRecording, IsTriedWithSeveralSerialNumbers) { EXPECT_GE(tellingNames().size(), 5U); }

TEST(RedactedRecording, HasNoSerialNumberWhereverAnExchangeIsCut) {
  for (const std::string& name : exchangeNames()) {
    SCOPED_TRACE(name);
    ASSERT_NO_FATAL_FAILURE(expectNoSerialNumber(repliesOf(readGolden(name)), 0, 1));
  }
}

// Each bit of the flags of each packet, the other way round.
TEST(RedactedRecording, HasNoSerialNumberWhateverTheFlagsSay) {
  for (const std::string& name : tellingNames()) {
    std::vector<Reply> replies = repliesOf(readGolden(name));
    for (Reply& reply : replies) {
      for (Told& packet : reply) {
        for (unsigned bit = 0; bit < 8; ++bit) {
          SCOPED_TRACE(name + ", bit " + std::to_string(bit) + " of " + hexText(packet.bytes));
          const auto turn = [&] {
            packet.bytes.at(3) ^= 1U << bit;
            packet.redacted.at(3) ^= 1U << bit;
          };
          turn();
          ASSERT_NO_FATAL_FAILURE(expectNoSerialNumber(replies, bit % cutEvery(), cutEvery()));
          turn();
        }
      }
    }
  }
}

TEST(RedactedRecording, HasNoSerialNumberInAnyOfItsQueries) {
  Redacted redacted;
  for (const std::string& name : tellingNames()) {
    for (const Reply& reply : repliesOf(readGolden(name))) {
      redacted.request();
      const Told told = whole(reply);
      for (std::size_t i = 0; i < told.size(); ++i) redacted.receive(told.from(i).first(1));
    }
    redacted.beginQuery();
  }
  EXPECT_TRUE(redacted.isAsItShouldBe());
}

// What is left of a broken answer is none of another reply.
TEST(RedactedRecording, HasAllOfAReplyToAnotherRequest) {
  const Bytes broken = hex("A5 00 20 50 E0 07 02 FF 41");
  const Bytes other = hex("A5 00 09 50 E0 21 01 00 04 41 42 43 44");
  Redacted asked;
  asked.receive({broken, hex("A5 00 20 50 E0 07 02 FF 30")});
  asked.request();
  asked.receive({other, other});
  EXPECT_TRUE(asked.isAsItShouldBe());
  Redacted askedInAnotherQuery;
  askedInAnotherQuery.receive({broken, hex("A5 00 20 50 E0 07 02 FF 30")});
  askedInAnotherQuery.beginQuery();
  askedInAnotherQuery.receive({other, other});
  EXPECT_TRUE(askedInAnotherQuery.isAsItShouldBe());
}

}  // namespace
}  // namespace moxsupply::testing
