// Runs a program that may make certain system calls and gets EPERM for all others, may have no
// memory that it both writes and executes, and no sockets but local ones and those of the internet,
// as a service manager does it.
//   behind-call-filter FILE PROGRAM [ARGUMENT...]      FILE: the names of the calls, one a line
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

// What goes by a call's arguments.
bool keepFromArguments() {
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
  const auto refuse = [filter](unsigned error, int call, const scmp_arg_cmp& argument) {
    return seccomp_rule_add_exact_array(filter, SCMP_ACT_ERRNO(error), call, 1, &argument) == 0;
  };
  // Where an argument has all of these bits.
  const auto refuseWith = [&refuse](int call, unsigned argument, scmp_datum_t bits) {
    return refuse(EPERM, call,
                  {.arg = argument, .op = SCMP_CMP_MASKED_EQ, .datum_a = bits, .datum_b = bits});
  };
  const auto refuseFamily = [&refuse](scmp_compare how, int family) {
    return refuse(
        EAFNOSUPPORT, SCMP_SYS(socket),
        {.arg = 0, .op = how, .datum_a = static_cast<scmp_datum_t>(family), .datum_b = 0});
  };
  bool isDone = refuseWith(SCMP_SYS(mmap), 2, PROT_WRITE | PROT_EXEC) &&
                refuseWith(SCMP_SYS(mprotect), 2, PROT_EXEC) &&
                refuseWith(SCMP_SYS(pkey_mprotect), 2, PROT_EXEC) &&
                refuseWith(SCMP_SYS(shmat), 2, SHM_EXEC) && refuseFamily(SCMP_CMP_GE, AF_MAX);
  for (int family = 0; family < AF_MAX; ++family) {
    if (family == AF_UNIX || family == AF_INET || family == AF_INET6) continue;
    isDone = isDone && refuseFamily(SCMP_CMP_EQ, family);
  }
  return isDone && seccomp_load(filter) == 0;
}

bool keepToCalls(const char* file) {
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(EPERM));
  std::ifstream names(file);
  int count = 0;
  for (std::string name; std::getline(names, name);) {
    const int call = seccomp_syscall_resolve_name(name.c_str());
    if (call == __NR_SCMP_ERROR) continue;  // of another kind of machine, or a newer one
    seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call, 0, nullptr);
    ++count;
  }
  return count > 0 && seccomp_load(filter) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: behind-call-filter FILE PROGRAM [ARGUMENT...]\n", stderr);
    return 2;
  }
  if (!keepFromArguments() || !keepToCalls(argv[1])) {
    std::perror("behind-call-filter");
    return 2;
  }
  execvp(argv[2], argv + 2);
  std::perror(argv[2]);
  return 2;
}
