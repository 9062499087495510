#include "history/Delta.h"

#include <zlib.h>

#include <algorithm>
#include <new>

namespace moxsupply {

namespace {

// The library does not write to what it reads, though its interface does not say so.
Bytef* bytesOf(std::string_view text) {
  return reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
}
Bytef* bytesOf(std::string& text) { return reinterpret_cast<Bytef*>(text.data()); }

uInt sizeOf(std::string_view text) { return static_cast<uInt>(text.size()); }

}  // namespace

std::string deltaOf(std::string_view text, std::string_view base) {
  z_stream stream{};
  if (::deflateInit(&stream, Z_BEST_COMPRESSION) != Z_OK) throw std::bad_alloc();
  if (!base.empty()) ::deflateSetDictionary(&stream, bytesOf(base), sizeOf(base));
  std::string delta(::deflateBound(&stream, text.size()), '\0');
  stream.next_in = bytesOf(text);
  stream.avail_in = sizeOf(text);
  stream.next_out = bytesOf(delta);
  stream.avail_out = sizeOf(delta);
  ::deflate(&stream, Z_FINISH);  // all at once: there is room for the worst case
  delta.resize(stream.total_out);
  ::deflateEnd(&stream);
  return delta;
}

std::optional<std::string> textOf(std::string_view delta, std::string_view base,
                                  std::size_t mostBytes) {
  z_stream stream{};
  if (::inflateInit(&stream) != Z_OK) throw std::bad_alloc();
  stream.next_in = bytesOf(delta);
  stream.avail_in = sizeOf(delta);
  constexpr std::size_t kUsual = 4096;
  const std::size_t room = mostBytes + 1;  // by which too much is noticed
  std::string text;
  int result = Z_OK;
  while (result == Z_OK && text.size() < room) {
    text.resize(std::min(std::max(kUsual, 2 * text.size()), room));
    stream.next_out = bytesOf(text) + stream.total_out;
    stream.avail_out = static_cast<uInt>(text.size() - stream.total_out);
    result = ::inflate(&stream, Z_NO_FLUSH);
    if (result == Z_NEED_DICT) {
      result = ::inflateSetDictionary(&stream, bytesOf(base), sizeOf(base));
      if (result == Z_OK) result = ::inflate(&stream, Z_NO_FLUSH);
    }
  }
  text.resize(stream.total_out);
  ::inflateEnd(&stream);
  const bool isWhole = result == Z_STREAM_END && text.size() <= mostBytes;
  return isWhole ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace moxsupply
