#include "fuzz/DecodedAlike.h"
#include "fuzz/DictionaryPromises.h"
#include "fuzz/Target.h"
#include "npa/MoxNPAUtilityCommand.h"

namespace moxsupply::fuzzing {

namespace {

using Decoder = std::optional<Dictionary> (MoxNPAUtilityCommand::*)(std::span<const std::uint8_t>,
                                                                    std::uint32_t) const noexcept;
using Promise = void (*)(const Dictionary&, Sent);

// Of the length, the decoders ask only whether it is 0 modulo 65536.
void tryDecoder(std::span<const std::uint8_t> record, Decoder decoder, Promise promiseOf) {
  const MoxNPAUtilityCommand npa;
  const auto decoded =
      decodedAlike(record, [&](std::span<std::uint8_t> bytes) { return (npa.*decoder)(bytes, 1); });
  promise(decoded.has_value(), "a record with a length is decoded, as far as it goes");
  promiseOf(*decoded, record);
  promise((npa.*decoder)(record, 0xFFFFFFFF) == decoded, "another length gives the same");
  promise(!(npa.*decoder)(record, 0) && !(npa.*decoder)(record, 0x10000),
          "a length of 0 or 65536 gives nothing");
}

}  // namespace

// A model-family record, decoded as each of the three types.
void tryInput(std::span<const std::uint8_t> input) {
  tryDecoder(input, &MoxNPAUtilityCommand::parseKelvoS, promiseKelvoS);
  tryDecoder(input, &MoxNPAUtilityCommand::parseKelvoSC, promiseKelvoSC);
  tryDecoder(input, &MoxNPAUtilityCommand::parseKelvoColor, promiseKelvoColor);
}

}  // namespace moxsupply::fuzzing
