#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

#include "values/Dictionary.h"

// What the decoders say of the dictionaries that they give.
namespace moxsupply::fuzzing {

// The bytes in which each text must stand as it is: none is made up. Nothing where a text may be
// split among packets.
using Sent = std::optional<std::span<const std::uint8_t>>;

// A number that may be there, and its range: all of it where none is named.
struct NumberField {
  Key key;
  std::int32_t least = std::numeric_limits<std::int32_t>::min();
  std::int32_t most = std::numeric_limits<std::int32_t>::max();
};

// How many of these are there. Promises that those are numbers in their ranges.
std::size_t countNumbers(const Dictionary& dictionary, std::span<const NumberField> numbers);

// How many of these are there. Promises that those are texts of UTF-8 without a zero byte that
// stand in `sent`.
std::size_t countTexts(const Dictionary& dictionary, std::span<const Key> texts, Sent sent);

// Of a supplies table.
void promiseSupplies(const Dictionary& supplies, Sent sent);

// Of the model-family records of types 1, 2 and 3.
void promiseKelvoS(const Dictionary& record, Sent sent);
void promiseKelvoSC(const Dictionary& record, Sent sent);
void promiseKelvoColor(const Dictionary& record, Sent sent);

}  // namespace moxsupply::fuzzing
