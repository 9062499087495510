#pragma once

#include <string>

namespace moxsupply {

// Where a queue's transcript goes. `file`: MOXSUPPLY_RECORD, which holds for all queues of a print
// server; "%q" in it stands for the queue's name. Without that the file is the first queue's that
// comes to it, and every other one's has its name behind it: a transcript of one query would
// replace that of the last, whichever queue's it is. `cacheFolder`: CUPS_CACHEDIR, which remembers
// the first; empty: the file is everybody's.
std::string recordingPath(const std::string& file, const std::string& queue,
                          const std::string& cacheFolder);

}  // namespace moxsupply
