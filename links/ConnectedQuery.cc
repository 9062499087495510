#include "links/ConnectedQuery.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "links/TcpLink.h"
#include "supplies/Words.h"
#include "system/ForkServer.h"
#include "system/HandedDescriptor.h"
#include "text/Decimal.h"

namespace moxsupply {

namespace {

constexpr std::string_view kFind = "find";
constexpr std::string_view kAsk = "ask";
constexpr std::string_view kUnknown = "-";

// Where nobody listens any more, SIGPIPE ends this process.
void say(const FileDescriptor& socket, QueryWord word, std::string_view rest) {
  std::string message(1, static_cast<char>(word));
  static_cast<void>(writeAll(socket.get(), message.append(rest)));
}

}  // namespace

std::string QueryRequest::text() const {
  return fmt::format("{} {} {} {}", task == QueryTask::kFind ? kFind : kAsk,
                     kind ? wordOf(*kind) : kUnknown, deadline, uri);
}

std::optional<QueryRequest> QueryRequest::from(const std::string& text) {
  std::istringstream words(text);
  std::string task;
  std::string kind;
  std::string deadline;
  QueryRequest request;
  if (!(words >> task >> kind >> deadline >> request.uri)) return std::nullopt;
  if (task != kFind && task != kAsk) return std::nullopt;
  request.task = task == kFind ? QueryTask::kFind : QueryTask::kAsk;
  request.kind = meaningIn(kPrinterKinds, kind);
  const auto seconds = decimal(deadline);
  if (!seconds || (!request.kind && kind != kUnknown)) return std::nullopt;
  request.deadline = *seconds;
  return request;
}

Result<> ConnectedQuery::sayWhere(const DeviceUri& uri) const {
  auto addresses = addressesOf(uri);
  if (!addresses) return tl::unexpected(std::move(addresses).error());
  addresses->resize(std::min(addresses->size(), kMostAddresses));
  say(mSocket, QueryWord::kAddresses,
      {reinterpret_cast<const char*>(addresses->data()),
       addresses->size() * sizeof(NetworkAddress)});
  return {};
}

Result<FileDescriptor> ConnectedQuery::connect() const {
  say(mSocket, QueryWord::kConnect, {});
  auto handed = takeOver(mSocket.get(), 1);
  if (!handed || !handed->descriptor) return failure("no connection was handed over");
  return std::move(handed->descriptor);
}

void ConnectedQuery::finish(std::string_view result) const {
  constexpr std::size_t kPartSize = kLongestQueryWord - 1;
  while (result.size() > kPartSize) {
    say(mSocket, QueryWord::kPart, result.substr(0, kPartSize));
    result.remove_prefix(kPartSize);
  }
  say(mSocket, QueryWord::kLastPart, result);
}

std::optional<QueryRequest> ConnectedQuery::next() const {
  const auto handed = takeOver(mSocket.get(), kLongestForkRequest);
  return handed ? QueryRequest::from(handed->text) : std::nullopt;
}

}  // namespace moxsupply
