#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "npa/CommandList.h"

namespace moxsupply {

// Where a request stands in CommandList, and how many bytes of its command go out.
struct Request {
  std::size_t record;
  std::uint32_t size;
};

constexpr Request kInkjetQuery = {0, 8};
constexpr Request kSuppliesQuery = {1, 27};  // for the model-family record
constexpr Request kDeviceQuery = {2, 30};    // for the supplies table
constexpr Request kLoopBack = {3, 9};

template <Request request>
std::span<const std::uint8_t, request.size> bytesOf() noexcept {
  return std::span(std::get<request.record>(CommandList).command).template first<request.size>();
}

}  // namespace moxsupply
