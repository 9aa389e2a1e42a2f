#include "draw/CameraPlot.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <string>

#include "draw/Plot.h"
#include "engine/motion/CameraPath.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/values/NumberText.h"
#include "kiv/values/Saturate.h"
#include "kiv/values/TextScan.h"
#include "session/Fail.h"

namespace host {
namespace {

constexpr KivSize kPanel{1280, 320};
constexpr int32_t kPanels = 3;
constexpr double kStoredSteps = 10000.0;
constexpr int32_t kTextCapacity = 64;
constexpr uint32_t kRawColour = 0xFFFF6B81;
constexpr uint32_t kSmoothColour = 0xFF59D36B;

struct Measured {
  KivSize size;
  std::vector<StabMotion> motions;
};

// "dx:5000,-12500y,da:10"
StabMotion MotionOf(std::wstring_view text) {
  kiv::TextScan scan(text);
  int64_t dx = 0, dy = 0, da = 0;
  const bool across = scan.Literal(L"dx:") && scan.Integer(&dx) && scan.Literal(L",");
  if (across && scan.Integer(&dy) && scan.Literal(L"y,da:")) scan.Integer(&da);
  return {static_cast<double>(dx) / kStoredSteps, static_cast<double>(dy) / kStoredSteps,
          static_cast<double>(da) / kStoredSteps};
}

Measured ReadMotions(IKivProperties* settings) {
  KivComPtr<IUnknown> object;
  settings->GetObject(KivKey::Stabilization::kAnalyzedDataStr, object.Put());
  const auto stored = object.As<IKivProperties>();
  if (!stored) FailRun("there is no motion data to draw");
  Measured measured;
  stored->GetSize(L"Stab.oSize", &measured.size);
  for (int64_t i = 0;; ++i) {
    wchar_t text[kTextCapacity] = {};
    std::wstring key = L"Stab-Data-";
    kiv::AppendInteger(&key, i);
    if (Failed(stored->GetString(key.c_str(), text, kTextCapacity))) return measured;
    measured.motions.push_back(MotionOf(text));
  }
}

// Where the content of a shot's first frame lies.
struct Pose {
  double x = 0, y = 0, degrees = 0;

  Pose TurnedAndMoved(double by, double dx, double dy) const {
    const double a = by * std::numbers::pi / 180;
    return {std::cos(a) * x - std::sin(a) * y + dx, std::sin(a) * x + std::cos(a) * y + dy,
            degrees + by};
  }
};

struct Panel {
  const char* name;
  double Pose::*value;
};
constexpr Panel kPanelRows[kPanels] = {{"x", &Pose::x}, {"y", &Pose::y}, {"angle", &Pose::degrees}};

struct Paths {
  std::vector<Pose> raw, smooth;
  std::vector<bool> begins;  // a shot
};

Paths PathsOf(const Measured& measured, int32_t level) {
  const auto corrections = kiv::CorrectionsFor(measured.motions, measured.size, level);
  Paths paths;
  Pose at;
  for (size_t i = 0; i < measured.motions.size(); ++i) {
    const StabMotion& m = measured.motions[i];
    const bool cut = IsStabCut(m);
    at = cut ? Pose{} : at.TurnedAndMoved(m.da, m.dx, m.dy);
    paths.raw.push_back(at);
    const kiv::Correction& c = corrections[i];
    paths.smooth.push_back(at.TurnedAndMoved(c.degrees, c.dx, c.dy));
    paths.begins.push_back(cut);
  }
  return paths;
}

Curve CurveOf(const std::vector<Pose>& path, const std::vector<bool>& begins, double Pose::*value) {
  constexpr double kGap = std::numeric_limits<double>::quiet_NaN();
  Curve curve;
  for (size_t i = 0; i < path.size(); ++i) {
    const auto frame = static_cast<double>(i);
    if (begins[i]) curve.points.push_back({frame, kGap});
    curve.points.push_back({frame, path[i].*value});
  }
  return curve;
}

std::vector<uint8_t> DrawPanel(const Paths& paths, const Panel& panel) {
  std::vector<Curve> curves;
  curves.push_back(CurveOf(paths.raw, paths.begins, panel.value));
  curves.back().name = std::string(panel.name) + " raw";
  curves.back().colour = kRawColour;
  curves.push_back(CurveOf(paths.smooth, paths.begins, panel.value));
  curves.back().name = std::string(panel.name) + " smooth";
  curves.back().colour = kSmoothColour;
  return DrawPlot(curves, kPanel);
}

}  // namespace

CameraPlot DrawCameraPath(IKivProperties* settings, int32_t level) {
  const Paths paths = PathsOf(ReadMotions(settings), level);
  CameraPlot plot{{kPanel.width, kPanels * kPanel.height}, {}};
  for (const Panel& panel : kPanelRows) {
    const std::vector<uint8_t> rows = DrawPanel(paths, panel);
    plot.bgra.insert(plot.bgra.end(), rows.begin(), rows.end());
  }
  return plot;
}

}  // namespace host
