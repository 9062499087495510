#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/Requests.h"
#include "tests/support/Hex.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {
namespace {

using simulator::Junk;
using simulator::Request;
using simulator::RequestReader;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What goes before each query of a laser printer.
const Bytes kPrefix = hex("A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E");

std::string asText(const RequestReader::Finding& finding) {
  if (const auto* junk = std::get_if<Junk>(&finding)) {
    return fmt::format("junk {}: {:02X}", junk->size, fmt::join(junk->head, " "));
  }
  switch (std::get<Request>(finding)) {
    case Request::kLoopBack:
      return "loop-back";
    case Request::kInkjetQuery:
      return "inkjet";
    case Request::kDeviceQuery:
      return "device";
    case Request::kSuppliesQuery:
      return "supplies";
  }
  return "?";
}

// What the pieces bring, then what is left when no more come.
std::vector<std::string> readPieces(const std::vector<Bytes>& pieces) {
  RequestReader reader;
  std::vector<std::string> texts;
  for (const Bytes& piece : pieces) {
    for (const auto& finding : reader.read(piece)) texts.push_back(asText(finding));
  }
  if (const auto rest = reader.takeRest()) texts.push_back(asText(*rest));
  return texts;
}

Bytes part(const Bytes& bytes, std::size_t from, std::size_t to) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
          bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

TEST(RequestReader, KnowsEveryRequest) {
  EXPECT_THAT(readPieces({kLoopBack}), ElementsAre("loop-back"));
  EXPECT_THAT(readPieces({kInkjetQuery}), ElementsAre("inkjet"));
  EXPECT_THAT(readPieces({kDeviceQuery}), ElementsAre("device"));
  EXPECT_THAT(readPieces({kSuppliesQuery}), ElementsAre("supplies"));
}

TEST(RequestReader, KnowsARequestInEveryCut) {
  for (const Bytes& request : {kLoopBack, kInkjetQuery, kDeviceQuery, kSuppliesQuery}) {
    const auto whole = readPieces({request});
    for (std::size_t first = 0; first <= request.size(); ++first) {
      for (std::size_t second = first; second <= request.size(); ++second) {
        EXPECT_EQ(readPieces({part(request, 0, first), part(request, first, second),
                              part(request, second, request.size())}),
                  whole)
            << first << ", " << second;
      }
    }
  }
}

TEST(RequestReader, KnowsARequestByteByByte) {
  const Bytes all = joined({kSuppliesQuery, kLoopBack, kDeviceQuery});
  std::vector<Bytes> pieces;
  for (const std::uint8_t byte : all) pieces.push_back({byte});
  EXPECT_THAT(readPieces(pieces), ElementsAre("supplies", "loop-back", "device"));
}

TEST(RequestReader, FindsSeveralInOneWrite) {
  EXPECT_THAT(readPieces({joined({kLoopBack, kInkjetQuery, kInkjetQuery, kDeviceQuery})}),
              ElementsAre("loop-back", "inkjet", "inkjet", "device"));
}

TEST(RequestReader, TakesNoRequestWithAnyByteChanged) {
  for (const Bytes& request : {kLoopBack, kInkjetQuery, kDeviceQuery, kSuppliesQuery}) {
    for (std::size_t at = 0; at < request.size(); ++at) {
      Bytes changed = request;
      changed[at] ^= 0x01;
      const auto texts = readPieces({changed});
      ASSERT_EQ(texts.size(), 1U) << at;
      EXPECT_TRUE(texts[0].starts_with("junk")) << texts[0];
    }
  }
}

TEST(RequestReader, TakesThePrefixPacketAloneForJunk) {
  EXPECT_THAT(readPieces({kPrefix}),
              ElementsAre("junk 19: A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E"));
}

TEST(RequestReader, TakesALaserQueryWithoutItsPrefixPacketForJunk) {
  EXPECT_THAT(readPieces({hex("A5 00 05 50 E0 07 02 00")}),
              ElementsAre("junk 8: A5 00 05 50 E0 07 02 00"));
}

TEST(RequestReader, FindsTheRequestBehindJunk) {
  EXPECT_THAT(readPieces({joined({bytesOf("GET /"), kInkjetQuery})}),
              ElementsAre("junk 5: 47 45 54 20 2F", "inkjet"));
}

TEST(RequestReader, FindsTheRequestBehindHalfOfAnother) {
  EXPECT_THAT(readPieces({joined({part(kDeviceQuery, 0, 21), kInkjetQuery})}),
              ElementsAre("junk 21: A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E A5 00",
                          "inkjet"));
}

TEST(RequestReader, FindsTheRequestBehindItsOwnFirstBytes) {
  EXPECT_THAT(readPieces({joined({hex("A5 A5 00"), kInkjetQuery})}),
              ElementsAre("junk 3: A5 A5 00", "inkjet"));
  EXPECT_THAT(
      readPieces({joined({kPrefix, kDeviceQuery})}),
      ElementsAre("junk 19: A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E", "device"));
}

TEST(RequestReader, GivesJunkBetweenRequestsInItsPlace) {
  EXPECT_THAT(readPieces({joined({kLoopBack, hex("00"), kLoopBack, hex("01 02")})}),
              ElementsAre("loop-back", "junk 1: 00", "loop-back", "junk 2: 01 02"));
}

TEST(RequestReader, JoinsJunkThatComesInPieces) {
  EXPECT_THAT(readPieces({hex("01"), hex("02"), hex("03")}), ElementsAre("junk 3: 01 02 03"));
}

TEST(RequestReader, ShowsTheHeadOfLongJunkAndCountsAll) {
  EXPECT_THAT(readPieces({Bytes(70'000, 0x41)}),
              ElementsAre("junk 70000: 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 "
                          "41 41 41 41 41 41 41 41 41 41 41 41 41 41 41 41"));
}

TEST(RequestReader, HoldsTheBeginningOfARequestBackUntilTheEnd) {
  RequestReader reader;
  EXPECT_THAT(reader.read(hex("FF A5 00 05 50")), IsEmpty());
  const auto junk = reader.takeJunk();
  ASSERT_TRUE(junk);
  EXPECT_EQ(asText(*junk), "junk 1: FF");
  EXPECT_FALSE(reader.takeJunk());
  const auto rest = reader.takeRest();
  ASSERT_TRUE(rest);
  EXPECT_EQ(asText(*rest), "junk 4: A5 00 05 50");
  EXPECT_FALSE(reader.takeRest());
}

}  // namespace
}  // namespace moxsupply::testing
