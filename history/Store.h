#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "history/Moment.h"
#include "history/Reading.h"
#include "text/Problem.h"

namespace moxsupply {

// What somebody is to be told of a printer, and has not been yet.
struct Notice {
  enum class Kind : std::uint8_t { kEvent, kGone, kBack };  // silent, and no more

  std::int64_t id = 0;  // in the order in which they came; of no use before it is stored
  Kind kind = Kind::kEvent;
  std::string printer;
  Moment moment;  // since when it is to be told
  bool isUrgent = false;
  std::string event = {};  // as a line of JSON; of others empty
};

// The readings of many printers, in one SQLite file that several processes may have open. What is
// in it is whole whenever a process is killed; what that one left unfinished there is not read.
//
// A lock is waited for, for 15 seconds. Every other way in which a store cannot be used comes back
// at once, as a problem of one line that names the file; and a file that is damaged stays as it is.
class Store {
 public:
  // Of a store that is there. Writes nothing, neither into its file nor beside it, so that a file
  // or a folder that is read-only can be read as well.
  [[nodiscard]] static Result<Store> openToRead(const std::string& name);

  // Makes the store where there is none.
  [[nodiscard]] static Result<Store> openToWrite(const std::string& name);

  Store(Store&&) noexcept;
  Store& operator=(Store&&) noexcept;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  // Whether the whole file is as it was written. Reads all of it.
  [[nodiscard]] Result<> check();

  // Runs `changes`, which call the functions that change something; all that they did is undone
  // when they return a problem.
  [[nodiscard]] Result<> change(const std::function<Result<>()>& changes);

  enum class Added : bool { kNo, kYes };

  // Adds the next reading of its printer, unless it is there already. Refuses one that is earlier
  // than the last one, or differs from one of the same time.
  [[nodiscard]] Result<Added> add(const Reading& reading);

  // Takes the readings of a printer out that are after a moment. Returns how many there were.
  [[nodiscard]] Result<std::size_t> takeOutAfter(const std::string& printer, Moment moment);

  // Notes when a printer answered the same as its last reading, until there is another one, and
  // tells it. Nothing: it was not noted, or there is no such printer.
  [[nodiscard]] Result<> noteAnswer(const std::string& printer, Moment moment);
  [[nodiscard]] Result<std::optional<Moment>> answer(const std::string& printer);

  // Until when what happened to a printer's cartridges has become notices. Nothing: none ever has.
  [[nodiscard]] Result<> setTold(const std::string& printer, Moment moment);
  [[nodiscard]] Result<std::optional<Moment>> told(const std::string& printer);

  // Notes whether a printer is silent. Returns whether that is another thing than before.
  [[nodiscard]] Result<bool> setSilent(const std::string& printer, bool isSilent);

  // At most kMostNotices, the first ones.
  static constexpr std::size_t kMostNotices = 10'000;
  [[nodiscard]] Result<std::vector<Notice>> notices();
  [[nodiscard]] Result<> addNotice(const Notice& notice);

  // Takes out those up to and with an id; or those of a kind, of one printer, and returns whether
  // there were any.
  [[nodiscard]] Result<> takeOutNotices(std::int64_t last);
  [[nodiscard]] Result<bool> takeOutNotices(const std::string& printer, Notice::Kind kind);

  // What is done with each reading; a problem ends it.
  using Take = std::function<Result<>(const Reading& reading)>;

  struct Which {
    std::optional<std::string> printer = {};  // its name; all without
    std::optional<Moment> since = {};         // this moment and later
    std::optional<Moment> until = {};         // this moment and before
  };

  // Gives readings in the order of time. Unless that is part of a change, nothing is locked while
  // `take` runs.
  [[nodiscard]] Result<> forEach(const Which& which, const Take& take);

  // Gives the last reading of each printer, or of one, by the printers' names.
  [[nodiscard]] Result<> forEachLast(const std::optional<std::string>& printer, const Take& take);

 private:
  class File;
  explicit Store(std::unique_ptr<File> file);

  std::unique_ptr<File> mFile;
};

}  // namespace moxsupply
