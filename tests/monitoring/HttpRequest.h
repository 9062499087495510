#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "system/FileDescriptor.h"

namespace moxsupply::testing {

struct HttpAnswer {
  int status = 0;    // 0: there was no answer
  std::string head;  // with its empty line
  std::string body;
  std::chrono::duration<double> time{};
};

// The header line that every request needs.
constexpr std::string_view kHost = "Host: localhost\r\n";

// A request with further header lines, on a connection that may be used again.
std::string getting(const std::string& path, const std::string& headers = {});

// Where the exporter asks this printer of its list.
std::string probeOf(const std::string& target);

// A connection to a port of this machine, with these bytes sent.
FileDescriptor connectAndSend(int port, const std::string& bytes);

// Connections of clients that send this and wait.
std::vector<FileDescriptor> connections(int port, std::size_t count, const std::string& bytes);

// What comes until the other end hangs up, at most for twenty seconds.
HttpAnswer receiveAnswer(const FileDescriptor& connection);

// Sends a request as it is given and takes the answer.
HttpAnswer request(int port, const std::string& bytes);

// GET on a connection for this alone, with further header lines, each with its line end.
HttpAnswer get(int port, const std::string& path, const std::string& headers = {});

// The same with POST and a form.
HttpAnswer post(int port, const std::string& path, const std::string& form,
                const std::string& headers = {});

}  // namespace moxsupply::testing
