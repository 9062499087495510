#pragma once

#include <cups/cups.h>

#include <functional>
#include <map>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

#include "system/FileDescriptor.h"

namespace moxsupply::testing {

// The print server of this thread for as long as it lives. It answers as it is told, and so refuses
// in the middle of what a real one would go on with.
class FakePrintServer {
 public:
  // What it puts into an answer, by the operation. Every other operation is refused.
  using Answers = std::map<ipp_op_t, std::function<void(ipp_t* answer)>>;

  explicit FakePrintServer(Answers answers = {});
  ~FakePrintServer();
  FakePrintServer(const FakePrintServer&) = delete;
  FakePrintServer& operator=(const FakePrintServer&) = delete;
  FakePrintServer(FakePrintServer&&) = delete;
  FakePrintServer& operator=(FakePrintServer&&) = delete;

  // The operations that it was asked for, those that it refused among them.
  [[nodiscard]] std::vector<ipp_op_t> asked() const;

 private:
  void serve(const std::stop_token& stop);
  bool answerOneRequest(http_t* http);

  Answers mAnswers;
  FileDescriptor mListener;
  mutable std::mutex mMutex;
  std::vector<ipp_op_t> mAsked;  // under mMutex
  std::jthread mServing;         // goes first
};

}  // namespace moxsupply::testing
