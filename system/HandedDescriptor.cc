#include "system/HandedDescriptor.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace moxsupply {

namespace {

// What goes beside a message's text: one descriptor.
struct Beside {
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> bytes{};
};

}  // namespace

int handOver(int socket, std::string_view text, int descriptor) {
  iovec part = {.iov_base = const_cast<char*>(text.data()), .iov_len = text.size()};
  Beside beside;
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (descriptor >= 0) {
    message.msg_control = beside.bytes.data();
    message.msg_controllen = beside.bytes.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  }
  ssize_t sent = 0;
  do {
    sent = ::sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent < 0 ? errno : 0;
}

std::optional<HandedDescriptor> takeOver(int socket, std::size_t mostBytes) {
  HandedDescriptor handed;
  handed.text.resize(mostBytes);
  iovec part = {.iov_base = handed.text.data(), .iov_len = handed.text.size()};
  Beside beside;
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = beside.bytes.data();
  message.msg_controllen = CMSG_LEN(sizeof(int));  // or there would be room for a second one
  ssize_t count = 0;
  do {
    count = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
  } while (count < 0 && errno == EINTR);
  if (count == 0) errno = 0;
  if (count <= 0) return std::nullopt;
  handed.text.resize(static_cast<std::size_t>(count));
  const cmsghdr* header = CMSG_FIRSTHDR(&message);
  if (header != nullptr && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS) {
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    handed.descriptor = aboveFilterDescriptors(FileDescriptor(descriptor));
  }
  return handed;
}

}  // namespace moxsupply
