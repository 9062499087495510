#include "fuzz/DecodedAlike.h"
#include "fuzz/DictionaryPromises.h"
#include "fuzz/Target.h"
#include "npa/MoxNPAUtilityCommand.h"

namespace moxsupply::fuzzing {

namespace {

void promiseOfItsType(const Dictionary& record) {
  switch (record.number("Toner Prediction")) {
    case 1:
      return promiseKelvoS(record, std::nullopt);
    case 2:
      return promiseKelvoSC(record, std::nullopt);
    case 3:
      return promiseKelvoColor(record, std::nullopt);
    default:
      promise(false, "a record that is decoded is of type 1, 2 or 3");
  }
}

}  // namespace

// A gathered reply to the request for the model-family record.
void tryInput(std::span<const std::uint8_t> input) {
  const MoxNPAUtilityCommand npa;
  const auto size = static_cast<std::uint32_t>(input.size());
  const auto record = decodedAlike(input, [&](std::span<const std::uint8_t> reply) {
    return npa.parsePSSDQueryResponse(reply, size);
  });
  if (record) promiseOfItsType(*record);
  promise(npa.parsePSSDQueryResponse(input, ~0U) == record, "no more bytes than there are");
  promise(!npa.parsePSSDQueryResponse(input, 7), "a length below 8 gives nothing");
  promise(!record || !npa.parsePSSDDeviceResponse(input, size), "a reply is of one kind");
}

}  // namespace moxsupply::fuzzing
