#include "draw/Plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "draw/Label.h"
#include "kiv/values/Saturate.h"

namespace kiv::draw {
namespace {

constexpr uint32_t kPaper = 0xFF202020;
constexpr uint32_t kGrid = 0xFF3C3C3C;
constexpr int32_t kTextScale = 2;
constexpr int32_t kLeft = 110, kRight = 30, kTop = 50, kBottom = 50;
constexpr double kHalfLine = 1.2;
// A curve shows as a seam around one that lies on it.
constexpr double kSeam = 1.3;
constexpr double kMarkRadius = 4.5;
constexpr int32_t kGridLines = 8;
constexpr double kMargin = 0.05;

// The numbers along one direction, and where the first and the last of them lie.
struct Scale {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  double from = 0, to = 0;

  void Include(double value) {
    low = std::min(low, value);
    high = std::max(high, value);
  }
  double Place(double value) const { return from + (value - low) / (high - low) * (to - from); }
};

bool IsDrawable(const PointF& point) {
  constexpr double kLargest = 1e15;
  return std::fabs(point.x) < kLargest && std::fabs(point.y) < kLargest;
}

// 1, 2 or 5 times a power of ten, so that about kGridLines of them fill the scale.
double GridStep(const Scale& scale, double least) {
  const double rough = std::max((scale.high - scale.low) / kGridLines, least);
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough * (1 - 1e-9)) return factor * power;
  }
  return 10 * power;
}

class Canvas {
 public:
  explicit Canvas(session::Size size)
      : size_(size),
        bgra_(static_cast<size_t>(size.width) * static_cast<size_t>(size.height) *
              session::kBytesPerPixel) {
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) Blend({x, y}, kPaper, 1);
    }
  }

  void Blend(Point at, uint32_t colour, double cover) {
    if (at.x < 0 || at.y < 0 || at.x >= size_.width || at.y >= size_.height || cover <= 0) return;
    uint8_t* const pixel = &bgra_[(static_cast<size_t>(at.y) * static_cast<size_t>(size_.width) +
                                   static_cast<size_t>(at.x)) *
                                  4];
    for (int channel = 0; channel < 4; ++channel) {
      const double ink = colour >> (8 * channel) & 0xFF;
      const double mixed = pixel[channel] + (ink - pixel[channel]) * std::min(cover, 1.0);
      pixel[channel] = static_cast<uint8_t>(kiv::SaturateToInt32(mixed + 0.5));
    }
  }

  // Everything within `radius` of the stretch between two places; ends are round.
  void Stroke(PointF a, PointF b, double radius, uint32_t colour) {
    const auto low = [&](double p, double q) {
      return kiv::SaturateToInt32(std::floor(std::min(p, q) - radius - 1));
    };
    const auto high = [&](double p, double q) {
      return kiv::SaturateToInt32(std::ceil(std::max(p, q) + radius + 1));
    };
    for (int32_t y = std::max(low(a.y, b.y), 0); y <= std::min(high(a.y, b.y), size_.height); ++y) {
      for (int32_t x = std::max(low(a.x, b.x), 0); x <= std::min(high(a.x, b.x), size_.width);
           ++x) {
        const double distance = Distance({x + 0.5, y + 0.5}, a, b);
        Blend({x, y}, colour, radius + 0.5 - distance);
      }
    }
  }

  void Label(const std::string& text, Point at, uint32_t colour) {
    DrawLabel(text, at, kTextScale, bgra_.data(), size_, colour);
  }
  std::vector<uint8_t> Take() { return std::move(bgra_); }

 private:
  static double Distance(PointF p, PointF a, PointF b) {
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double square = dx * dx + dy * dy;
    const double along = square > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / square : 0;
    const double t = std::clamp(along, 0.0, 1.0);
    return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
  }

  session::Size size_;
  std::vector<uint8_t> bgra_;
};

class Plot {
 public:
  Plot(const std::vector<Curve>& curves, session::Size size)
      : curves_(curves), size_(size), canvas_(size) {
    for (const Curve& curve : curves) {
      Include(curve.points);
      Include(curve.marks);
    }
    if (!(across_.low <= across_.high)) across_.Include(0), up_.Include(0);
    const double largest = std::max(std::fabs(up_.low), std::fabs(up_.high));
    const double room = std::max({(up_.high - up_.low) * kMargin, largest * 1e-9, 1e-6});
    up_.low -= room;
    up_.high += room;
    if (across_.low == across_.high) across_.high += 1;
    across_.from = kLeft;
    across_.to = size.width - kRight;
    up_.from = size.height - kBottom;
    up_.to = kTop;
  }

  Picture Draw() {
    DrawGrid();
    for (size_t i = 0; i < curves_.size(); ++i) {
      DrawCurve(curves_[i], static_cast<double>(curves_.size() - 1 - i) * kSeam);
    }
    DrawLegend();
    return {size_, canvas_.Take()};
  }

 private:
  void Include(const std::vector<PointF>& points) {
    for (const PointF& point : points) {
      if (!IsDrawable(point)) continue;
      across_.Include(point.x);
      up_.Include(point.y);
    }
  }
  PointF PlaceOf(const PointF& point) const { return {across_.Place(point.x), up_.Place(point.y)}; }

  // The numbers to be shown along a scale.
  static std::vector<double> GridOf(const Scale& scale, double leastStep) {
    const double step = GridStep(scale, leastStep);
    const double first = std::ceil(scale.low / step);
    std::vector<double> numbers;
    for (int i = 0; i < 3 * kGridLines && (first + i) * step <= scale.high; ++i) {
      numbers.push_back((first + i) * step);
    }
    return numbers;
  }

  void DrawGrid() {
    for (const double frame : GridOf(across_, 1)) {
      const double place = across_.Place(frame);
      canvas_.Stroke({place, up_.from}, {place, up_.to}, 0.5, kGrid);
      const std::string text = fmt::format("{:.0f}", frame);
      const int32_t left = LabelSize(text, kTextScale).width / 2;
      canvas_.Label(text, {kiv::SaturateToInt32(place) - left, size_.height - kBottom + 12},
                    kLabelInk);
    }
    for (const double value : GridOf(up_, 1e-9)) {
      const double place = up_.Place(value);
      canvas_.Stroke({across_.from, place}, {across_.to, place}, 0.5, kGrid);
      const std::string text = fmt::format("{:.6g}", value);
      const int32_t left = kLeft - 10 - LabelSize(text, kTextScale).width;
      canvas_.Label(text, {left, kiv::SaturateToInt32(place) - kGlyphHeight}, kLabelInk);
    }
  }

  void DrawCurve(const Curve& curve, double seam) {
    for (size_t i = 1; i < curve.points.size(); ++i) {
      if (!IsDrawable(curve.points[i - 1]) || !IsDrawable(curve.points[i])) continue;
      canvas_.Stroke(PlaceOf(curve.points[i - 1]), PlaceOf(curve.points[i]), kHalfLine + seam,
                     curve.colour);
    }
    for (const PointF& mark : curve.marks) {
      if (!IsDrawable(mark)) continue;
      canvas_.Stroke(PlaceOf(mark), PlaceOf(mark), kMarkRadius + seam, curve.colour);
    }
  }

  void DrawLegend() {
    int32_t x = kLeft;
    for (const Curve& curve : curves_) {
      canvas_.Label(curve.name, {x, kTop / 2 - kGlyphHeight}, curve.colour);
      x += LabelSize(curve.name + "   ", kTextScale).width;
    }
    const std::string frames = "frame";
    canvas_.Label(
        frames,
        {size_.width - kRight - LabelSize(frames, kTextScale).width, kTop / 2 - kGlyphHeight},
        kLabelInk);
  }

  const std::vector<Curve>& curves_;
  const session::Size size_;
  Canvas canvas_;
  Scale across_, up_;
};

}  // namespace

Picture DrawPlot(const std::vector<Curve>& curves, session::Size size) {
  return Plot(curves, size).Draw();
}

}  // namespace kiv::draw
