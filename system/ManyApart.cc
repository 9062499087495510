#include "system/ManyApart.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <list>
#include <map>
#include <utility>
#include <vector>

#include "system/FileDescriptor.h"

namespace moxsupply {

namespace {

struct Running {
  std::size_t place;
  Apart apart;
  Apart::Clock::time_point end;
};

// Waits until one of them has ended, or a second is over.
void await(const std::list<Running>& running) {
  constexpr int kSecond = 1000;
  std::vector<pollfd> results;
  results.reserve(running.size());
  for (const Running& one : running) {
    results.push_back({.fd = one.apart.descriptor(), .events = POLLIN, .revents = 0});
  }
  ::poll(results.data(), results.size(), kSecond);
}

bool isOver(const Running& one) {
  pollfd result = {.fd = one.apart.descriptor(), .events = POLLIN, .revents = 0};
  return ::poll(&result, 1, 0) > 0 || Apart::Clock::now() >= one.end;
}

tl::expected<Apart, int> begin(const ManyApart& many, std::size_t place) {
  return Apart::begin([&](const Apart::Finish& finish) {
    const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    ::dup2(nowhere.get(), STDERR_FILENO);
    many.work(place, finish);
  });
}

}  // namespace

void doApart(const ManyApart& many) {
  std::list<Running> running;
  std::map<std::size_t, std::optional<std::string>> results;  // that wait for those before them
  std::size_t next = 0;
  std::size_t over = 0;
  for (std::size_t taken = 0; taken < many.count;) {
    while (next < many.count && running.size() < many.atOnce) {
      auto apart = begin(many, next);
      if (!apart && !running.empty()) break;  // when one of them has ended there is room again
      if (apart) {
        running.push_back({next, *std::move(apart), Apart::Clock::now() + many.patience});
      } else {
        results.emplace(next, std::nullopt);
        ++over;
      }
      ++next;
    }
    if (!running.empty()) await(running);
    for (auto one = running.begin(); one != running.end();) {
      if (isOver(*one)) {
        results.emplace(one->place, one->apart.resultBy(one->end));
        one = running.erase(one);
        ++over;
      } else {
        ++one;
      }
    }
    if (many.wait) many.wait(over);
    for (auto result = results.find(taken); result != results.end(); result = results.find(taken)) {
      if (!many.take(taken, result->second)) return;
      results.erase(result);
      ++taken;
    }
  }
}

}  // namespace moxsupply
