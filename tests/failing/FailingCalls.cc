#include "tests/failing/FailingCalls.h"

#include <seccomp.h>

#include <array>
#include <cerrno>

namespace moxsupply::testing {

namespace {

// Left out are calls that cannot fail, and those whose failure leaves nothing to go on with: the
// end of a process, or of a thread's start.
constexpr auto kRefused = std::to_array<FailingCall>({
    // files
    {SCMP_SYS(open), EMFILE},
    {SCMP_SYS(openat), EMFILE},
    {SCMP_SYS(read), EIO},
    {SCMP_SYS(readv), EIO},
    {SCMP_SYS(pread64), EIO},
    {SCMP_SYS(write), ENOSPC},
    {SCMP_SYS(writev), ENOSPC},
    {SCMP_SYS(pwrite64), ENOSPC},
    {SCMP_SYS(fsync), EIO},
    {SCMP_SYS(fdatasync), EIO},
    {SCMP_SYS(ftruncate), ENOSPC},
    {SCMP_SYS(fallocate), ENOSPC},
    {SCMP_SYS(stat), EIO},
    {SCMP_SYS(lstat), EIO},
    {SCMP_SYS(fstat), EIO},
    {SCMP_SYS(newfstatat), EIO},
    {SCMP_SYS(statx), EIO},
    {SCMP_SYS(access), EIO},
    {SCMP_SYS(faccessat), EIO},
    {SCMP_SYS(faccessat2), EIO},
    {SCMP_SYS(readlink), EIO},
    {SCMP_SYS(readlinkat), EIO},
    {SCMP_SYS(getdents64), EIO},
    {SCMP_SYS(mkdir), ENOSPC},
    {SCMP_SYS(mkdirat), ENOSPC},
    {SCMP_SYS(link), EIO},
    {SCMP_SYS(rename), EIO},
    {SCMP_SYS(renameat), EIO},
    {SCMP_SYS(renameat2), EIO},
    {SCMP_SYS(unlink), EIO},
    {SCMP_SYS(unlinkat), EIO},
    {SCMP_SYS(chmod), EIO},
    {SCMP_SYS(fchmod), EIO},
    {SCMP_SYS(fchmodat), EIO},
    {SCMP_SYS(fchown), EIO},
    {SCMP_SYS(flock), ENOLCK},
    {SCMP_SYS(fcntl), ENOLCK},
    {SCMP_SYS(ioctl), EIO},
    // descriptors
    {SCMP_SYS(dup), EMFILE},
    {SCMP_SYS(dup2), EMFILE},
    {SCMP_SYS(dup3), EMFILE},
    {SCMP_SYS(pipe), EMFILE},
    {SCMP_SYS(pipe2), EMFILE},
    {SCMP_SYS(memfd_create), EMFILE},
    {SCMP_SYS(eventfd2), EMFILE},
    {SCMP_SYS(signalfd4), EMFILE},
    {SCMP_SYS(timerfd_create), EMFILE},
    {SCMP_SYS(timerfd_settime), ENOMEM},
    {SCMP_SYS(inotify_init1), EMFILE},
    {SCMP_SYS(inotify_add_watch), ENOSPC},
    {SCMP_SYS(epoll_create1), EMFILE},
    {SCMP_SYS(epoll_ctl), ENOMEM},
    {SCMP_SYS(poll), ENOMEM},
    {SCMP_SYS(ppoll), ENOMEM},
    {SCMP_SYS(select), ENOMEM},
    {SCMP_SYS(pselect6), ENOMEM},
    // the network
    {SCMP_SYS(socket), EMFILE},
    {SCMP_SYS(socketpair), EMFILE},
    {SCMP_SYS(bind), EADDRINUSE},
    {SCMP_SYS(listen), EADDRINUSE},
    {SCMP_SYS(connect), ETIMEDOUT},
    {SCMP_SYS(accept), EMFILE},
    {SCMP_SYS(accept4), EMFILE},
    {SCMP_SYS(sendto), ENOBUFS},
    {SCMP_SYS(sendmsg), ENOBUFS},
    {SCMP_SYS(sendmmsg), ENOBUFS},
    {SCMP_SYS(recvfrom), ECONNRESET},
    {SCMP_SYS(recvmsg), ECONNRESET},
    {SCMP_SYS(getsockname), ENOBUFS},
    {SCMP_SYS(getpeername), ENOBUFS},
    {SCMP_SYS(getsockopt), ENOBUFS},
    {SCMP_SYS(setsockopt), ENOBUFS},
    {SCMP_SYS(shutdown), ENOTCONN},
    // memory
    // (Not brk, without which the C library may die in an allocation instead of failing it.)
    {SCMP_SYS(mmap), ENOMEM},
    {SCMP_SYS(mremap), ENOMEM},
    {SCMP_SYS(mprotect), ENOMEM},
    // processes
    {SCMP_SYS(fork), EAGAIN},
    {SCMP_SYS(vfork), EAGAIN},
    {SCMP_SYS(clone), EAGAIN},
    {SCMP_SYS(clone3), EAGAIN},
    {SCMP_SYS(execve), ENOMEM},
    {SCMP_SYS(pidfd_open), EMFILE},
    {SCMP_SYS(wait4), ECHILD},
    {SCMP_SYS(waitid), ECHILD},
    {SCMP_SYS(kill), EPERM},
    {SCMP_SYS(prlimit64), EPERM},
    {SCMP_SYS(setrlimit), EPERM},
    {SCMP_SYS(prctl), EINVAL},
    {SCMP_SYS(seccomp), EINVAL},
    {SCMP_SYS(landlock_create_ruleset), EOPNOTSUPP},
    {SCMP_SYS(landlock_restrict_self), EOPNOTSUPP},
});

constexpr auto kInterrupted = std::to_array<FailingCall>({
    {SCMP_SYS(read), EINTR},
    {SCMP_SYS(readv), EINTR},
    {SCMP_SYS(write), EINTR},
    {SCMP_SYS(writev), EINTR},
    {SCMP_SYS(poll), EINTR},
    {SCMP_SYS(ppoll), EINTR},
    {SCMP_SYS(select), EINTR},
    {SCMP_SYS(pselect6), EINTR},
    {SCMP_SYS(epoll_wait), EINTR},
    {SCMP_SYS(epoll_pwait), EINTR},
    {SCMP_SYS(accept), EINTR},
    {SCMP_SYS(accept4), EINTR},
    {SCMP_SYS(connect), EINTR},
    {SCMP_SYS(sendto), EINTR},
    {SCMP_SYS(sendmsg), EINTR},
    {SCMP_SYS(recvfrom), EINTR},
    {SCMP_SYS(recvmsg), EINTR},
    {SCMP_SYS(dup2), EINTR},
    {SCMP_SYS(dup3), EINTR},
    {SCMP_SYS(wait4), EINTR},
    {SCMP_SYS(waitid), EINTR},
    {SCMP_SYS(nanosleep), EINTR},
    {SCMP_SYS(clock_nanosleep), EINTR},
    {SCMP_SYS(flock), EINTR},
    {SCMP_SYS(fsync), EINTR},
    {SCMP_SYS(ftruncate), EINTR},
    {SCMP_SYS(getrandom), EINTR},
});

}  // namespace

std::span<const FailingCall> refusedCalls() { return kRefused; }

std::span<const FailingCall> interruptedCalls() { return kInterrupted; }

}  // namespace moxsupply::testing
