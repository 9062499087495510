#include "system/ForkServer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <list>
#include <utility>
#include <vector>

#include "system/FilterDescriptors.h"
#include "system/HandedDescriptor.h"
#include "system/Process.h"

namespace moxsupply {

namespace {

struct Running {
  Process process;
  FileDescriptor socket;  // a copy, to see that the other end is closed
};

// In the process of the work: what it inherits is not its business, requests for others least of
// all.
FileDescriptor onlyThat(const FileDescriptor& socket, int nowhere) {
  for (const int place : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(nowhere, place);
  FileDescriptor kept(::dup2(socket.get(), kFirstFree));
  ::close_range(kBackChannel, kSideChannel, 0);
  ::close_range(kFirstFree + 1, ~0U, 0);
  return kept;
}

void fork(HandedDescriptor handed, int nowhere, std::list<Running>& running,
          const std::function<void(const std::string&, FileDescriptor)>& work) {
  auto process = Process::fork([&] { work(handed.text, onlyThat(handed.descriptor, nowhere)); });
  if (process) running.push_back({*std::move(process), std::move(handed.descriptor)});
}

}  // namespace

void serveForks(
    int requests,
    const std::function<void(const std::string& request, FileDescriptor socket)>& work) {
  const FileDescriptor nowhere =
      aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
  std::list<Running> running;
  std::vector<pollfd> sources;
  while (true) {
    sources.assign(1, {.fd = requests, .events = POLLIN, .revents = 0});
    for (const Running& one : running) {
      sources.push_back({.fd = one.process.descriptor(), .events = POLLIN, .revents = 0});
      sources.push_back({.fd = one.socket.get(), .events = 0, .revents = 0});  // its end alone
    }
    if (::poll(sources.data(), sources.size(), -1) < 0) continue;  // a signal
    auto source = sources.begin() + 1;
    for (auto one = running.begin(); one != running.end(); source += 2) {
      const bool isOver = source[0].revents != 0 || source[1].revents != 0;
      one = isOver ? running.erase(one) : std::next(one);  // kills it
    }
    if (sources.front().revents == 0) continue;
    auto handed = takeOver(requests, kLongestForkRequest);
    if (!handed) return;
    if (handed->descriptor) fork(*std::move(handed), nowhere.get(), running, work);
  }
}

}  // namespace moxsupply
