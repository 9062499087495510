// The floor under `moxsupply report`: a process that links libcups, writes to its standard output
// and reads from the back channel what it is told to, and ends. It looks at nothing that it reads.
//   bare-calls [wBYTES | rBYTES]...    writes so many bytes; reads so many at most

#include <cups/sidechannel.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

int main(int argc, char** argv) {
  std::array<char, 512> buffer{};
  for (int i = 1; i < argc; ++i) {
    const auto size = std::min(std::strtoul(&argv[i][1], nullptr, 10), buffer.size());
    const ssize_t done = argv[i][0] == 'w' ? ::write(STDOUT_FILENO, buffer.data(), size)
                                           : cupsBackChannelRead(buffer.data(), size, 8.0);
    if (done <= 0) return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
