#pragma once

#include <chrono>
#include <string>

#include "system/FileDescriptor.h"

namespace moxsupply::testing {

struct HttpAnswer {
  int status = 0;    // 0: there was no answer
  std::string head;  // with its empty line
  std::string body;
  std::chrono::duration<double> time{};
};

// A connection to a port of this machine, with these bytes sent.
FileDescriptor connectAndSend(int port, const std::string& bytes);

// What comes until the other end hangs up, at most for twenty seconds.
HttpAnswer receiveAnswer(const FileDescriptor& connection);

// Sends a request as it is given and takes the answer.
HttpAnswer request(int port, const std::string& bytes);

// GET, with further header lines, each with its line end.
HttpAnswer get(int port, const std::string& path, const std::string& headers = {});

}  // namespace moxsupply::testing
