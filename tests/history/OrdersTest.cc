#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "history/Orders.h"

namespace moxsupply::testing {
namespace {

using std::chrono::days;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const Moment kOrderedAt = momentFrom("2026-01-05T08:00:00Z").value();
constexpr days kTwoWeeks(14);

// A black toner that may be empty `earliest` days from now.
Prospect toner(const std::string& part, std::optional<int> earliest,
               Attention attention = Attention::kNone) {
  Prospect prospect = {1,    "Black Toner", SupplyKind::kToner,
                       part, attention,     {20, kOrderedAt - days(1), std::nullopt, ""}};
  if (earliest) {
    prospect.forecast.emptyAt = {kOrderedAt + days(*earliest + 5), kOrderedAt + days(*earliest),
                                 kOrderedAt + days(*earliest + 9)};
  }
  return prospect;
}

PrinterProspects printer(const std::string& name, std::vector<Prospect> supplies) {
  return {name, std::nullopt, kOrderedAt - days(1), std::move(supplies)};
}

std::vector<Order> ordersOf(const std::vector<Prospect>& supplies, days within = kTwoWeeks) {
  return ordersFor({printer("socket://a", supplies)}, kOrderedAt, within).list;
}

TEST(Orders, CountWhatMayBeEmptyWithinTheTime) {
  EXPECT_THAT(ordersOf({toner("P", 13)}), SizeIs(1));
  EXPECT_THAT(ordersOf({toner("P", 14)}), SizeIs(1));
  EXPECT_THAT(ordersOf({toner("P", 15)}), IsEmpty());
  EXPECT_THAT(ordersOf({toner("P", 15)}, days(15)), SizeIs(1));
  EXPECT_THAT(ordersOf({toner("P", 0)}, days(0)), SizeIs(1));
  EXPECT_EQ(ordersOf({toner("P", 13)}).front().by(), kOrderedAt + days(13));
}

TEST(Orders, CountWhatIsNeededNow) {
  for (const Attention attention : {Attention::kEmpty, Attention::kMissing, Attention::kWrong}) {
    const auto orders = ordersOf({toner("P", {}, attention)});
    ASSERT_THAT(orders, SizeIs(1));
    EXPECT_EQ(orders.front().by(), kOrderedAt - days(1));
  }
}

TEST(Orders, CountALowOneWithoutAForecast) {
  EXPECT_THAT(ordersOf({toner("P", {})}), IsEmpty());
  EXPECT_THAT(ordersOf({toner("P", 20, Attention::kLow)}), IsEmpty());
  const auto orders = ordersOf({toner("P", {}, Attention::kLow)});
  ASSERT_THAT(orders, SizeIs(1));
  EXPECT_EQ(orders.front().by(), kOrderedAt - days(1));
}

TEST(Orders, AreOneForEachKindByWhenItIsNeeded) {
  PrinterProspects other = printer("socket://b", {toner("P", 2)});
  other.place = "2nd floor";
  const auto orders = ordersFor({printer("socket://a", {toner("P", 9), toner("Q", 5)}), other},
                                kOrderedAt, kTwoWeeks)
                          .list;
  ASSERT_THAT(orders, SizeIs(2));
  EXPECT_EQ(orders[0].part, "P");
  EXPECT_EQ(orders[0].by(), kOrderedAt + days(2));
  ASSERT_THAT(orders[0].needed, SizeIs(2));
  EXPECT_EQ(orders[0].needed[0].printer, "socket://b");
  EXPECT_EQ(orders[0].needed[0].place, "2nd floor");
  EXPECT_EQ(orders[0].needed[1].printer, "socket://a");
  EXPECT_EQ(orders[0].needed[1].place, std::nullopt);
  EXPECT_EQ(orders[1].part, "Q");
}

TEST(Orders, AreByNameAndTypeWithoutAPart) {
  Prospect cyan = toner("", 3);
  cyan.name = "Cyan Toner";
  Prospect ink = toner("", 4);
  ink.kind = SupplyKind::kInk;
  EXPECT_THAT(ordersOf({toner("", 1), toner("", 2), cyan, ink}), SizeIs(3));
  // A part is one kind, whatever it is called.
  Prospect sameByPart = toner("P", 3);
  sameByPart.name = "Schwarz";
  EXPECT_THAT(ordersOf({toner("P", 1), sameByPart}), SizeIs(1));
}

TEST(Orders, LeaveOutPrintersThatWereNotReadForNinetyDays) {
  PrinterProspects silent = printer("socket://a", {toner("P", {}, Attention::kEmpty)});
  silent.asOf = kOrderedAt - days(90);
  PrinterProspects nearly = printer("socket://b", {toner("P", {}, Attention::kEmpty)});
  nearly.asOf = kOrderedAt - days(90) + std::chrono::seconds(1);
  const Orders orders = ordersFor({silent, nearly}, kOrderedAt, kTwoWeeks);
  EXPECT_EQ(orders.silent, 1U);
  ASSERT_THAT(orders.list, SizeIs(1));
  EXPECT_THAT(orders.list.front().needed, SizeIs(1));
}

}  // namespace
}  // namespace moxsupply::testing
