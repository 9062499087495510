// The pages of `moxsupply exporter` that show what is remembered, as browsers get them.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "history/Moment.h"
#include "tests/monitoring/ExporterProcess.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/support/Run.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// What a browser must send for an address.
std::string encoded(const std::string& target) {
  std::string text;
  for (const char c : target) {
    text += c == ':' || c == '/' || c == '@' ? fmt::format("%{:02X}", c) : std::string(1, c);
  }
  return text;
}

std::string pageOf(const std::string& target) { return "/printer?target=" + encoded(target); }

class ThePagesOfTheExporter : public ::testing::Test {
 protected:
  // Puts readings of a printer into the store: a toner that falls by 2 points a day, until today.
  void remember(const std::string& printer, int levelToday) const {
    constexpr int kDays = 30;
    const auto now =
        std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) - 10s;
    const std::string file = mFolder.path() / "readings";
    std::ofstream readings(file);
    for (int day = kDays; day >= 0; --day) {
      readings << fmt::format(
          R"({{"time":"{}","printer":"{}","labels":{{"place":"hall, left"}},"supplies":[{{"number":1,)"
          R"("name":"=Black \"Toner\"","type":"toner","color":"Black","level":{},"status":"ok",)"
          R"("part":"@P1"}}]}})"
          "\n",
          momentAsText(now - day * 24h), printer, levelToday + 2 * day);
    }
    readings.close();
    const Ran ran = run({MOXSUPPLY_PROGRAM, "history", "add", "--store", mStore, file});
    ASSERT_EQ(ran.exitStatus, 0) << ran.errors;
  }

  [[nodiscard]] std::vector<std::string> withStore() const { return {"--store", mStore}; }

  // What is remembered comes in by and by.
  static HttpAnswer awaitIn(const ExporterProcess& exporter, const std::string& path,
                            const std::string& text) {
    HttpAnswer answer;
    for (int i = 0; i < 100; ++i) {
      answer = get(exporter.port(), path);
      if (answer.body.find(text) != std::string::npos) return answer;
      std::this_thread::sleep_for(100ms);
    }
    ADD_FAILURE() << path << " has no " << text << ":\n" << answer.body;
    return answer;
  }

  TemporaryFolder mFolder;
  std::string mStore = mFolder.path() / "history.sqlite";
};

TEST_F(ThePagesOfTheExporter, ShowWhatIsRemembered) {
  remember("socket://192.0.2.7", 20);
  const ExporterProcess exporter(listOf({"jane:w0rd@192.0.2.7"}), withStore());
  awaitIn(exporter, "/", "<svg class=\"curve black\"");
  const HttpAnswer page = get(exporter.port(), pageOf("192.0.2.7"));
  EXPECT_EQ(page.status, 200);
  EXPECT_THAT(page.head, AllOf(HasSubstr("Content-Type: text/html; charset=utf-8\r\n"),
                               HasSubstr("Content-Security-Policy: default-src 'none';")));
  EXPECT_THAT(page.body,
              AllOf(HasSubstr("<svg class=\"curve large black\""), HasSubstr("days left ("),
                    HasSubstr("Part @P1"), HasSubstr("What happened"), Not(HasSubstr("w0rd"))));
  const HttpAnswer orders = get(exporter.port(), "/orders?within=30");
  EXPECT_THAT(orders.body, AllOf(HasSubstr("<td>@P1<td>=Black &#34;Toner&#34;<td>toner"),
                                 HasSubstr("<a href=\"printer?target=192%2E0%2E2%2E7\">"),
                                 HasSubstr("(hall, left)"), Not(HasSubstr("w0rd"))));
}

TEST_F(ThePagesOfTheExporter, HaveTheSameFileOfOrdersAsTheCommand) {
  remember("socket://192.0.2.7", 20);
  const ExporterProcess exporter(listOf({"192.0.2.7"}), withStore());
  const HttpAnswer file = awaitIn(exporter, "/orders.csv?within=30", "socket://192.0.2.7");
  EXPECT_EQ(file.status, 200);
  EXPECT_THAT(file.head, HasSubstr("Content-Type: text/csv; charset=utf-8; header=present\r\n"));
  EXPECT_THAT(file.body, StartsWith("part,name,type,count,by,needed\r\n"
                                    "\"'@P1\",\"'=Black \"\"Toner\"\"\",\"toner\",\"1\","));
  EXPECT_EQ(file.body, run({MOXSUPPLY_PROGRAM, "orders", "--store", mStore, "--within", "30",
                            "--format", "csv"})
                           .output);
}

TEST_F(ThePagesOfTheExporter, LookAheadByDays) {
  remember("socket://192.0.2.7", 40);  // for 20 days, of which the earliest end is not in 7
  const ExporterProcess exporter(listOf({"192.0.2.7"}), withStore());
  awaitIn(exporter, "/orders?within=365", "@P1");
  for (const char* path : {"/orders", "/orders.csv"}) {
    for (const char* within : {"0", "7"}) {
      EXPECT_THAT(get(exporter.port(), fmt::format("{}?within={}", path, within)).body,
                  Not(HasSubstr("@P1")));
    }
    for (const char* wrong :
         {"-1", "366", "x", "", "1.5", "14&within=14", "99999999999999999999", "%20"}) {
      const HttpAnswer answer = get(exporter.port(), fmt::format("{}?within={}", path, wrong));
      EXPECT_EQ(answer.status, 400) << wrong;
      EXPECT_THAT(answer.body, HasSubstr("0 to 365"));
    }
  }
}

TEST_F(ThePagesOfTheExporter, LookAheadAsLongAsADeliveryTakes) {
  const ExporterProcess usual(listOf({"192.0.2.7"}), withStore());
  EXPECT_THAT(get(usual.port(), "/orders").body, HasSubstr("within 14 days"));
  const ExporterProcess slow(listOf({"192.0.2.7"}), {"--store", mStore, "--delivery-days=30"});
  EXPECT_THAT(get(slow.port(), "/orders").body, HasSubstr("within 30 days"));
}

TEST_F(ThePagesOfTheExporter, AreOfPrintersInTheListOnly) {
  const ExporterProcess exporter(listOf({"jane:w0rd@192.0.2.7"}), withStore());
  const HttpAnswer unknown = get(exporter.port(), pageOf("joe:s3cret@192.0.2.8"));
  EXPECT_EQ(unknown.status, 404);
  EXPECT_THAT(unknown.body, AllOf(StartsWith("\"192.0.2.8\" is not in the list of printers; / "),
                                  Not(HasSubstr("s3cret"))));
  EXPECT_EQ(get(exporter.port(), pageOf("192.0.2.7")).status, 200);
  EXPECT_EQ(get(exporter.port(), pageOf("jane:w0rd@192.0.2.7")).status, 200);
  for (const char* path : {"/printer", "/printer?target=", "/printer?target=a&target=b"}) {
    EXPECT_EQ(get(exporter.port(), path).status, 400);
  }
  for (const char* path : {"/printer?target=192.0.2.7", "/orders", "/orders.csv"}) {
    EXPECT_EQ(post(exporter.port(), path, "").status, 405);
  }
}

TEST_F(ThePagesOfTheExporter, AskNoPrinterButOnPurpose) {
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({printer.uri()}), withStore());
  const std::string page = get(exporter.port(), pageOf(printer.uri())).body;
  EXPECT_THAT(page, HasSubstr("Never read."));
  get(exporter.port(), "/orders");
  get(exporter.port(), "/orders.csv");
  std::this_thread::sleep_for(500ms);
  EXPECT_THAT(get(exporter.port(), "/metrics").body,
              AllOf(HasSubstr("npa_exporter_queries_running 0\n"),
                    Not(HasSubstr("npa_exporter_queries_total{status=\"success\"} 1"))));
  const std::string before = R"(name="token" value=")";
  const std::string token = page.substr(page.find(before) + before.size());
  const HttpAnswer asked =
      post(exporter.port(), "/ask",
           fmt::format("token={}&from=printer&target={}", token.substr(0, token.find('"')),
                       encoded(printer.uri())));
  EXPECT_EQ(asked.status, 303);
  EXPECT_THAT(asked.head,
              HasSubstr("Location: ./printer?target=socket%3A%2F%2F127%2E0%2E0%2E1%3A"));
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 1");
}

TEST_F(ThePagesOfTheExporter, SayThatNothingIsRemembered) {
  const ExporterProcess exporter(listOf({"192.0.2.7"}), {"--no-store"});
  for (const std::string& path : {std::string("/"), pageOf("192.0.2.7"), std::string("/orders")}) {
    const HttpAnswer answer = get(exporter.port(), path);
    EXPECT_EQ(answer.status, 200);
    EXPECT_THAT(answer.body, HasSubstr("Nothing is remembered here"));
  }
  const HttpAnswer file = get(exporter.port(), "/orders.csv");
  EXPECT_EQ(file.status, 404);
  EXPECT_THAT(file.body, HasSubstr("--no-store"));
}

TEST_F(ThePagesOfTheExporter, SayThatTheStoreCannotBeUsed) {
  std::ofstream(mStore) << std::string(5000, 'x');
  const ExporterProcess exporter(listOf({"192.0.2.7"}), withStore());
  awaitIn(exporter, "/orders", "not remembered at present:</b>");
  EXPECT_THAT(get(exporter.port(), pageOf("192.0.2.7")).body, HasSubstr("history.sqlite"));
  const HttpAnswer file = get(exporter.port(), "/orders.csv");
  EXPECT_EQ(file.status, 503);
  EXPECT_THAT(file.body, HasSubstr("history.sqlite"));
}

}  // namespace
}  // namespace moxsupply::testing
