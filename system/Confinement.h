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
  // What the kernel has of it.
  struct Means {
    bool hasSeccomp = false;   // keeps the process from calls
    bool hasLandlock = false;  // from files, whatever the call
    [[nodiscard]] bool areComplete() const { return hasSeccomp && hasLandlock; }
  };
  [[nodiscard]] static Means means();

  // Whether it is asked for at all: a program that is built with a sanitizer does without.
  [[nodiscard]] static bool isInForce();

  // Confines this process as Landlock does, and from nothing else.
  static void giveUpFiles();

  // Made ready once, by a process whose copies are to go in: it takes as long as they do all
  // together.
  Confinement();

  // Confines this process, which must have one thread, as far as the kernel has the means.
  void enter() const;

 private:
  std::vector<sock_filter> mCalls;
};

}  // namespace moxsupply
