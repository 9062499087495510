#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "history/Store.h"

namespace boost::asio {
class io_context;
}

namespace moxsupply {

// Tells somebody of notices, by a command of the shell that gets a digest of them on its standard
// input. Where it does not end with 0 within a minute, it has not worked, and is tried again.
class Notifier {
 public:
  struct Settings {
    std::string command = {};  // empty: nobody is told anything
    std::chrono::seconds every = std::chrono::hours(24);
    std::chrono::seconds patience{60};
  };

  // `told`: called with the last notice that somebody was told of. `log`: with what went wrong.
  Notifier(boost::asio::io_context& context, Settings settings,
           std::function<void(std::int64_t)> told, std::function<void(const std::string&)> log);

  // Kills the command, if it runs.
  ~Notifier();

  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;
  Notifier(Notifier&&) = delete;
  Notifier& operator=(Notifier&&) = delete;

  // All that there are now.
  void setNotices(std::vector<Notice> notices);

 private:
  class Parts;
  std::unique_ptr<Parts> mParts;
};

}  // namespace moxsupply
