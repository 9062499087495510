#include "filter/JobEvent.h"

#include <cups/ipp.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace moxsupply {

namespace {

struct DeleteIpp {
  void operator()(ipp_t* ipp) const { ippDelete(ipp); }
};

struct Source {
  int descriptor = -1;
  std::size_t left = kLongestEvent;
};

// For libcups, which asks for as many bytes as it knows to come.
ssize_t readBytes(void* context, ipp_uchar_t* buffer, std::size_t count) {
  auto& source = *static_cast<Source*>(context);
  if (count > source.left) return -1;
  ssize_t got = 0;
  do {
    got = ::read(source.descriptor, buffer, count);
  } while (got < 0 && errno == EINTR);
  if (got > 0) source.left -= static_cast<std::size_t>(got);
  return got;
}

std::string textOf(ipp_t* event, const char* name) {
  const char* text = ippGetString(ippFindAttribute(event, name, IPP_TAG_ZERO), 0, nullptr);
  return text == nullptr ? "" : text;
}

}  // namespace

std::optional<JobEvent> readEvent(int descriptor) {
  Source source{.descriptor = descriptor};
  const std::unique_ptr<ipp_t, DeleteIpp> event(ippNew());
  ipp_state_t state = IPP_STATE_IDLE;
  while (state != IPP_STATE_DATA) {
    state = ippReadIO(&source, readBytes, /*blocking=*/1, nullptr, event.get());
    if (state == IPP_STATE_ERROR) return std::nullopt;
  }
  JobEvent read;
  read.queue = textOf(event.get(), "printer-name");
  read.title = textOf(event.get(), "job-name");
  read.job = ippGetInteger(ippFindAttribute(event.get(), "notify-job-id", IPP_TAG_INTEGER), 0);
  read.isAnEnd = textOf(event.get(), "notify-subscribed-event") == "job-completed" &&
                 !read.queue.empty() && read.job > 0;
  return read;
}

}  // namespace moxsupply
