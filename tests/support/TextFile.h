#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace moxsupply::testing {

// All that is in a file; nothing where there is none.
std::string contentOf(const std::filesystem::path& file);

// Makes a file with this content, or gives it this content. One that cannot be written fails the
// test.
void write(const std::filesystem::path& file, std::string_view content);

}  // namespace moxsupply::testing
