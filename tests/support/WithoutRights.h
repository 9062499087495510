#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string>

namespace moxsupply::testing {

// Runs it in a process without rights, as which this user's files can be read only. Returns what it
// returns: a text.
inline std::string withoutRights(const std::function<std::string()>& run) {
  std::array<int, 2> pipe{};
  if (::pipe(pipe.data()) != 0) return "no pipe";
  const pid_t process = ::fork();
  if (process == 0) {
    constexpr uid_t kNobody = 65534;
    const bool isNobody = ::geteuid() != 0 || (::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
    const std::string text = isNobody ? run() : "no rights to lose";
    const bool isWritten =
        ::write(pipe[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::_exit(isWritten ? 0 : 1);
  }
  ::close(pipe[1]);
  std::string text;
  std::array<char, 4096> some{};
  for (ssize_t size = 0; (size = ::read(pipe[0], some.data(), some.size())) > 0;) {
    text.append(some.data(), static_cast<std::size_t>(size));
  }
  ::close(pipe[0]);
  ::waitpid(process, nullptr, 0);
  return text;
}

}  // namespace moxsupply::testing
