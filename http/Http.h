#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace moxsupply {

// HTTP/1.1 as far as it matters here: the head of a request, a form behind it, and the head of its
// answer.

// What a client asks. All of it is hostile.
struct HttpRequest {
  enum class Method : std::uint8_t { kGet, kHead, kPost, kOther };

  Method method = Method::kOther;
  std::string path;                                             // decoded
  std::vector<std::pair<std::string, std::string>> parameters;  // decoded, in their order; of a
                                                                // POST those of its form
  std::string host;                                             // of the header, as it was sent
  std::string origin;
  std::string fetchSite;  // where a browser says that the request comes from
  std::optional<std::chrono::milliseconds> scrapeTimeout;  // how long Prometheus waits
  bool takesGzip = false;
  bool keepsAlive = false;  // the client wants to ask more on the same connection

  // The value of the first parameter of this name; empty when there is none.
  [[nodiscard]] std::string parameter(std::string_view name) const;
  [[nodiscard]] std::size_t count(std::string_view name) const;
};

// Why a request cannot be answered as it was meant.
struct HttpMistake {
  unsigned status = 400;
  std::string_view what;  // a sentence
};

// Takes in the head of one request and the form behind it, piece by piece.
class HttpHead {
 public:
  static constexpr std::size_t kLongest = 8192;      // bytes
  static constexpr std::size_t kLongestForm = 8192;  // bytes behind the head

  HttpHead();
  ~HttpHead();
  HttpHead(HttpHead&&) noexcept;
  HttpHead& operator=(HttpHead&&) noexcept;
  HttpHead(const HttpHead&) = delete;
  HttpHead& operator=(const HttpHead&) = delete;

  // Takes bytes from the front of `bytes`, as far as the head and its form go.
  void take(std::string_view& bytes);

  [[nodiscard]] bool hasBegun() const;
  [[nodiscard]] bool isWhole() const;

  // Set when it can no longer become whole.
  [[nodiscard]] std::optional<HttpMistake> mistake() const { return mMistake; }

  // Of a whole head: what it asks, or why that is not understood.
  [[nodiscard]] std::optional<HttpRequest> request();

 private:
  void takeHead(std::string_view& bytes);
  void awaitForm();
  void takeForm(std::string_view& bytes);

  struct Parser;
  std::unique_ptr<Parser> mParser;
  std::optional<HttpMistake> mMistake;
};

struct HttpAnswer {
  unsigned status = 200;
  std::string_view type = {};  // of the body
  std::shared_ptr<const std::string> body = {};
  bool isGzip = false;
  std::string_view allowed = {};  // methods, of status 405
  std::string location = {};      // where to go on, of status 303; relative
};

// An answer of one line of plain text.
[[nodiscard]] HttpAnswer lineOfText(unsigned status, std::string_view line);

// The first bytes of every answer, whatever it is.
constexpr std::string_view kAnswerBegins = "HTTP/1.1 ";

// The head of an answer, with its empty line. `closes`: the connection, behind this answer.
[[nodiscard]] std::string headOf(const HttpAnswer& answer, bool closes);

}  // namespace moxsupply
