#pragma once

#include <functional>
#include <string>

#include "system/FileDescriptor.h"

namespace moxsupply {

// What is asked of a fork server at most.
constexpr std::size_t kLongestForkRequest = std::size_t{16} << 10U;

// A process that has one thread, and has loaded all that its work needs, forks another for each
// piece of work: that costs a fraction of what a program's start does.
//
// A request comes over the descriptor `requests` (see HandedDescriptor), with a socket, over which
// the work and whoever asked for it talk; the process of the work has no other descriptor open but
// the first three, which lead nowhere. Closing the other end kills it. When it has ended, the other
// end is told that its peer is gone. Returns when nobody can ask any more.
void serveForks(int requests,
                const std::function<void(const std::string& request, FileDescriptor socket)>& work);

}  // namespace moxsupply
