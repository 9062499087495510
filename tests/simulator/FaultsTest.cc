#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <stdexcept>

#include "simulator/Disturbance.h"
#include "simulator/Faults.h"
#include "simulator/Requests.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

using simulator::Disturbance;
using simulator::Faults;
using simulator::Then;
using simulator::Write;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

Faults faults(std::initializer_list<const char*> texts) {
  Faults faults;
  for (const char* text : texts) EXPECT_TRUE(faults.add(text)) << text;
  return faults;
}

std::string complaintOf(std::initializer_list<const char*> texts) {
  Faults faults;
  for (const char* text : texts) {
    if (const auto added = faults.add(text); !added) return added.error().what;
  }
  return "none";
}

Bytes bytesOfAll(const std::vector<Write>& writes) {
  Bytes bytes;
  for (const Write& write : writes) {
    bytes.insert(bytes.end(), write.bytes.begin(), write.bytes.end());
  }
  return bytes;
}

const Bytes kAnswer = hex("A5 00 07 50 E0 81 00 FF 00 00");

// In two writes, of which the second waits.
std::vector<Write> answer() {
  return {{.bytes = hex("A5 00")}, {.pause = 7ms, .bytes = hex("07 50 E0 81 00 FF 00 00")}};
}

TEST(Faults, AreNoneUnlessTheyAreNamed) {
  Disturbance none{Faults()};
  const auto writes = none.disturb(answer());
  ASSERT_THAT(writes, SizeIs(2));
  EXPECT_EQ(bytesOfAll(writes), kAnswer);
  EXPECT_EQ(writes[1].pause, 7ms);
  EXPECT_EQ(writes[1].then, Then::kNext);
}

TEST(Faults, TakeTheirValuesFromTheirNames) {
  const Faults all = faults({"cut=0", "reset=7", "silent=4294967295", "drip=3600000", "twice",
                             "wrong-request", "length=9", "flip=0", "flip=17", "never-close"});
  EXPECT_EQ(all.cut, 0U);
  EXPECT_EQ(all.reset, 7U);
  EXPECT_EQ(all.silent, 4294967295U);
  EXPECT_EQ(all.drip, 3600000ms);
  EXPECT_TRUE(all.twice && all.wrongRequest && all.neverClose);
  EXPECT_EQ(all.length->value, 9);
  EXPECT_FALSE(all.length->isRelative);
  EXPECT_EQ(all.flips, (std::vector<std::size_t>{0, 17}));
  EXPECT_EQ(faults({"flood"}).flood, Faults::Flood::kBytes);
  EXPECT_EQ(faults({"flood=packets"}).flood, Faults::Flood::kPackets);
  EXPECT_EQ(faults({"cut"}).cut, 0U);
  EXPECT_EQ(faults({"length=+2"}).length->value, 2);
  EXPECT_TRUE(faults({"length=-2"}).length->isRelative);
}

TEST(Faults, ComplainOfWhatIsWrong) {
  EXPECT_THAT(complaintOf({"cuts=1"}), HasSubstr("cuts: there is no such fault; there are "
                                                 "cut[=N], reset[=N], "));
  EXPECT_EQ(complaintOf({"cut=x"}),
            "cut: expected a number of bytes from 0 to 4294967295, not \"x\"");
  EXPECT_EQ(complaintOf({"silent=-1"}),
            "silent: expected a number of bytes from 0 to 4294967295, not \"-1\"");
  EXPECT_EQ(complaintOf({"reset="}),
            "reset: expected a number of bytes from 0 to 4294967295, not \"\"");
  EXPECT_EQ(complaintOf({"drip"}),
            "drip: expected a number of milliseconds from 0 to 3600000, not nothing");
  EXPECT_EQ(complaintOf({"drip=3600001"}),
            "drip: expected a number of milliseconds from 0 to 3600000, not \"3600001\"");
  EXPECT_EQ(complaintOf({"flood=water"}), "flood: expected bytes or packets, not \"water\"");
  EXPECT_EQ(complaintOf({"twice=2"}), "twice: takes no value");
  EXPECT_EQ(complaintOf({"wrong-request=1"}), "wrong-request: takes no value");
  EXPECT_EQ(complaintOf({"never-close="}), "never-close: takes no value");
  for (const char* length : {"length", "length=", "length=65536", "length=+-1", "length=1x"}) {
    EXPECT_THAT(complaintOf({length}), HasSubstr("length: expected a length from 0 to "
                                                 "65535, or a difference"));
  }
  EXPECT_THAT(complaintOf({"flip"}), HasSubstr("flip: expected a bit from 0 to "));
  EXPECT_EQ(complaintOf({"cut=9", "flood"}),
            "flood: goes with none of cut, reset, silent and drip");
}

TEST(Faults, AreDescribedEachByItsVerb) {
  const std::string text = simulator::describeFaults();
  for (const char* verb :
       {"cut[=N]", "reset[=N]", "silent[=N]", "drip=MS", "wake=MS", "flood[=packets]", "twice",
        "wrong-request", "length=L", "flip=BIT", "never-close"}) {
    EXPECT_THAT(text, HasSubstr(std::string("  ") + verb + " "));
  }
}

struct End {
  const char* verb;
  Then then;
};

class EndOfThePrinter : public ::testing::TestWithParam<End> {};

INSTANTIATE_TEST_SUITE_P(Faults, EndOfThePrinter,
                         ::testing::Values(End{"cut", Then::kHangUp}, End{"reset", Then::kReset},
                                           End{"silent", Then::kNext}),
                         [](const auto& end) { return std::string(end.param.verb); });

TEST_P(EndOfThePrinter, ComesAfterAnyNumberOfBytesOfItsAnswers) {
  const Bytes both = joined({kAnswer, kAnswer});
  for (std::size_t size = 0; size <= both.size(); ++size) {
    SCOPED_TRACE(size);
    Faults ending;
    static_cast<void>(ending.add(GetParam().verb + ("=" + std::to_string(size))));
    Disturbance disturbance(ending);
    auto writes = disturbance.disturb(answer());
    const bool endsInTheFirst = size <= kAnswer.size();
    const auto second = disturbance.disturb(answer());
    EXPECT_EQ(second.empty(), endsInTheFirst);
    writes.insert(writes.end(), second.begin(), second.end());
    const Bytes expected(both.begin(), both.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(bytesOfAll(writes), expected);
    ASSERT_EQ(writes.empty(), size == 0 && GetParam().then == Then::kNext);
    EXPECT_TRUE(writes.empty() || writes.back().then == GetParam().then);
    EXPECT_THAT(disturbance.disturb(answer()), IsEmpty());
  }
}

TEST(Faults, EndThePrinterAtTheFirstOfSeveralEnds) {
  Disturbance disturbance(faults({"cut=9", "reset=4", "silent=6"}));
  const auto writes = disturbance.disturb(answer());
  EXPECT_EQ(bytesOfAll(writes), hex("A5 00 07 50"));
  EXPECT_EQ(writes.back().then, Then::kReset);
}

TEST(Drip, SendsSingleBytesSoFarApart) {
  Disturbance disturbance(faults({"drip=5", "cut=3"}));
  const auto writes = disturbance.disturb(answer());
  ASSERT_THAT(writes, SizeIs(4));
  EXPECT_EQ(writes[0].bytes, hex("A5"));
  EXPECT_EQ(writes[0].pause, 5ms);
  EXPECT_EQ(writes[1].pause, 5ms);
  EXPECT_EQ(writes[2].bytes, hex("07"));
  EXPECT_EQ(writes[2].pause, 12ms);
  EXPECT_EQ(writes[3].then, Then::kHangUp);
}

TEST(Flood, HasNoEnd) {
  for (const auto& [verb, beginning] :
       {std::pair("flood", "78 78 78"), {"flood=packets", "A5 00 10"}}) {
    Disturbance disturbance(faults({verb}));
    const auto writes = disturbance.disturb(answer());
    ASSERT_THAT(writes, SizeIs(1));
    EXPECT_EQ(writes[0].then, Then::kAgain);
    EXPECT_EQ(Bytes(writes[0].bytes.begin(), writes[0].bytes.begin() + 3), hex(beginning));
  }
}

TEST(FloodOfPackets, BreaksNoneOff) {
  Disturbance disturbance(faults({"flood=packets"}));
  EXPECT_EQ(bytesOfAll(disturbance.disturb({})).size() % simulator::prefixPacket().size(), 0U);
}

TEST(Twice, SendsEachAnswerTwice) {
  Disturbance disturbance(faults({"twice"}));
  EXPECT_EQ(bytesOfAll(disturbance.disturb(answer())), joined({kAnswer, kAnswer}));
}

TEST(WrongRequest, IsNeverTheOneThatWasAsked) {
  for (const char* echo : {"E0 81 00", "E0 21 01", "E0 07 02"}) {
    Disturbance disturbance(faults({"wrong-request"}));
    const Bytes bytes =
        bytesOfAll(disturbance.disturb({{.bytes = joined({hex("A5 00 06 50"), hex(echo)})}}));
    const Bytes named(bytes.begin() + 4, bytes.end());
    EXPECT_NE(named, hex(echo));
    EXPECT_TRUE(named == hex("E0 81 00") || named == hex("E0 21 01")) << hexText(named);
  }
}

TEST(Length, IsWhatItIsSaidToBe) {
  for (const auto& [text, length] : {std::pair("length=513", "02 01"),
                                     {"length=+1", "00 08"},
                                     {"length=-8", "FF FF"},
                                     {"length=0", "00 00"}}) {
    Disturbance disturbance(faults({text}));
    EXPECT_EQ(bytesOfAll(disturbance.disturb(answer())),
              joined({hex("A5"), hex(length), hex("50 E0 81 00 FF 00 00")}))
        << text;
  }
}

TEST(LengthAndWrongRequest, LeaveAnAnswerAloneThatHasNoRoomForThem) {
  Disturbance disturbance(faults({"length=9", "wrong-request"}));
  EXPECT_EQ(bytesOfAll(disturbance.disturb({{.bytes = hex("A5 00")}})), hex("A5 00"));
  EXPECT_THAT(disturbance.disturb({}), IsEmpty());
}

TEST(Flip, TurnsBitsOfAllThatIsSent) {
  Disturbance disturbance(faults({"flip=0", "flip=15", "flip=83", "flip=1000"}));
  EXPECT_EQ(bytesOfAll(disturbance.disturb(answer())), hex("25 01 07 50 E0 81 00 FF 00 00"));
  EXPECT_EQ(bytesOfAll(disturbance.disturb(answer())), hex("B5 00 07 50 E0 81 00 FF 00 00"));
}

}  // namespace
}  // namespace moxsupply::testing
