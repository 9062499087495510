#include "monitoring/Digest.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "json/AsciiJson.h"

namespace moxsupply {

std::optional<std::chrono::milliseconds> untilDigest(const std::vector<Notice>& notices,
                                                     std::chrono::seconds every, Moment now) {
  using std::chrono::milliseconds;
  // What empties or takes out one cartridge often does so to its neighbours.
  constexpr milliseconds kNearlyAtOnce(1'000);
  if (notices.empty()) return std::nullopt;
  const milliseconds longest = every;
  if (std::ranges::any_of(notices, &Notice::isUrgent)) return std::min(kNearlyAtOnce, longest);
  const auto passed =
      std::chrono::duration_cast<milliseconds>(between(notices.front().moment, now));
  // The clock may have been set.
  return std::clamp(longest - passed, milliseconds(0), longest);
}

std::string digestOf(const std::vector<Notice>& notices, const std::string& site, Moment now) {
  using Json = nlohmann::ordered_json;
  Json digest = {{"time", momentAsText(now)},
                 {"site", site},
                 {"events", Json::array()},
                 {"silent", Json::array()},
                 {"back", Json::array()}};
  for (const Notice& notice : notices) {
    switch (notice.kind) {
      case Notice::Kind::kEvent:
        if (auto event = Json::parse(notice.event, nullptr, /*allow_exceptions=*/false);
            !event.is_discarded()) {
          digest["events"].push_back(std::move(event));
        }
        break;
      case Notice::Kind::kGone:
        digest["silent"].push_back(notice.printer);
        break;
      case Notice::Kind::kBack:
        digest["back"].push_back(notice.printer);
        break;
    }
  }
  return asciiJson(digest) + '\n';
}

}  // namespace moxsupply
