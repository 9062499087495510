#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "fuzz/Target.h"
#include "http/HostNames.h"
#include "http/Http.h"

namespace moxsupply::fuzzing {

namespace {

using std::chrono::milliseconds;

// What came of a head, and what was left behind it.
struct Taken {
  unsigned status = 0;  // of the mistake; 0: there is none
  bool isWhole = false;
  std::optional<HttpRequest> request;
  std::string left;
};

Taken take(std::string_view bytes, std::size_t pieceSize) {
  HttpHead head;
  std::size_t used = 0;
  while (used < bytes.size() && !head.isWhole() && !head.mistake()) {
    std::string_view piece = bytes.substr(used, pieceSize);
    const std::size_t size = piece.size();
    head.take(piece);
    promise(piece.size() < size || head.mistake(), "a head takes something of every piece");
    used += size - piece.size();
  }
  Taken taken;
  taken.isWhole = head.isWhole();
  taken.left = bytes.substr(used);
  constexpr std::size_t kMost = HttpHead::kLongest + HttpHead::kLongestForm;
  promise(used <= kMost + pieceSize, "no more is taken in than it may be long");
  if (head.isWhole() && !head.mistake()) taken.request = head.request();
  promise(!taken.request || used <= kMost, "a request is as long as it may be");
  if (head.mistake()) taken.status = head.mistake()->status;
  return taken;
}

void promiseSane(const HttpRequest& request, std::size_t size) {
  std::size_t sizes =
      request.path.size() + request.host.size() + request.origin.size() + request.fetchSite.size();
  for (const auto& [name, value] : request.parameters) sizes += name.size() + value.size();
  promise(sizes <= size, "nothing is longer than it came");
  promise(request.path.starts_with('/'), "a path begins at the root");
  if (request.scrapeTimeout) {
    promise(*request.scrapeTimeout > milliseconds(0) &&
                *request.scrapeTimeout <= std::chrono::hours(24),
            "a client waits for a time, of a day at most");
  }
  for (const std::string& text : {request.host, request.origin, request.fetchSite}) {
    promise(std::ranges::none_of(text, [](char c) { return c == '\r' || c == '\n' || c == '\0'; }),
            "a header line is one line");
  }
}

bool isSame(const HttpRequest& one, const HttpRequest& other) {
  const auto parts = [](const HttpRequest& request) {
    return std::tie(request.method, request.path, request.parameters, request.host, request.origin,
                    request.fetchSite, request.scrapeTimeout, request.takesGzip,
                    request.keepsAlive);
  };
  return parts(one) == parts(other);
}

}  // namespace

// The first byte: in pieces of how many bytes the others, what a client sends, come.
void tryInput(std::span<const std::uint8_t> input) {
  if (input.empty()) return;
  const std::string text(input.begin() + 1, input.end());
  const Taken whole = take(text, std::max<std::size_t>(text.size(), 1));
  const Taken inPieces = take(text, input.front() + std::size_t{1});
  // One that is none may be noticed sooner or later, but is none in any pieces.
  promise(whole.request.has_value() == inPieces.request.has_value(),
          "a request is one in any pieces");
  promise(whole.request.has_value() == (whole.isWhole && whole.status == 0),
          "a head is a request or a mistake");
  if (!whole.request) return;
  promise(isSame(*whole.request, *inPieces.request), "a request is the same in any pieces");
  promise(whole.left == inPieces.left, "what comes behind a head is left in any pieces");
  promiseSane(*whole.request, text.size());
  const HostNames here("127.0.0.1:9871", {"prints.example"});
  const auto isPlain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view(".:[]").find(c) != std::string_view::npos;
  };
  promise(!here.contain(whole.request->host) || std::ranges::all_of(whole.request->host, isPlain),
          "a host that is ours is a name or an address, and a port");
}

}  // namespace moxsupply::fuzzing
