// A command filter that asks no printer. It publishes one attribute, so that there is something to
// see, which changes from job to job: the job's number as the level of a supply.

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  if (argc < 2) return EXIT_FAILURE;
  std::array<char, 64> line{};
  const int size =
      std::snprintf(line.data(), line.size(), "ATTR: marker-levels=%d\n", std::atoi(argv[1]));
  return ::write(STDERR_FILENO, line.data(), static_cast<std::size_t>(size)) == size ? EXIT_SUCCESS
                                                                                     : EXIT_FAILURE;
}
