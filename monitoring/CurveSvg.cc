#include "monitoring/CurveSvg.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string_view>
#include <utility>
#include <vector>

namespace moxsupply {

namespace {

using std::chrono::seconds;

struct Place {
  int x = 0;
  int y = 0;
};

// Where moments and levels are in a picture of so many units.
class Scale {
 public:
  Scale(int width, int height, Moment begin, Moment end)
      : mWidth(width), mHeight(height), mBegin(begin), mDays(daysBetween(begin, end)) {}

  [[nodiscard]] Place at(Moment moment, int level) const {
    constexpr double kFull = 100;
    static constexpr double kFarOut = 1000;  // of the picture
    const double part = mDays > 0 ? daysBetween(mBegin, moment) / mDays : 0;
    const auto units = [](double number, int most) {
      return static_cast<int>(std::lround(std::clamp(number, 0.0, kFarOut) * most));
    };
    return {units(part, mWidth), units(1 - level / kFull, mHeight)};
  }

 private:
  int mWidth;
  int mHeight;
  Moment mBegin;
  double mDays;
};

Moment momentOf(const Curve& curve, const Curve::Point& point) {
  return curve.begin + seconds(point.seconds);
}

// One line of a path through some places. A place alone is a dot, as lines have round ends.
std::string lineThrough(const std::vector<Place>& places) {
  std::string path = fmt::format("M{} {}", places.front().x, places.front().y);
  if (places.size() == 1) return path + "h0";
  for (std::size_t i = 1; i < places.size(); ++i) {
    const int down = places[i].y - places[i - 1].y;
    path += fmt::format("{}{}{}{}", i == 1 ? "l" : " ", places[i].x - places[i - 1].x,
                        down < 0 ? "" : " ", down);
  }
  return path;
}

// Points with levels that follow one another, as one line each.
std::string pathOf(const Curve& curve, const Scale& scale) {
  std::string path;
  std::vector<Place> places;
  const auto end = [&] {
    if (!places.empty()) path += lineThrough(std::exchange(places, {}));
  };
  for (const Curve::Point& point : curve.points) {
    if (point.level) {
      places.push_back(scale.at(momentOf(curve, point), *point.level));
    } else {
      end();
    }
  }
  end();
  return path;
}

std::vector<Curve::Point> knownOf(const Curve& curve) {
  std::vector<Curve::Point> known;
  std::ranges::copy_if(curve.points, std::back_inserter(known),
                       [](const Curve::Point& point) { return point.level.has_value(); });
  return known;
}

// How often the line is broken.
std::size_t gapsIn(const Curve& curve) {
  std::size_t gaps = 0;
  for (std::size_t i = 1; i < curve.points.size(); ++i) {
    gaps += curve.points[i - 1].level && !curve.points[i].level ? 1U : 0U;
  }
  return gaps;
}

// What the picture shows, for who does not see it.
std::string inWords(const Curve& curve, const std::vector<Curve::Point>& known) {
  const std::size_t gaps = gapsIn(curve);
  return fmt::format("<title>Level since {}</title><desc>From {} % to {} % on {}{}.</desc>",
                     dayOf(curve.begin), *known.front().level, *known.back().level,
                     dayOf(momentOf(curve, known.back())),
                     gaps == 0 ? "" : fmt::format("; for {} times not known", gaps));
}

}  // namespace

std::string smallCurve(const Curve& curve, Color color) {
  const auto known = knownOf(curve);
  if (known.size() < 2) return {};
  constexpr int kWidth = 120;
  constexpr int kHeight = 30;
  const Scale scale(kWidth, kHeight, curve.begin, momentOf(curve, curve.points.back()));
  return fmt::format(
      "<svg class=\"curve {}\" role=img viewBox=\"-2 -2 124 34\" preserveAspectRatio=none>{}"
      "<path d=\"{}\"/></svg>\n",
      styleOf(color), inWords(curve, known), pathOf(curve, scale));
}

std::string largeCurve(const Curve& curve, Color color, const std::optional<EmptyAt>& ahead) {
  const auto known = knownOf(curve);
  if (known.size() < 2) return {};
  constexpr int kWidth = 600;
  constexpr int kHeight = 150;
  const Moment last = momentOf(curve, curve.points.back());
  const Curve::Point& now = known.back();
  Moment end = last;
  // What is to come has at most as much room as what was.
  if (ahead) end = std::clamp(ahead->latest, last, last + (last - curve.begin));
  const Scale scale(kWidth, kHeight, curve.begin, end);
  std::string forecast;
  if (ahead && ahead->latest > momentOf(curve, now)) {
    const Place from = scale.at(momentOf(curve, now), *now.level);
    const auto empty = [&](Moment moment) { return scale.at(moment, 0); };
    forecast = fmt::format(
        "<path class=fan d=\"M{0} {1}L{2} {5} {3} {5}Z\"/><path class=ahead d=\"M{0} {1}L{4} "
        "{5}\"/>",
        from.x, from.y, empty(ahead->earliest).x, empty(ahead->latest).x, empty(ahead->likely).x,
        kHeight);
  }
  return fmt::format(
      "<svg class=\"curve large {}\" role=img viewBox=\"-4 -4 608 158\" preserveAspectRatio=none>{}"
      "<path class=grid d=\"M0 0h600M0 75h600M0 150h600\"/>{}<path d=\"{}\"/></svg>\n"
      "<p class=axis><span>{}</span><span>{}</span></p>\n",
      styleOf(color), inWords(curve, known), forecast, pathOf(curve, scale), dayOf(curve.begin),
      dayOf(end));
}

std::string_view styleOf(Color color) {
  switch (color) {
    case Color::kNone:
      return "plain";
    case Color::kCyan:
      return "cyan";
    case Color::kMagenta:
      return "magenta";
    case Color::kYellow:
      return "yellow";
    case Color::kBlack:
      return "black";
    case Color::kThreeColors:
      return "three";
    case Color::kPhoto:
      break;
  }
  return "photo";
}

}  // namespace moxsupply
