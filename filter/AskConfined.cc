#include "filter/AskConfined.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <utility>

#include "links/AskAsFilter.h"
#include "renderings/ReportJson.h"
#include "system/Confinement.h"
#include "system/FileDescriptor.h"
#include "system/FilterDescriptors.h"
#include "text/Translated.h"
#include "text/Written.h"

namespace moxsupply {

namespace {

// In the process of the query: what it says on standard error, the print server takes for the
// filter's word.
void leaveThePrintServer() {
  const FileDescriptor nowhere =
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
  for (const int place : {STDIN_FILENO, STDERR_FILENO, kSideChannel}) {
    if (!nowhere || ::dup2(nowhere.get(), place) < 0) ::close(place);
  }
}

Written ask(MoxFilter& filter, Recording* recording) {
  Written written = {.output = reportAsJson(askAsFilter(filter, recording))};
  if (recording == nullptr) return written;
  if (const auto whole = recording->isWhole(); !whole) written.errors = whole.error().what;
  return written;
}

}  // namespace

ConfinedAnswer askConfined(MoxFilter& filter, Recording* recording, Apart::Clock::time_point end) {
  auto apart = Apart::begin([&](const Apart::Finish& finish) {
    leaveThePrintServer();
    // Made there: where memory runs out, libseccomp frees twice, or goes round for ever.
    Confinement().enter();
    finish(packed(ask(filter, recording)));
  });
  if (!apart) {
    return {.notAsked =
                translated("the printer could not be asked: {}", std::strerror(apart.error()))};
  }
  const auto written = unpacked(apart->resultBy(end).value_or(""));
  if (!written && Apart::Clock::now() >= end) return {};
  if (!written) {
    return {.notAsked = translated(
                "the printer could not be asked: the process that was to do so is gone")};
  }
  auto report = reportFromJson(written->output);
  if (!report) return {};
  return {*std::move(report), written->errors.empty() ? Result<>() : failure(written->errors)};
}

}  // namespace moxsupply
