#include "tests/monitoring/HttpRequest.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace moxsupply::testing {

std::string getting(const std::string& path, const std::string& headers) {
  return "GET " + path + " HTTP/1.1\r\n" + std::string(kHost) + headers + "\r\n";
}

std::string probeOf(const std::string& target) { return "/probe?target=" + target; }

FileDescriptor connectAndSend(int port, const std::string& bytes) {
  FileDescriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    return {};
  }
  ::send(connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  return connection;
}

std::vector<FileDescriptor> connections(int port, std::size_t count, const std::string& bytes) {
  std::vector<FileDescriptor> all(count);
  std::ranges::generate(all, [&] { return connectAndSend(port, bytes); });
  return all;
}

HttpAnswer receiveAnswer(const FileDescriptor& connection) {
  if (!connection) return {};
  constexpr int kMilliseconds = 20'000;
  const auto begin = std::chrono::steady_clock::now();
  std::string text;
  std::array<char, 16384> buffer{};
  for (;;) {
    pollfd readable = {.fd = connection.get(), .events = POLLIN, .revents = 0};
    if (::poll(&readable, 1, kMilliseconds) <= 0) break;
    const ssize_t count = ::recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  HttpAnswer answer;
  answer.time = std::chrono::steady_clock::now() - begin;
  const std::size_t end = text.find("\r\n\r\n");
  if (end == std::string::npos || !text.starts_with("HTTP/1.1 ")) return answer;
  answer.status = std::stoi(text.substr(9));
  answer.head = text.substr(0, end + 4);
  answer.body = text.substr(end + 4);
  return answer;
}

HttpAnswer request(int port, const std::string& bytes) {
  return receiveAnswer(connectAndSend(port, bytes));
}

HttpAnswer get(int port, const std::string& path, const std::string& headers) {
  return request(port, getting(path, "Connection: close\r\n" + headers));
}

HttpAnswer post(int port, const std::string& path, const std::string& form,
                const std::string& headers) {
  return request(port, "POST " + path + " HTTP/1.1\r\nConnection: close\r\n" + std::string(kHost) +
                           "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
                           std::to_string(form.size()) + "\r\n" + headers + "\r\n" + form);
}

}  // namespace moxsupply::testing
