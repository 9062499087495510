#include "fuzz/DecodedAlike.h"
#include "fuzz/DictionaryPromises.h"
#include "fuzz/Target.h"
#include "npa/MoxNPAUtilityCommand.h"

namespace moxsupply::fuzzing {

namespace {

// The decoder marks each entry that it reads with a 1, and changes nothing else.
void promiseMarksOnly(std::span<const std::uint8_t> before, std::span<const std::uint8_t> after,
                      std::size_t entries) {
  std::size_t marks = 0;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i] == after[i]) continue;
    promise(after[i] == 1, "the decoder writes nothing but ones");
    ++marks;
  }
  promise(marks <= entries, "the decoder marks the entries that it reads");
}

}  // namespace

// A device-data record.
void tryInput(std::span<const std::uint8_t> input) {
  const MoxNPAUtilityCommand npa;
  const auto size = static_cast<std::uint32_t>(input.size());
  const auto supplies = decodedAlike(input, [&](std::span<std::uint8_t> record) {
    auto decoded = npa.extractSuppliesResponse(record, size);
    const auto count = decoded ? decoded->number("Supplies Count") : 0;
    promiseMarksOnly(input, record, static_cast<std::size_t>(count));
    return decoded;
  });
  if (supplies) promiseSupplies(*supplies, input);
  for (const std::uint32_t length : {0U, ~0U}) {
    Bytes record(input.begin(), input.end());
    promise(npa.extractSuppliesResponse(record, length) == supplies, "the length does not count");
  }
}

}  // namespace moxsupply::fuzzing
