#include <algorithm>

#include "fuzz/PrinterLink.h"
#include "fuzz/Target.h"
#include "npa/MoxNPAUtilityCommand.h"

namespace moxsupply::fuzzing {

namespace {

constexpr std::uint8_t kUntouched = 0xCC;

// One reply, gathered from the link into a buffer of `capacity` bytes.
struct Gathered {
  Gathered(std::span<const std::uint8_t> input, std::size_t capacity)
      : buffer(capacity, kUntouched) {
    PrinterLink link(input);
    status = MoxNPAUtilityCommand().getNPAReply(buffer, length, kTimeout);
    delivered = link.delivered();
    readsInVain = link.readsInVain();
    wanted = link.wanted();
    promise(link.written().empty(), "gathering asks for nothing");
  }

  Bytes buffer;
  Status status = Status::kNoCommand;
  std::uint32_t length = 12345;
  std::size_t delivered = 0;
  std::size_t readsInVain = 0;
  std::vector<std::size_t> wanted;
};

void promiseOneReply(const Gathered& reply) {
  promise(reply.readsInVain <= 1, "a reply ends with the first read that brings nothing");
  promise(reply.length <= reply.buffer.size(), "no more is stored than there is room for");
  promise(reply.length <= reply.delivered, "no more is stored than came");
  if (reply.status == Status::kSuccess) {
    promise(reply.length >= 6, "a reply has six bytes");
    promise(reply.buffer[0] == 0xA5, "a reply begins as a packet does");
    promise(std::all_of(reply.buffer.begin() + reply.length, reply.buffer.end(),
                        [](std::uint8_t byte) { return byte == kUntouched; }),
            "nothing is written behind the reply");
  } else {
    promise(reply.status == Status::kReadError, "a reply is there or it is not");
    promise(reply.length == 0, "no reply has no length");
    promise(
        std::all_of(reply.buffer.begin() + std::min<std::ptrdiff_t>(5, std::ssize(reply.buffer)),
                    reply.buffer.end(), [](std::uint8_t byte) { return byte == kUntouched; }),
        "of no reply five bytes are stored at most");
  }
}

}  // namespace

// A capacity in two bytes, modulo 4097, and what a printer link makes of the rest.
void tryInput(std::span<const std::uint8_t> input) {
  if (input.size() < 2) return;
  constexpr std::size_t kCapacityOfQueries = 4096;
  const std::size_t capacity = (input[0] * std::size_t{256} + input[1]) % (kCapacityOfQueries + 1);
  const Gathered small(input.subspan(2), capacity);
  const Gathered large(input.subspan(2), kCapacityOfQueries);
  promiseOneReply(small);
  promiseOneReply(large);
  promise(small.delivered == large.delivered && small.wanted == large.wanted,
          "the link stays in step, however little room there is");
  const std::size_t stored = std::min<std::size_t>(capacity, large.length);
  promise(
      std::equal(large.buffer.begin(), large.buffer.begin() + static_cast<std::ptrdiff_t>(stored),
                 small.buffer.begin()),
      "what is stored is the beginning of the reply");
}

}  // namespace moxsupply::fuzzing
