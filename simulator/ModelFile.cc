#include "simulator/ModelFile.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include "json/ReadJson.h"
#include "simulator/Answer.h"
#include "simulator/InkjetModelFile.h"
#include "simulator/LaserModelFile.h"
#include "system/ReadFile.h"

namespace moxsupply::simulator {

namespace {

constexpr std::size_t kLongestReply = 0xFFFF;

std::vector<std::string> readAbout(const JsonPlace& place) {
  if (place.isText()) return {place.text()};
  std::vector<std::string> lines;
  for (const JsonPlace& line : place.elements()) lines.push_back(line.text());
  if (lines.empty()) place.expected("a text, or a list of lines of text");
  return lines;
}

Bytes readStray(const JsonPlace& place) {
  return place.text() == "prefix-packet" ? prefixPacket() : place.hex(kLongestReply);
}

WriteCut readWriteCut(const JsonPlace& place) {
  place.expectKeys(std::to_array<std::string_view>({"size", "pause"}));
  constexpr std::uint32_t kHour = 3'600'000;
  WriteCut cut{.size = kLongestReply};
  if (const auto size = place.find("size")) cut.size = size->number(1, kLongestReply);
  if (const auto pause = place.find("pause")) {
    cut.pause = std::chrono::milliseconds(pause->number(0, kHour));
  }
  return cut;
}

void readReply(const JsonPlace& place, Reply& reply) {
  place.expectKeys(std::to_array<std::string_view>({"answers", "strays", "packets", "writes"}));
  if (const auto answers = place.find("answers")) reply.answers = answers->truth();
  if (const auto strays = place.find("strays")) {
    for (const JsonPlace& stray : strays->elements()) reply.strays.push_back(readStray(stray));
  }
  if (const auto packets = place.find("packets")) {
    for (const JsonPlace& size : packets->elements()) {
      reply.packets.push_back(size.number(0, kLongestReply));
    }
  }
  if (const auto writes = place.find("writes")) {
    for (const JsonPlace& cut : writes->elements()) reply.writes.push_back(readWriteCut(cut));
  }
}

void readReplies(const JsonPlace& place, Model& model) {
  const bool isLaser = std::holds_alternative<LaserModel>(model.printer);
  if (isLaser) {
    place.expectKeys(
        std::to_array<std::string_view>({"loop-back", "device-query", "supplies-query"}));
  } else {
    place.expectKeys(std::to_array<std::string_view>({"loop-back", "inkjet-query"}));
  }
  const auto read = [&](std::string_view key, Request request) {
    if (const auto reply = place.find(key)) readReply(*reply, model.replyTo(request));
  };
  read("inkjet-query", Request::kInkjetQuery);
  read("device-query", Request::kDeviceQuery);
  read("supplies-query", Request::kSuppliesQuery);
  if (const auto reply = place.find("loop-back")) model.loopBackReply = reply->hex(kLongestReply);
}

// Throws std::length_error when a part of the model is too long for the wire.
void expectToFit(const Model& model) {
  for (const Request request :
       {Request::kInkjetQuery, Request::kDeviceQuery, Request::kSuppliesQuery}) {
    static_cast<void>(answerTo(model, request));
  }
}

Model readModel(const JsonPlace& file) {
  Model model;
  const JsonPlace printer = file.at("printer");
  if (printer.text() == "inkjet") {
    model.printer = readInkjetModel(file);
  } else if (printer.text() == "laser") {
    model.printer = readLaserModel(file);
  } else {
    printer.expected(R"("inkjet" or "laser")");
  }
  model.about = readAbout(file.at("about"));
  if (const auto replies = file.find("replies")) readReplies(*replies, model);
  expectToFit(model);
  return model;
}

}  // namespace

Result<Model> parseModel(std::string_view json, const std::string& name) try {
  return readJson(json, name, readModel);
} catch (const std::length_error& mistake) {
  return misuse(fmt::format("{}: a reply cannot be made of this: {}", name, mistake.what()));
}

Result<Model> readModelFile(const std::filesystem::path& file) {
  constexpr std::size_t kLongest = std::size_t{4} << 20U;
  const auto json = readFile(file.string(), kLongest);
  if (json) return parseModel(*json, file.string());
  if (json.error() == EFBIG) {
    return misuse(fmt::format("{}: longer than {} bytes, the most that a model file may have",
                              file.string(), kLongest));
  }
  return misuse(fmt::format("{}: {}", file.string(), std::strerror(json.error())));
}

}  // namespace moxsupply::simulator
