#pragma once

#include <linux/filter.h>

#include <vector>

namespace moxsupply {

// A room without doors: for work on what others sent, once all that it needs is open. A process in
// it can read and write what it has open, take descriptors that it is handed, wait, use memory and
// threads, and end. All else is refused with EPERM: opening files, sockets and connections,
// starting programs, signals, looking into other processes.
//
// Refused rather than killed for it: the C library asks for some things that it can do without, and
// a later one may ask for others. What is refused does no harm.
class Confinement {
 public:
  // Whether it is asked for at all: a program that is built with a sanitizer does without.
  [[nodiscard]] static bool isInForce();

  // Confines this process as Landlock does, and from nothing else.
  static void giveUpFiles();

  // Makes what `enter` gives to the kernel: once, in the process whose copies are to go in. Throws
  // std::bad_alloc without memory for all of it, std::system_error without a file in memory.
  Confinement();

  // Confines this process, which must have one thread, as far as the kernel has the means.
  void enter() const;

 private:
  std::vector<sock_filter> mCalls;
};

}  // namespace moxsupply
