#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "http/Http.h"

namespace moxsupply::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr std::string_view kSimple = "GET /probe?target=a%3Ab&x=1+2 HTTP/1.1\r\nHost: h\r\n\r\n";

// What a head asks that comes in one piece; nothing when it is not understood.
std::optional<HttpRequest> requestIn(std::string_view text) {
  HttpHead head;
  head.take(text);
  if (!head.isWhole() || head.mistake()) return std::nullopt;
  return head.request();
}

std::optional<HttpRequest> requestWith(const std::string& headers) {
  return requestIn("GET / HTTP/1.1\r\nHost: h\r\n" + headers + "\r\n");
}

unsigned mistakeInHead(std::string_view text) {
  HttpHead head;
  head.take(text);
  if (head.isWhole() && !head.mistake()) static_cast<void>(head.request());
  return head.mistake() ? head.mistake()->status : 0;
}

TEST(ARequest, IsTakenApart) {
  const auto request = requestIn(kSimple);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->method, HttpRequest::Method::kGet);
  EXPECT_EQ(request->path, "/probe");
  EXPECT_EQ(request->parameter("target"), "a:b");
  EXPECT_EQ(request->parameter("x"), "1 2");
  EXPECT_EQ(request->parameter("y"), "");
  EXPECT_EQ(request->count("target"), 1U);
  EXPECT_EQ(request->host, "h");
  EXPECT_TRUE(request->keepsAlive);
  EXPECT_FALSE(request->takesGzip);
  EXPECT_EQ(request->scrapeTimeout, std::nullopt);
}

TEST(ARequest, MayComeInAnyPieces) {
  for (std::size_t cut = 1; cut < kSimple.size(); ++cut) {
    HttpHead head;
    EXPECT_FALSE(head.hasBegun());
    std::string_view first = kSimple.substr(0, cut);
    head.take(first);
    EXPECT_TRUE(head.hasBegun());
    EXPECT_FALSE(head.isWhole()) << cut;
    EXPECT_FALSE(head.mistake()) << cut;
    std::string_view second = kSimple.substr(cut);
    head.take(second);
    ASSERT_TRUE(head.isWhole()) << cut;
    EXPECT_EQ(head.request()->parameter("target"), "a:b");
  }
}

TEST(ARequest, LeavesWhatComesBehindIt) {
  for (std::size_t cut = 0; cut < kSimple.size(); ++cut) {
    HttpHead head;
    std::string_view first = kSimple.substr(0, cut);
    head.take(first);
    const std::string rest = std::string(kSimple.substr(cut)) + "GET /next";
    std::string_view unread = rest;
    head.take(unread);
    ASSERT_TRUE(head.isWhole()) << cut;
    EXPECT_EQ(unread, "GET /next") << cut;
  }
}

TEST(ARequest, TellsWhatItsClientTakes) {
  EXPECT_TRUE(requestWith("Accept-Encoding: deflate, gzip;q=0.5\r\n")->takesGzip);
  EXPECT_FALSE(requestWith("Accept-Encoding: gzipped\r\n")->takesGzip);
  EXPECT_FALSE(requestWith("Connection: close\r\n")->keepsAlive);
  EXPECT_FALSE(requestIn("GET / HTTP/1.0\r\n\r\n")->keepsAlive);
  EXPECT_TRUE(requestIn("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n")->keepsAlive);
  EXPECT_EQ(requestWith("Sec-Fetch-Site: cross-site\r\n")->fetchSite, "cross-site");
  EXPECT_EQ(requestWith("Origin: http://e\r\n")->origin, "http://e");
  EXPECT_EQ(requestIn("HEAD / HTTP/1.0\r\n\r\n")->method, HttpRequest::Method::kHead);
  EXPECT_EQ(requestIn("BREW / HTTP/1.0\r\n\r\n")->method, HttpRequest::Method::kOther);
}

TEST(ARequest, TellsHowLongPrometheusWaits) {
  const auto timeout = [](const std::string& text) {
    return requestWith("X-Prometheus-Scrape-Timeout-Seconds: " + text + "\r\n")->scrapeTimeout;
  };
  EXPECT_EQ(timeout("10"), std::chrono::seconds(10));
  EXPECT_EQ(timeout("1.5"), std::chrono::milliseconds(1500));
  for (const char* odd : {"", "0", "-1", "nan", "inf", "1e300", "86401", "ten", "1s", "1 2"}) {
    EXPECT_EQ(timeout(odd), std::nullopt) << odd;
  }
}

TEST(ARequest, WithEncodingsThatAreNoneKeepsThem) {
  EXPECT_EQ(requestIn("GET /%zz%4 HTTP/1.0\r\n\r\n")->path, "/%zz%4");
  EXPECT_EQ(requestIn("GET /?a=%&b=%4&&=c&d HTTP/1.0\r\n\r\n")->parameters.size(), 4U);
  EXPECT_EQ(requestIn("GET /%00 HTTP/1.0\r\n\r\n")->path, std::string("/\0", 2));
}

TEST(AForm, ComesBehindTheHeadOfAPostInAnyPieces) {
  const std::string text =
      "POST /ask?a=1 HTTP/1.1\r\nHost: h\r\nContent-Length: 9\r\n\r\nb=2&c=%26";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    HttpHead head;
    const std::string start = text.substr(0, cut);
    std::string_view first = start;
    head.take(first);
    EXPECT_TRUE(first.empty()) << cut;
    EXPECT_EQ(head.isWhole(), cut == text.size()) << cut;
    const std::string rest = text.substr(cut) + "GET /next";
    std::string_view second = rest;
    head.take(second);
    EXPECT_EQ(second, "GET /next") << cut;
    ASSERT_TRUE(head.isWhole()) << cut;
    const auto request = head.request();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, HttpRequest::Method::kPost);
    EXPECT_TRUE(request->keepsAlive);
    EXPECT_EQ(request->count("a"), 0U);
    EXPECT_EQ(request->parameter("b"), "2");
    EXPECT_EQ(request->parameter("c"), "&");
  }
}

TEST(AForm, HasABoundOnItsLength) {
  const std::string post = "POST /ask HTTP/1.1\r\nHost: h\r\n";
  const std::string longest(HttpHead::kLongestForm, 'x');
  EXPECT_EQ(requestIn(post + "Content-Length: 8192\r\n\r\n" + longest)->count(longest), 1U);
  EXPECT_TRUE(requestIn(post + "\r\n"));
  EXPECT_EQ(mistakeInHead(post + "Content-Length: 8193\r\n\r\n"), 413U);
  EXPECT_EQ(mistakeInHead(post + "Content-Length: 18446744073709551615\r\n\r\n"), 400U);
  EXPECT_EQ(mistakeInHead(post + "Content-Length: -1\r\n\r\n"), 400U);
  EXPECT_EQ(mistakeInHead(post + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n"), 400U);
  EXPECT_EQ(mistakeInHead(post + "Transfer-Encoding: chunked\r\n\r\n"), 411U);
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\n\r\n"), 413U);
}

TEST(ARequestThatIsNone, IsRefused) {
  for (const std::string& text : {
           std::string("\r\n\r\n"),
           std::string("GET\r\n\r\n"),
           std::string("\0\xff\r\n\r\n", 6),
           std::string("GET / HTTP/1.1\r\n\r\n"),                        // for no host
           std::string("GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n"),  // for two
           std::string("GET / HTTP/2.0\r\nHost: a\r\n\r\n"),
           std::string("GET http://a/ HTTP/1.1\r\nHost: a\r\n\r\n"),
           std::string("GET * HTTP/1.1\r\nHost: a\r\n\r\n"),
           std::string("GET / HTTP/1.1\r\nHost: a\r\nX\r\n\r\n"),
       }) {
    EXPECT_EQ(mistakeInHead(text), 400U) << text;
  }
}

// One of them once ended a header line for one reader, and went on for the next one.
TEST(ARequestWithControlCharacters, IsRefused) {
  for (int c = 1; c < 32; ++c) {
    if (c == '\t') continue;  // the only one that may stand there
    const std::string value = std::string("a") + static_cast<char>(c) + "b";
    if (c == '\r' || c == '\n') {
      EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nX: " + value + "\r\n\r\n"), 400U) << c;
      continue;
    }
    EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nX: " + value + "\r\n\r\n"), 400U) << c;
    EXPECT_EQ(mistakeInHead("GET /" + value + " HTTP/1.1\r\nHost: h\r\n\r\n"), 400U) << c;
  }
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nX: a" + std::string(1, '\0') + "b\r\n\r\n"),
            400U);
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nX: a\x7f"
                          "b\r\n\r\n"),
            400U);
}

TEST(ARequest, HasABoundOnItsLength) {
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nX: " + std::string(9000, 'x')), 431U);
  EXPECT_EQ(mistakeInHead("GET /" + std::string(9000, 'x')), 431U);
  EXPECT_EQ(mistakeInHead(std::string(9000, 'x')), 431U);
  HttpHead drip;
  for (int i = 0; i < 9000 && !drip.mistake(); ++i) {
    std::string_view one = "x";
    drip.take(one);
  }
  EXPECT_TRUE(drip.mistake());
  const std::string tooLong = "GET /" + std::string(8170, 'x') + " HTTP/1.1\r\nHost: h\r\n\r\n";
  EXPECT_EQ(mistakeInHead(tooLong), 431U);
  const std::string longest = "GET /" + std::string(8000, '(') + " HTTP/1.1\r\nHost: h\r\n\r\n";
  EXPECT_EQ(mistakeInHead(longest), 0U);
}

TEST(ARequestWithABody, IsRefused) {
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nContent-Length: 4\r\n\r\n"), 413U);
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n"), 413U);
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nContent-Length: 0\r\n\r\n"), 0U);
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nContent-Length: -1\r\n\r\n"), 400U);
  EXPECT_EQ(mistakeInHead("GET / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\nContent-Length: "
                          "2\r\n\r\n"),
            400U);
}

TEST(AnAnswer, SaysHowItIsToBeTaken) {
  const std::string head = headOf(lineOfText(404, "No."), false);
  EXPECT_THAT(head, StartsWith("HTTP/1.1 404 Not Found\r\n"));
  EXPECT_THAT(head, StartsWith(std::string(kAnswerBegins)));
  EXPECT_THAT(head, AllOf(HasSubstr("Content-Length: 4\r\n"), HasSubstr("no-store\r\n"),
                          HasSubstr("Content-Type: text/plain; charset=utf-8\r\n"),
                          HasSubstr("Connection: keep-alive\r\n")));
  EXPECT_EQ(head.substr(head.size() - 4), "\r\n\r\n");
  EXPECT_THAT(headOf(lineOfText(200, ""), true), HasSubstr("Connection: close\r\n"));
}

}  // namespace
}  // namespace moxsupply::testing
