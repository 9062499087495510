// Runs a program that may make certain system calls and gets EPERM for all others, as a service
// manager does it.
//   behind-call-filter FILE PROGRAM [ARGUMENT...]      FILE: the names of the calls, one a line
#include <seccomp.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: behind-call-filter FILE PROGRAM [ARGUMENT...]\n", stderr);
    return 2;
  }
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(EPERM));
  std::ifstream names(argv[1]);
  int count = 0;
  for (std::string name; std::getline(names, name);) {
    const int call = seccomp_syscall_resolve_name(name.c_str());
    if (call == __NR_SCMP_ERROR) continue;  // of another kind of machine, or a newer one
    seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call, 0, nullptr);
    ++count;
  }
  if (count == 0 || seccomp_load(filter) != 0) {
    std::perror("behind-call-filter");
    return 2;
  }
  execvp(argv[2], argv + 2);
  std::perror(argv[2]);
  return 2;
}
