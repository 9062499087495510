#include "simulator/ModelFile.h"

#include <algorithm>
#include <string_view>

#include "fuzz/Target.h"
#include "simulator/Answer.h"

namespace moxsupply::fuzzing {

namespace {

using simulator::Request;

bool isPlain(char c) { return c >= ' ' && c <= '~'; }

// What a well-formed model's printer answers is packets back to back.
void promisePackets(const simulator::Model& model, Request request) {
  simulator::Bytes bytes;
  const std::size_t strays = model.replyTo(request).strays.size();
  const auto writes = answerTo(model, request);
  for (std::size_t i = strays; i < writes.size(); ++i) {
    promise(!writes[i].bytes.empty(), "a write has bytes");
    bytes.insert(bytes.end(), writes[i].bytes.begin(), writes[i].bytes.end());
  }
  bool moreFollow = true;
  for (std::size_t at = 0; at < bytes.size();) {
    promise(moreFollow, "only the last packet says that it is the last");
    promise(bytes.size() - at >= 4 && bytes[at] == 0xA5, "a packet has a head");
    const std::size_t size = bytes[at + 1] * std::size_t{256} + bytes[at + 2] + 3;
    promise(size <= bytes.size() - at, "a packet is whole");
    moreFollow = (bytes[at + 3] & 0x20) != 0;
    at += size;
  }
  promise(bytes.empty() || !moreFollow, "the last packet says so");
}

}  // namespace

// A model file.
void tryInput(std::span<const std::uint8_t> input) {
  const std::string text(input.begin(), input.end());
  const auto model = simulator::parseModel(text, "printer.json");
  if (!model) {
    const std::string& what = model.error().what;
    promise(what.starts_with("printer.json:"), "a mistake begins with its file");
    promise(std::ranges::all_of(what, isPlain), "a mistake is one line, safe on a terminal");
    return;
  }
  for (const Request request :
       {Request::kInkjetQuery, Request::kDeviceQuery, Request::kSuppliesQuery}) {
    promisePackets(*model, request);
  }
}

}  // namespace moxsupply::fuzzing
