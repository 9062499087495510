#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

namespace moxsupply::testing {

// The text as GoogleTest takes the name of a test: what is no letter and no digit becomes "_".
inline std::string asTestName(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char letter) { return std::isalnum(letter) == 0; }, '_');
  return text;
}

// For tests whose parameter is their name.
inline std::string testName(const ::testing::TestParamInfo<std::string>& info) {
  return asTestName(info.param);
}

}  // namespace moxsupply::testing
