#include "simulator/Answer.h"

#include <algorithm>
#include <span>

#include "simulator/InkjetReply.h"
#include "simulator/LaserReply.h"
#include "simulator/Packets.h"

namespace moxsupply::simulator {

namespace {

// Empty: the printer does not know the request, or has nothing to say to it.
Bytes replyBytes(const Model& model, Request request) {
  const auto& sizes = model.replyTo(request).packets;
  const auto* inkjet = std::get_if<InkjetModel>(&model.printer);
  const auto* laser = std::get_if<LaserModel>(&model.printer);
  switch (request) {
    case Request::kLoopBack:
      return model.loopBackReply;
    case Request::kInkjetQuery:
      if (inkjet != nullptr) return joinPackets(inkjetReply(*inkjet, sizes));
      break;
    case Request::kDeviceQuery:
      if (laser != nullptr) return joinPackets(deviceReply(*laser, sizes));
      break;
    case Request::kSuppliesQuery:
      if (laser != nullptr && !std::holds_alternative<std::monostate>(laser->record)) {
        return joinPackets(suppliesReply(*laser, sizes));
      }
      break;
  }
  return {};
}

Bytes copyOf(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

void appendWrites(std::vector<Write>& writes, std::span<const std::uint8_t> reply,
                  const std::vector<WriteCut>& cuts) {
  for (const WriteCut& cut : cuts) {
    if (reply.empty()) return;
    const std::size_t size = std::min(cut.size, reply.size());
    writes.push_back({.pause = cut.pause, .bytes = copyOf(reply.first(size))});
    reply = reply.subspan(size);
  }
  if (!reply.empty()) writes.push_back({.bytes = copyOf(reply)});
}

}  // namespace

std::vector<Write> answerTo(const Model& model, Request request) {
  const Reply& reply = model.replyTo(request);
  std::vector<Write> writes;
  for (const Bytes& stray : reply.strays) writes.push_back({.bytes = stray});
  if (reply.answers) appendWrites(writes, replyBytes(model, request), reply.writes);
  return writes;
}

}  // namespace moxsupply::simulator
