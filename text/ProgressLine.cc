#include "text/ProgressLine.h"

#include <fmt/core.h>
#include <unistd.h>

#include "system/FileDescriptor.h"

namespace moxsupply {

namespace {

constexpr auto kTooShortToShow = std::chrono::milliseconds(500);
constexpr const char* kEraseLine = "\r\x1B[K";

}  // namespace

ProgressLine::ProgressLine() : mIsTerminal(::isatty(STDERR_FILENO) == 1) {}

void ProgressLine::refresh() {
  const auto waited = Clock::now() - mStart;
  if (!mIsTerminal || mWhat.empty() || waited < kTooShortToShow) return;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(waited).count();
  static_cast<void>(
      writeAll(STDERR_FILENO, fmt::format("{}{} ({} s)", kEraseLine, mWhat, seconds)));
  mIsShown = true;
}

void ProgressLine::clear() {
  if (mIsShown) static_cast<void>(writeAll(STDERR_FILENO, kEraseLine));
  mIsShown = false;
}

}  // namespace moxsupply
