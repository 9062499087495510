#pragma once

#include "system/FileDescriptor.h"

namespace moxsupply {

// A pair of connected descriptors, closed when a program is executed and out of the way of those
// that have a meaning in a filter. Both are empty when there are no more descriptors to be had.
struct Pipe {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;

  explicit operator bool() const { return readEnd && writeEnd; }
};

enum class Blocking : bool { kNo, kYes };

Pipe makePipe(Blocking blocking);

// Two ends of a socket; each can be read and written.
Pipe makeSocketPair();

// The same for messages, each of which arrives whole.
Pipe makePacketPair();

}  // namespace moxsupply
