#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <utility>

#include "filter/ServedJob.h"

namespace moxsupply::testing {
namespace {

// The variables that a print server gives to its filters, for as long as this lives.
class ServedFilter : public ::testing::Test {
 public:
  ServedFilter(const ServedFilter&) = delete;
  ServedFilter& operator=(const ServedFilter&) = delete;
  ServedFilter(ServedFilter&&) = delete;
  ServedFilter& operator=(ServedFilter&&) = delete;

 protected:
  ServedFilter() {
    for (const auto& [name, value] : kVariables) ::setenv(name, value, 1);
  }
  ~ServedFilter() override {
    for (const auto& [name, value] : kVariables) ::unsetenv(name);
  }

  static constexpr std::array<std::pair<const char*, const char*>, 3> kVariables = {
      {{"SOFTWARE", "CUPS/2.4.2"}, {"CUPS_SERVER", "/run/cups/cups.sock"}, {"PRINTER", "office"}}};
};

TEST_F(ServedFilter, HasAJob) {
  const auto job = servedJob("4711", "somebody");
  ASSERT_TRUE(job);
  EXPECT_EQ(job->queue, "office");
  EXPECT_EQ(job->id, 4711);
  EXPECT_EQ(job->user, "somebody");
}

// To cancel job 0 of a queue is to cancel the one that is printing.
TEST_F(ServedFilter, HasNoJobWithoutANumber) {
  for (const char* id : {"0", "00", "", "-1", "1x", "x"}) {
    EXPECT_FALSE(servedJob(id, "somebody")) << id;
  }
}

TEST_F(ServedFilter, IsNoneThatAnybodyElseStarts) {
  for (const auto& [name, value] : kVariables) {
    ::unsetenv(name);
    EXPECT_FALSE(servedJob("4711", "somebody")) << name;
    ::setenv(name, value, 1);
  }
  ::setenv("SOFTWARE", "something/1.0", 1);
  EXPECT_FALSE(servedJob("4711", "somebody"));
}

}  // namespace
}  // namespace moxsupply::testing
