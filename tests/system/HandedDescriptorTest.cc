#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "system/HandedDescriptor.h"
#include "system/MemoryFile.h"
#include "system/Pipe.h"
#include "system/ReadFile.h"
#include "tests/support/Depth.h"
#include "tests/support/Processes.h"

namespace moxsupply::testing {
namespace {

TEST(AHandedDescriptor, IsTheSameFile) {
  const Pipe ends = makePacketPair();
  ASSERT_EQ(handOver(ends.writeEnd.get(), "a file", memoryFile("its content").get()), 0);
  const auto handed = takeOver(ends.readEnd.get(), 100);
  ASSERT_TRUE(handed);
  EXPECT_EQ(handed->text, "a file");
  EXPECT_EQ(readFile(handed->descriptor.get(), 100).value_or(""), "its content");
}

TEST(AHandedDescriptor, MayBeMissing) {
  const Pipe ends = makePacketPair();
  ASSERT_EQ(handOver(ends.writeEnd.get(), "words", -1), 0);
  const auto handed = takeOver(ends.readEnd.get(), 3);
  ASSERT_TRUE(handed);
  EXPECT_EQ(handed->text, "wor");
  EXPECT_FALSE(handed->descriptor);
}

TEST(AHandedDescriptor, IsTheOnlyOneThatIsTaken) {
  if (isEmulated()) GTEST_SKIP() << "qemu leaves another one open";
  const Pipe ends = makePacketPair();
  std::array<int, 2> two = {STDIN_FILENO, STDERR_FILENO};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof two)> beside{};
  char byte = 'x';
  iovec part = {.iov_base = &byte, .iov_len = 1};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = beside.data();
  message.msg_controllen = beside.size();
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof two);
  std::memcpy(CMSG_DATA(header), two.data(), sizeof two);
  ASSERT_EQ(::sendmsg(ends.writeEnd.get(), &message, 0), 1);
  const std::size_t before = openDescriptors();
  EXPECT_TRUE(takeOver(ends.readEnd.get(), 1)->descriptor);
  EXPECT_EQ(openDescriptors(), before);
}

TEST(AHandedDescriptor, SaysWhetherMoreCanCome) {
  Pipe ends = makePacketPair();
  ::fcntl(ends.readEnd.get(), F_SETFL, O_NONBLOCK);
  EXPECT_FALSE(takeOver(ends.readEnd.get(), 1));
  EXPECT_EQ(errno, EAGAIN);
  ends.writeEnd = FileDescriptor();
  EXPECT_FALSE(takeOver(ends.readEnd.get(), 1));
  EXPECT_NE(errno, EAGAIN);
}

TEST(AHandedDescriptor, BlocksNobodyAndKillsNobody) {
  Pipe ends = makePacketPair();
  int error = 0;
  for (int i = 0; i < 100'000 && error == 0; ++i) error = handOver(ends.writeEnd.get(), "x", -1);
  EXPECT_EQ(error, EAGAIN);
  ends = makePacketPair();
  ends.readEnd = FileDescriptor();
  EXPECT_EQ(handOver(ends.writeEnd.get(), "x", -1), EPIPE);
}

}  // namespace
}  // namespace moxsupply::testing
