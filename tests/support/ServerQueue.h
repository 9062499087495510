#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace moxsupply::testing {

// A print queue as the print server keeps it: a model of what it makes of its filters' messages.
// Options are taken apart by libcups, as there.
class ServerQueue {
 public:
  struct Message {
    std::string kind;  // "ATTR", "STATE", "ERROR", "WARNING", "INFO"; or "DEBUG" for all others
    std::string text;

    friend bool operator==(const Message&, const Message&) = default;
  };

  // Takes in what a filter wrote to its standard error.
  void hear(std::string_view standardError);

  // Writes the attributes to a file and reads them back, as a restart of the print server does.
  void restart();

  // The attribute's values; empty while it has none. `name`: "marker-names", "marker-message".
  [[nodiscard]] std::vector<std::string> values(const std::string& name) const;
  [[nodiscard]] std::vector<int> numbers(const std::string& name) const;
  [[nodiscard]] std::string message() const;  // marker-message, with all its values

  [[nodiscard]] const std::set<std::string>& reasons() const { return mReasons; }

  // The messages of the last call of `hear`, in their order.
  [[nodiscard]] const std::vector<Message>& messages() const { return mMessages; }
  [[nodiscard]] std::vector<std::string> messages(std::string_view kind) const;

 private:
  void setAttributes(const std::string& options);
  void setReasons(std::string_view text);

  std::map<std::string, std::vector<std::string>> mAttributes;
  std::set<std::string> mReasons;
  std::vector<Message> mMessages;
};

}  // namespace moxsupply::testing
