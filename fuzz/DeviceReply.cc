#include "fuzz/DecodedAlike.h"
#include "fuzz/DictionaryPromises.h"
#include "fuzz/Target.h"
#include "npa/MoxNPAUtilityCommand.h"

namespace moxsupply::fuzzing {

// A gathered reply to the request for the supplies table.
void tryInput(std::span<const std::uint8_t> input) {
  const MoxNPAUtilityCommand npa;
  const auto size = static_cast<std::uint32_t>(input.size());
  const auto supplies = decodedAlike(input, [&](std::span<const std::uint8_t> reply) {
    return npa.parsePSSDDeviceResponse(reply, size);
  });
  // Empty: there was no table.
  if (supplies && !supplies->empty()) promiseSupplies(*supplies, std::nullopt);
  promise(npa.parsePSSDDeviceResponse(input, ~0U) == supplies, "no more bytes than there are");
  if (size < 8) promise(!supplies, "a reply below 8 bytes gives nothing");
  promise(!npa.parsePSSDDeviceResponse(input, 7), "nor does a length below 8");
  promise(!supplies || !npa.parsePSSDQueryResponse(input, size), "a reply is of one kind");
}

}  // namespace moxsupply::fuzzing
