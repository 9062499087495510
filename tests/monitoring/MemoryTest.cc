#include <gtest/gtest.h>

#include <chrono>
#include <new>
#include <string>

#include "history/Store.h"
#include "monitoring/Memory.h"
#include "tests/support/MadeReading.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

// It would use up the processor, and the memory does not come back for that.
TEST(Memory, WaitsALittleWhereThereIsTooLittleMemory) {
  const std::string hall = "socket://hall";
  const TemporaryFolder folder;
  const std::string path = folder.path() / "store";
  {
    Store store = Store::openToWrite(path).value();
    const auto added = store.change([&] {
      return store.add(madeReading("2026-01-01T12:00:00Z", {madeReadSupply({})}, hall))
          .map([](auto) {});
    });
    ASSERT_TRUE(added) << added.error().what;
  }
  Memory memory(path, {.wake = [] {},
                       .post = [](const Memory::News&) { throw std::bad_alloc(); },
                       .restored = [](const auto&, const Instant&) {},
                       .loaded = [] {},
                       .log = [](const std::string&) {}});
  memory.setList({{.target = hall, .uri = hall, .kind = {}, .name = "Hall", .place = ""}});
  const Instant now = Instant::now();
  memory.proceed(now);
  EXPECT_GT(memory.nextMove(), now.time);
  EXPECT_LT(memory.nextMove(), now.time + 1s);
}

}  // namespace
}  // namespace moxsupply::testing
