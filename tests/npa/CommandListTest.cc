#include <gtest/gtest.h>

#include <cstring>

#include "npa/CommandList.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

static_assert(sizeof(CommandList) == 180);

Bytes bytesOfTheTable() {
  Bytes bytes(sizeof(CommandList));
  std::memcpy(bytes.data(), &CommandList, bytes.size());
  return bytes;
}

TEST(CommandList, HasTheseBytes) {
  EXPECT_EQ(hexText(bytesOfTheTable()), hexText(hex(R"(
    00 00 00 00                                               # 0: the inkjet query
    A5 00 05 50 E0 81 00 FF
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00

    01 00 00 00                                               # 1: the laser query, second request
    A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E  # prefix packet
    A5 00 05 50 E0 07 02 00
    00 00 00 00 00

    02 00 00 00                                               # 2: the laser query, first request
    A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E  # prefix packet
    A5 00 08 50 E0 21 01 00 00 01 08
    00 00

    03 00 00 00                                               # 3: loop-back
    A5 00 06 40 03 04 20 20 20
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00

    04 00 00 00                                               # 4: never sent
    A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E  # prefix packet
    A5 00 03 50 01 00
    00 00 00 00 00 00 00
  )")));
}

TEST(AssembleCPDquery, CopiesTheInkjetQueryAndNotAByteMore) {
  std::array<std::uint8_t, 9> buffer{};
  buffer.fill(0xCC);
  const Status status =
      MoxNPAUtilityCommand().assembleCPDquery(std::span<std::uint8_t, 8>(buffer.data(), 8));
  EXPECT_EQ(status, Status::kSuccess);
  EXPECT_EQ(hexText(buffer), "A5 00 05 50 E0 81 00 FF CC");
}

TEST(AssemblePSSDquery, CopiesTheLaserQueryAndNotAByteMore) {
  std::array<std::uint8_t, 28> buffer{};
  buffer.fill(0xCC);
  const Status status =
      MoxNPAUtilityCommand().assemblePSSDquery(std::span<std::uint8_t, 27>(buffer.data(), 27));
  EXPECT_EQ(status, Status::kSuccess);
  EXPECT_EQ(hexText(buffer),
            "A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E "
            "A5 00 05 50 E0 07 02 00 CC");
}

TEST(SendDataLoopBack, WritesTheRequestAndReadsNoReply) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    const Status status = MoxNPAUtilityCommand().sendDataLoopBack();
    return std::to_string(signedNumber(status)) + ' ' + hexText(restOfBackChannel());
  });
  filter.send(hex("A5 00 02 40 03"));
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(hexText(ending.written), "A5 00 06 40 03 04 20 20 20");
  EXPECT_EQ(ending.result, "0 A5 00 02 40 03");
}

TEST(SendDataLoopBack, TellsThatTheLinkIsGone) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    restOfBackChannel();
    return std::to_string(signedNumber(MoxNPAUtilityCommand().sendDataLoopBack()));
  });
  filter.closeLink();
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, "-2");
}

}  // namespace
}  // namespace moxsupply::testing
