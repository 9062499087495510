#include "links/CaughtOutput.h"

#include <sys/types.h>

#include <utility>

namespace moxsupply {

namespace {

// 0 is the failure of such a stream.
ssize_t callOnWrite(void* onWrite, const char* bytes, std::size_t size) {
  const auto written = std::span(reinterpret_cast<const std::uint8_t*>(bytes), size);
  const bool wentOut = (*static_cast<const CaughtOutput::OnWrite*>(onWrite))(written);
  return wentOut ? static_cast<ssize_t>(size) : 0;
}

}  // namespace

CaughtOutput::CaughtOutput(OnWrite onWrite)
    : mOnWrite(std::move(onWrite)),
      mFormer(stdout),
      mStream(::fopencookie(&mOnWrite, "w", {nullptr, &callOnWrite, nullptr, nullptr})) {
  if (mStream == nullptr) return;
  std::setvbuf(mStream, nullptr, _IONBF, 0);
  stdout = mStream;  // in the GNU C library, a variable like any other
}

CaughtOutput::~CaughtOutput() {
  if (mStream == nullptr) return;
  stdout = mFormer;
  std::fclose(mStream);
}

}  // namespace moxsupply
