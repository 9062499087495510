#include "http/Gzip.h"

#include <zlib.h>

#include <new>

namespace moxsupply {

std::string gzip(std::string_view text) {
  constexpr int kFast = 4;  // of 9: pages are made often, and looked at once
  constexpr int kGzipFormat = 15 + 16;
  constexpr int kUsualMemory = 8;
  z_stream stream{};
  if (::deflateInit2(&stream, kFast, Z_DEFLATED, kGzipFormat, kUsualMemory, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::bad_alloc();
  }
  std::string compressed(::deflateBound(&stream, text.size()), '\0');
  // The library does not write to what it reads, though its interface does not say so.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
  stream.avail_out = static_cast<uInt>(compressed.size());
  ::deflate(&stream, Z_FINISH);  // all at once: there is room for the worst case
  compressed.resize(stream.total_out);
  ::deflateEnd(&stream);
  return compressed;
}

}  // namespace moxsupply
