#include "bench/ScriptedPrinter.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <utility>

namespace moxsupply::bench {

namespace {

constexpr int kBackChannel = 3;

bool takeWhole(int link, std::size_t size) {
  std::array<char, 64> bytes{};
  while (size > 0) {
    const ssize_t count = ::read(link, bytes.data(), std::min(size, bytes.size()));
    if (count <= 0) return false;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

constexpr std::size_t kHostsProcessor = 0;
constexpr std::size_t kPrintersProcessor = 1;

void stayOn(std::size_t processor, pthread_t thread) {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  CPU_SET(processor, &processors);
  ::pthread_setaffinity_np(thread, sizeof(processors), &processors);
}

}  // namespace

FilterLink::FilterLink() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) std::abort();
  mPrintersEnd = aboveFilterDescriptors(FileDescriptor(ends[0]));
  const FileDescriptor link = aboveFilterDescriptors(FileDescriptor(ends[1]));
  ::fcntl(link.get(), F_SETFL, O_NONBLOCK);
  if (::dup2(link.get(), STDOUT_FILENO) < 0 || ::dup2(link.get(), kBackChannel) < 0) std::abort();
}

void FilterLink::hangUp() {
  const FileDescriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  ::dup2(nothing.get(), STDOUT_FILENO);
  ::dup2(nothing.get(), kBackChannel);
}

void PreparedPrinter::answer(std::size_t queries) {
  std::array<char, 4096> requests{};
  while (::recv(mLink.printersEnd(), requests.data(), requests.size(), MSG_DONTWAIT) > 0) {
  }
  for (std::size_t i = 0; i < queries; ++i) {
    for (const Exchange& exchange : mScript) {
      const auto size = static_cast<ssize_t>(exchange.reply.size());
      if (size > 0 &&
          ::write(mLink.printersEnd(), exchange.reply.data(), exchange.reply.size()) != size) {
        std::abort();
      }
    }
  }
}

ScriptedPrinter::ScriptedPrinter(std::vector<Exchange> script)
    : mScript(std::move(script)), mThread([this] { serve(); }) {
  if (std::thread::hardware_concurrency() < 2) return;
  stayOn(kHostsProcessor, ::pthread_self());
  stayOn(kPrintersProcessor, mThread.native_handle());
}

ScriptedPrinter::~ScriptedPrinter() {
  mLink.hangUp();
  mThread.join();
}

void ScriptedPrinter::serve() const {
  const int link = mLink.printersEnd();
  for (;;) {
    for (const auto& [requestSize, reply] : mScript) {
      if (!takeWhole(link, requestSize)) return;
      if (!reply.empty() && ::write(link, reply.data(), reply.size()) < 0) return;
    }
  }
}

}  // namespace moxsupply::bench
