#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <span>

namespace moxsupply {

// Takes what this process writes to the C stream `stdout`, for as long as this object lives.
//
// A pipe in the place of descriptor 1 would take a request whole although the printer's link no
// longer does, and the query would wait for an answer instead of failing. Here the write ends when
// the link has taken it, and fails when the link has not.
class CaughtOutput {
 public:
  // Called in the writing thread with what is written; says whether all of it went out.
  using OnWrite = std::function<bool(std::span<const std::uint8_t>)>;

  explicit CaughtOutput(OnWrite onWrite);
  ~CaughtOutput();
  CaughtOutput(const CaughtOutput&) = delete;
  CaughtOutput& operator=(const CaughtOutput&) = delete;
  CaughtOutput(CaughtOutput&&) = delete;
  CaughtOutput& operator=(CaughtOutput&&) = delete;

 private:
  OnWrite mOnWrite;
  std::FILE* mFormer;
  std::FILE* mStream;
};

}  // namespace moxsupply
