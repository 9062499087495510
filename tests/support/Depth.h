#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

// How many the tests try of what is too much for an ordinary run. MOXSUPPLY_TEST_DEPTH=full in the
// environment has them try all.
namespace moxsupply::testing {

// In a build with sanitizers or counters a process takes long.
constexpr bool kIsSlowBuild = MOXSUPPLY_SLOW_BUILD != 0;

// Whether it runs under qemu, built for another architecture: slowly, and with some calls that are
// not quite the kernel's.
bool isEmulated();

// An exchange is broken off, or cut, at every byte; in an ordinary run, and in a slow build, at
// every eighth.
std::size_t cutEvery();

// Of each kind of random printers 50,000; in an ordinary run, and in a slow build, 5,000.
std::uint64_t randomPrinters();

// Writers of a store that are killed: 1,000; in an ordinary run, and in a slow build, 200.
// MOXSUPPLY_KILLS in the environment has any run kill so many.
int killedWriters();

// Printers of a simulated day and of a simulated month: 1,000 and 200; in an ordinary run, and in a
// slow build, 50 and 20.
std::size_t fleetOfADay();
std::size_t fleetOfAMonth();

// The number in a variable of the environment; nothing where there is none. Throws where it is no
// number.
std::optional<std::uint64_t> numberFromEnvironment(const char* variable);

// How many of the failures that a program can meet are tried, a run each: 16 of each kind, or as
// many as MOXSUPPLY_FAILURES in the environment says.
std::uint64_t failuresTried(std::uint64_t all);

// MOXSUPPLY_FAILURE in the environment has any run try the failure of this number alone.
std::optional<std::uint64_t> onlyFailure();

}  // namespace moxsupply::testing
