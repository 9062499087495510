// The benchmarks. Their results go to the standard output that the program began with: while a
// query is measured, its standard output is a printer.

#include <benchmark/benchmark.h>
#include <fmt/core.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

  // No file that is opened from now on may be descriptor 3, which will be the back channel.
  if (::dup2(STDERR_FILENO, 3) != 3) return 2;
  std::ofstream results(fmt::format("/dev/fd/{}", ::dup(STDOUT_FILENO)));
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // so that each request is one write

  benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_None);
  reporter.SetOutputStream(&results);
  reporter.SetErrorStream(&results);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
