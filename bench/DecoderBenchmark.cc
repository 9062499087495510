// The decoders alone, each beside a plain copy of its bytes and beside libraries that read the same
// dictionary from formats of their own.

#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>

#include "bench/Samples.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "tests/support/DictionaryJson.h"

namespace moxsupply::bench {
namespace {

using testing::Bytes;
using testing::Json;

using Decode = std::optional<Dictionary> (*)(Bytes& bytes);

std::uint32_t sizeOf(const Bytes& bytes) { return static_cast<std::uint32_t>(bytes.size()); }

std::optional<Dictionary> asTable(Bytes& record) {
  return MoxNPAUtilityCommand().extractSuppliesResponse(record, sizeOf(record));
}
std::optional<Dictionary> asPageLevels(Bytes& record) {
  return MoxNPAUtilityCommand().parseKelvoS(record, sizeOf(record));
}
std::optional<Dictionary> asPageCounts(Bytes& record) {
  return MoxNPAUtilityCommand().parseKelvoSC(record, sizeOf(record));
}
std::optional<Dictionary> asDotCounts(Bytes& record) {
  return MoxNPAUtilityCommand().parseKelvoColor(record, sizeOf(record));
}
std::optional<Dictionary> asItems(Bytes& reply) {
  return MoxNPAUtilityCommand().parseCPDQueryResponse(reply, sizeOf(reply));
}

struct Sample {
  Decode decode;
  Bytes bytes;
};

Sample tableOf(std::size_t supplies) { return {asTable, suppliesTable(supplies)}; }

void decoder(benchmark::State& state, Sample sample) {
  for (auto _ : state) {
    auto decoded = sample.decode(sample.bytes);
    benchmark::DoNotOptimize(decoded);
  }
}

void copyOfBytes(benchmark::State& state, const Sample& sample) {
  for (auto _ : state) {
    Bytes copy = sample.bytes;
    benchmark::DoNotOptimize(copy.data());
  }
}

void nlohmannFromCbor(benchmark::State& state, Sample sample) {
  const auto cbor = Json::to_cbor(testing::asJson(sample.decode(sample.bytes)));
  for (auto _ : state) {
    auto decoded = Json::from_cbor(cbor);
    benchmark::DoNotOptimize(decoded);
  }
}

// The node belongs to the caller.
plist_t asPlist(const Json& json) {
  if (json.is_number()) {
    return plist_new_uint(static_cast<std::uint64_t>(json.get<std::int64_t>()));
  }
  if (json.is_string()) return plist_new_string(json.get<std::string>().c_str());
  if (json.is_array()) {  // of bytes
    plist_t array = plist_new_array();
    for (const Json& item : json) plist_array_append_item(array, asPlist(item));
    return array;
  }
  plist_t dictionary = plist_new_dict();
  for (const auto& [key, value] : json.items()) {
    plist_dict_set_item(dictionary, key.c_str(), asPlist(value));
  }
  return dictionary;
}

void libplistFromBinary(benchmark::State& state, Sample sample) {
  plist_t original = asPlist(testing::asJson(sample.decode(sample.bytes)));
  char* binary = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(original, &binary, &size);
  plist_free(original);
  for (auto _ : state) {
    plist_t decoded = nullptr;
    plist_from_bin(binary, size, &decoded);
    if (decoded == nullptr) std::abort();
    plist_free(decoded);
  }
  std::free(binary);
}

void beside(const char* name, const Sample& sample) {
  const std::string of = std::string("/") + name;
  benchmark::RegisterBenchmark(("decoder" + of).c_str(), decoder, sample);
  benchmark::RegisterBenchmark(("copyOfBytes" + of).c_str(), copyOfBytes, sample);
  benchmark::RegisterBenchmark(("nlohmannFromCbor" + of).c_str(), nlohmannFromCbor, sample);
  benchmark::RegisterBenchmark(("libplistFromBinary" + of).c_str(), libplistFromBinary, sample);
}

const bool kRegistered = [] {
  beside("table of 8", tableOf(8));
  beside("table of 60", tableOf(60));
  beside("page levels", {asPageLevels, pageLevels()});
  beside("page counts", {asPageCounts, pageCounts(8)});
  beside("dot counts", {asDotCounts, dotCounts(8)});
  beside("inkjet items", {asItems, inkjetItems()});
  benchmark::RegisterBenchmark("decoder/table of 1", decoder, tableOf(1));
  benchmark::RegisterBenchmark("decoder/table of 30", decoder, tableOf(30));
  return true;
}();

}  // namespace
}  // namespace moxsupply::bench
