#include "fuzz/DecodedAlike.h"
#include "fuzz/DictionaryPromises.h"
#include "fuzz/Target.h"
#include "npa/MoxNPAUtilityCommand.h"

namespace moxsupply::fuzzing {

namespace {

using Promise = void (*)(const Dictionary&, Sent);

// Of the length, the decoders ask only whether it is 0 modulo 65536.
//   decode   takes the record and its length
template <typename Decode>
void tryDecoder(std::span<const std::uint8_t> record, Decode decode, Promise promiseOf) {
  const auto decoded =
      decodedAlike(record, [&](std::span<std::uint8_t> bytes) { return decode(bytes, 1U); });
  promise(decoded.has_value(), "a record with a length is decoded, as far as it goes");
  promiseOf(*decoded, record);
  promise(decode(record, 0xFFFFFFFFU) == decoded, "another length gives the same");
  promise(!decode(record, 0U) && !decode(record, 0x10000U), "a length of 0 or 65536 gives nothing");
}

}  // namespace

// A model-family record, decoded as each of the three types.
void tryInput(std::span<const std::uint8_t> input) {
  const MoxNPAUtilityCommand npa;
  tryDecoder(
      input, [&](auto record, auto length) { return npa.parseKelvoS(record, length); },
      promiseKelvoS);
  tryDecoder(
      input, [&](auto record, auto length) { return npa.parseKelvoSC(record, length); },
      promiseKelvoSC);
  tryDecoder(
      input, [&](auto record, auto length) { return npa.parseKelvoColor(record, length); },
      promiseKelvoColor);
}

}  // namespace moxsupply::fuzzing
