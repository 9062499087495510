#include <gtest/gtest.h>

#include <set>

#include "monitoring/PageToken.h"

namespace moxsupply::testing {
namespace {

TEST(TheTokenOfAPage, IsAnotherOneEachTime) {
  std::set<std::string> tokens;
  for (int i = 0; i < 100; ++i) tokens.insert(PageToken().text());
  EXPECT_EQ(tokens.size(), 100U);
  EXPECT_EQ(tokens.begin()->size(), 32U);  // 128 bits
  EXPECT_EQ(tokens.begin()->find_first_not_of("0123456789abcdef"), std::string::npos);
}

TEST(TheTokenOfAPage, IsItselfOnly) {
  const PageToken token;
  EXPECT_TRUE(token.isThis(token.text()));
  EXPECT_FALSE(token.isThis(""));
  EXPECT_FALSE(token.isThis(token.text() + '0'));
  EXPECT_FALSE(token.isThis(token.text().substr(1)));
  for (std::size_t i = 0; i < token.text().size(); ++i) {
    std::string other = token.text();
    other[i] = other[i] == '0' ? '1' : '0';
    EXPECT_FALSE(token.isThis(other)) << i;
  }
}

}  // namespace
}  // namespace moxsupply::testing
