#include "fuzz/DecodedAlike.h"
#include "fuzz/Target.h"
#include "npa/CPDTriplet.h"
#include "npa/MoxNPAUtilityCommand.h"

namespace moxsupply::fuzzing {

namespace {

// Under the keys of the table, and no others, bytes of which the reply has as many.
void promiseItems(const Dictionary& items, std::size_t sizeOfReply) {
  std::size_t size = 0;
  for (const Dictionary::Entry& item : items) {
    const auto* row = std::ranges::find_if(CPDTriplet, [&](const CPDTripletRow& candidate) {
      return candidate.key == nullptr || Key::fromTable(candidate.key) == item.key;
    });
    promise(row->key != nullptr, "every item has a name of the table");
    const auto* bytes = std::get_if<Bytes>(&item.value);
    promise(bytes != nullptr, "every item is bytes");
    promise(bytes->size() <= 255, "an item has 255 bytes at most");
    size += 3 + bytes->size();
  }
  // Its first packet has eight bytes before the items, and they are counted in two.
  promise(size + 10 <= sizeOfReply, "the items are not larger than the reply");
}

}  // namespace

// A gathered reply to the inkjet query.
void tryInput(std::span<const std::uint8_t> input) {
  const MoxNPAUtilityCommand npa;
  const auto size = static_cast<std::uint32_t>(input.size());
  const auto items = decodedAlike(input, [&](std::span<const std::uint8_t> reply) {
    return npa.parseCPDQueryResponse(reply, size);
  });
  if (items) promiseItems(*items, size);
  promise(npa.parseCPDQueryResponse(input, ~0U) == items, "no more bytes than there are");
  promise(!npa.parseCPDQueryResponse(input, 7), "a length below 8 gives nothing");
}

}  // namespace moxsupply::fuzzing
