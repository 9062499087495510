#pragma once

#include <string>
#include <vector>

#include "system/FileDescriptor.h"

namespace moxsupply::testing {

// Takes what this process writes to its standard error, until this object goes.
class CapturedErrors {
 public:
  CapturedErrors();
  ~CapturedErrors();
  CapturedErrors(const CapturedErrors&) = delete;
  CapturedErrors& operator=(const CapturedErrors&) = delete;
  CapturedErrors(CapturedErrors&&) = delete;
  CapturedErrors& operator=(CapturedErrors&&) = delete;

  // What was written since the last call, each write apart.
  std::vector<std::string> writes();

  // The same as one text.
  std::string text();

 private:
  FileDescriptor mFormer;
  FileDescriptor mReadEnd;
};

}  // namespace moxsupply::testing
