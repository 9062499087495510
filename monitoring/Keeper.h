#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "history/Moment.h"
#include "history/Reading.h"
#include "history/Store.h"
#include "monitoring/RememberedPrinter.h"
#include "text/Problem.h"

namespace moxsupply {

// What the exporter keeps in its store, and finds there again. Waits for locks and disks, so that
// it has a thread of its own (see Memory).
//
// A reading is added when something in it differs from the last one of its printer, and one a day
// otherwise. When a printer answers the same as before, that is noted about once a minute.
class Keeper {
 public:
  using Clock = std::chrono::steady_clock;

  // Between two notes of who answered.
  static constexpr std::chrono::seconds kNoteEvery{60};

  // What happened longer ago is no news any more, where nobody was to be told so far.
  static constexpr std::chrono::hours kNews{24};

  // Whether somebody is to be told what happens (see Notice).
  enum class Notices : bool { kNo, kYes };

  explicit Keeper(std::string path, Notices makesNotices = Notices::kNo)
      : mPath(std::move(path)), mMakesNotices(makesNotices) {}

  // Takes readings, in the order in which they came, all of them or, with a problem, none. Returns
  // the printers of which the store has others than before.
  [[nodiscard]] Result<std::set<std::string>> keep(std::span<const Reading> readings,
                                                   Clock::time_point now);

  // Writes down who answered. To be called at `nextNote` at the latest, and at the end.
  [[nodiscard]] Result<> note(Clock::time_point now);
  [[nodiscard]] Clock::time_point nextNote() const;

  // Gives the last reading of a printer, and when it answered so last; or nothing.
  struct Last {
    Reading reading;
    Moment answered;
  };
  [[nodiscard]] Result<std::optional<Last>> last(const std::string& printer);

  // See rememberedPrinter. What is new in it becomes notices.
  [[nodiscard]] Result<std::optional<RememberedPrinter>> recall(
      const std::string& printer, Moment now, const std::function<bool()>& isOver);

  // Makes a notice of a printer that has fallen silent, or answers again. Who answers again before
  // anybody was told of the former is not told of.
  [[nodiscard]] Result<> noteSilence(const std::string& printer, bool isSilent, Moment now);

  // What nobody has been told yet; and that somebody was, up to and with this one.
  [[nodiscard]] Result<std::vector<Notice>> notices();
  [[nodiscard]] Result<> told(std::int64_t last);

  // What has to be said of the readings that were kept: one line, once. Empty where there is
  // nothing.
  [[nodiscard]] std::string takeRemark() { return std::exchange(mRemark, {}); }

 private:
  enum class For : bool { kReading, kWriting };

  [[nodiscard]] Result<Store*> store(For purpose);
  [[nodiscard]] Result<Store*> storeToKeepIn();
  Result<bool> keepOne(Store& store, Reading reading);
  Result<> writeNotes(Store& store);
  Result<> noteNews(const std::string& printer, const std::vector<SupplyEvent>& news, Moment now);

  std::string mPath;
  Notices mMakesNotices;
  std::optional<Store> mStore;
  For mOpenFor = For::kReading;
  dev_t mDevice = 0;  // of the file that is open
  ino_t mNumber = 0;
  bool mIsWhole = false;                   // it was looked at
  std::map<std::string, Moment> mAnswers;  // not noted yet
  std::optional<Clock::time_point> mFirstAnswer;
  std::string mRemark;
  bool mHasSpokenOfClock = false;
};

}  // namespace moxsupply
