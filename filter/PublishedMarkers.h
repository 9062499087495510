#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace moxsupply {

// What a queue's last report has published, so that it is not published again while it holds: every
// publication makes the print server raise an event, write its printers to disk, and hold one more
// copy of the descriptions. Remembered in the print server's cache folder; where that cannot be
// read or written, everything counts as changed. What was remembered before the print server
// started, or before the queue got its present PPD file, does not count.
class PublishedMarkers {
 public:
  // `cacheFolder`: CUPS_CACHEDIR; `queue`: the queue's name; `ppdPath`: its PPD file.
  PublishedMarkers(const std::string& cacheFolder, const std::string& queue,
                   const std::string& ppdPath);

  // Publishes the six lists if they are not what was published last. Where the levels alone have
  // changed, they are published alone: with each list of names the print server adds one more copy
  // of the descriptions to the printer.
  void publishLists(const std::vector<std::string>& lines);

  // Publishes the message of a new report, also the former: the print server tells by the last
  // publication how old the levels are.
  void publishMessage(const std::string& line);

  // Whether levels of this queue were published before, also by an earlier print server.
  [[nodiscard]] bool hasLevels() const { return mHasLevels; }

  // When the printer last answered; nothing where that was before it was remembered.
  [[nodiscard]] std::optional<std::chrono::sys_seconds> reported() const { return mReported; }

  // Remembers nothing any more.
  void forget();

  // Publishes the message if it is not what was published last.
  void publishNewMessage(const std::string& line);

 private:
  void save() const;

  std::string mPath;
  std::string mOrigin;  // of what is remembered: print server and PPD file
  std::string mLists;
  std::string mMessage;
  bool mHasLevels = false;
  std::optional<std::chrono::sys_seconds> mReported;
};

}  // namespace moxsupply
