#include "http/Http.h"

#include <algorithm>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <boost/beast/http/write.hpp>
#include <charconv>
#include <cmath>
#include <sstream>

namespace moxsupply {

namespace {

namespace http = boost::beast::http;

constexpr HttpMistake kNotUnderstood = {400, "This request is not understood."};
constexpr HttpMistake kTooLong = {431, "The request is too long."};
constexpr HttpMistake kHasBody = {413, "No such request has a body here."};
constexpr HttpMistake kNoLength = {411, "How long is the form?"};
constexpr HttpMistake kLongForm = {413, "The form is too long."};

std::optional<int> hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return std::nullopt;
}

// Percent signs with two hex digits behind them are bytes, others stand for themselves.
std::string decoded(std::string_view text, bool plusIsBlank) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto high = text[i] == '%' && i + 2 < text.size() ? hexDigit(text[i + 1]) : std::nullopt;
    const auto low = high ? hexDigit(text[i + 2]) : std::nullopt;
    if (low) {
      bytes += static_cast<char>(*high * 16 + *low);
      i += 2;
    } else {
      bytes += plusIsBlank && text[i] == '+' ? ' ' : text[i];
    }
  }
  return bytes;
}

std::vector<std::pair<std::string, std::string>> parametersIn(std::string_view query) {
  std::vector<std::pair<std::string, std::string>> parameters;
  while (!query.empty()) {
    const std::string_view one = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(one.size() + 1, query.size()));
    if (one.empty()) continue;
    const std::size_t equals = std::min(one.find('='), one.size());
    parameters.emplace_back(decoded(one.substr(0, equals), true),
                            decoded(one.substr(std::min(equals + 1, one.size())), true));
  }
  return parameters;
}

// A header's number of seconds, with a fraction.
std::optional<std::chrono::milliseconds> secondsIn(std::string_view text) {
  double seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  constexpr double kDay = 86400;
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (!std::isfinite(seconds) || seconds <= 0 || seconds > kDay) return std::nullopt;
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

HttpRequest::Method methodOf(http::verb verb) {
  if (verb == http::verb::get) return HttpRequest::Method::kGet;
  if (verb == http::verb::head) return HttpRequest::Method::kHead;
  return verb == http::verb::post ? HttpRequest::Method::kPost : HttpRequest::Method::kOther;
}

}  // namespace

std::string HttpRequest::parameter(std::string_view name) const {
  const auto found =
      std::ranges::find(parameters, name, &std::pair<std::string, std::string>::first);
  return found == parameters.end() ? std::string() : found->second;
}

std::size_t HttpRequest::count(std::string_view name) const {
  return static_cast<std::size_t>(
      std::ranges::count(parameters, name, &std::pair<std::string, std::string>::first));
}

struct HttpHead::Parser {
  Parser() {
    parser.header_limit(kLongest);
    parser.eager(false);
  }

  http::request_parser<http::empty_body> parser;
  std::string pending;  // what the parser wants to see again, with more behind it
  std::size_t taken = 0;
  std::size_t parsed = 0;
  std::string form;
  std::size_t formBytes = 0;  // of all of it
};

HttpHead::HttpHead() : mParser(std::make_unique<Parser>()) {}
HttpHead::~HttpHead() = default;
HttpHead::HttpHead(HttpHead&&) noexcept = default;
HttpHead& HttpHead::operator=(HttpHead&&) noexcept = default;

bool HttpHead::hasBegun() const { return mParser->taken > 0; }
bool HttpHead::isWhole() const {
  return !mMistake && mParser->parser.is_header_done() &&
         mParser->form.size() == mParser->formBytes;
}

void HttpHead::take(std::string_view& bytes) {
  if (!mMistake && !mParser->parser.is_header_done()) takeHead(bytes);
  if (!mMistake && mParser->parser.is_header_done()) takeForm(bytes);
}

void HttpHead::takeHead(std::string_view& bytes) {
  if (bytes.empty()) return;
  mParser->taken += bytes.size();
  const std::size_t before = mParser->pending.size();
  mParser->pending.append(bytes);
  boost::system::error_code error;
  std::size_t parsed = 0;
  while (!error && !mParser->parser.is_header_done() && parsed < mParser->pending.size()) {
    const std::size_t count = mParser->parser.put(
        boost::asio::buffer(mParser->pending.data() + parsed, mParser->pending.size() - parsed),
        error);
    parsed += count;
    if (count == 0) break;
  }
  if (error == http::error::need_more) error = {};
  mParser->parsed += parsed;
  // The parser's own limit is that of the lines behind the first one.
  const bool isDone = mParser->parser.is_header_done();
  const std::size_t size = isDone ? mParser->parsed : mParser->taken;
  if (error == http::error::header_limit || (!error && size > kLongest)) {
    mMistake = kTooLong;
  } else if (error) {
    mMistake = kNotUnderstood;
  }
  mParser->pending.erase(0, parsed);
  // What stands behind the head belongs to its form, or to the next request.
  const bool isOver = mMistake || isDone;
  bytes.remove_prefix(isOver && parsed > before ? parsed - before : bytes.size());
  if (isDone && !mMistake) awaitForm();
}

// Other methods have no form; what comes behind their heads is looked at in `request`.
void HttpHead::awaitForm() {
  const auto& parser = mParser->parser;
  if (methodOf(parser.get().method()) != HttpRequest::Method::kPost) return;
  const std::uint64_t length = parser.content_length().value_or(0);
  if (parser.chunked()) {
    mMistake = kNoLength;
  } else if (length > kLongestForm) {
    mMistake = kLongForm;
  } else {
    mParser->formBytes = static_cast<std::size_t>(length);
  }
}

void HttpHead::takeForm(std::string_view& bytes) {
  const std::size_t missing = mParser->formBytes - mParser->form.size();
  const std::string_view some = bytes.substr(0, missing);
  mParser->form.append(some);
  bytes.remove_prefix(some.size());
}

std::optional<HttpRequest> HttpHead::request() {
  const auto& head = mParser->parser.get();
  HttpRequest request;
  request.method = methodOf(head.method());
  const std::string_view target(head.target().data(), head.target().size());
  const std::size_t question = std::min(target.find('?'), target.size());
  request.path = decoded(target.substr(0, question), false);
  request.parameters = parametersIn(target.substr(std::min(question + 1, target.size())));
  const auto header = [&head](auto name) {
    const auto value = head[name];
    return std::string(value.data(), value.size());
  };
  request.host = header(http::field::host);
  request.origin = header(http::field::origin);
  request.fetchSite = header("Sec-Fetch-Site");
  request.scrapeTimeout = secondsIn(header("X-Prometheus-Scrape-Timeout-Seconds"));
  request.takesGzip = http::token_list(head[http::field::accept_encoding]).exists("gzip");
  request.keepsAlive = head.keep_alive();

  const bool isOfHttp11 = head.version() >= 11;
  const bool isForm = request.method == HttpRequest::Method::kPost;
  if (isForm) request.parameters = parametersIn(mParser->form);
  const bool hasBody =
      !isForm && (mParser->parser.chunked() || mParser->parser.content_length().value_or(0) > 0);
  if (head.version() != 10 && head.version() != 11) mMistake = kNotUnderstood;
  if (target.empty() || target.front() != '/') mMistake = kNotUnderstood;
  if (isOfHttp11 && head.count(http::field::host) != 1) mMistake = kNotUnderstood;
  if (hasBody && request.method != HttpRequest::Method::kOther) mMistake = kHasBody;
  if (mMistake) return std::nullopt;
  // What it would send us we would have to read before the next request.
  if (hasBody) request.keepsAlive = false;
  return request;
}

HttpAnswer lineOfText(unsigned status, std::string_view line) {
  return {.status = status,
          .type = "text/plain; charset=utf-8",
          .body = std::make_shared<const std::string>(std::string(line) + '\n')};
}

std::string headOf(const HttpAnswer& answer, bool closes) {
  http::response_header<> head;
  head.version(11);
  head.result(answer.status);
  head.set(http::field::cache_control, "no-store");
  head.set(http::field::connection, closes ? "close" : "keep-alive");
  if (answer.isGzip) head.set(http::field::content_encoding, "gzip");
  head.set(http::field::content_length, std::to_string(answer.body->size()));
  head.set("Content-Security-Policy",
           "default-src 'none'; style-src 'self'; img-src 'self'; form-action 'self'; "
           "base-uri 'none'; frame-ancestors 'none'");
  head.set(http::field::content_type, answer.type);
  // Without any, a browser would not tell either that a form comes from a page of ours.
  head.set("Referrer-Policy", "same-origin");
  head.set("X-Content-Type-Options", "nosniff");
  if (!answer.allowed.empty()) head.set(http::field::allow, answer.allowed);
  if (!answer.location.empty()) head.set(http::field::location, answer.location);
  std::ostringstream text;
  text << head;
  return std::move(text).str();
}

}  // namespace moxsupply
