#include "draw/CameraPlot.h"

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "draw/Plot.h"

namespace kiv::draw {
namespace {

using session::CameraPath;
using session::CameraPose;

constexpr session::Size kPanel{1280, 320};
constexpr int32_t kPanels = 3;
constexpr uint32_t kRawColour = 0xFFFF6B81;
constexpr uint32_t kSmoothColour = 0xFF59D36B;

struct Panel {
  const char* name;
  double CameraPose::*value;
};
constexpr Panel kPanelRows[kPanels] = {
    {"x", &CameraPose::x}, {"y", &CameraPose::y}, {"angle", &CameraPose::degrees}};

Curve CurveOf(const std::vector<CameraPose>& path, const std::vector<bool>& begins,
              double CameraPose::*value) {
  constexpr double kGap = std::numeric_limits<double>::quiet_NaN();
  Curve curve;
  for (size_t i = 0; i < path.size(); ++i) {
    const auto frame = static_cast<double>(i);
    if (begins[i]) curve.points.push_back({frame, kGap});
    curve.points.push_back({frame, path[i].*value});
  }
  return curve;
}

Picture DrawPanel(const CameraPath& path, const Panel& panel) {
  std::vector<Curve> curves;
  curves.push_back(CurveOf(path.measured, path.beginsShot, panel.value));
  curves.back().name = std::string(panel.name) + " raw";
  curves.back().colour = kRawColour;
  curves.push_back(CurveOf(path.steady, path.beginsShot, panel.value));
  curves.back().name = std::string(panel.name) + " smooth";
  curves.back().colour = kSmoothColour;
  return DrawPlot(curves, kPanel);
}

}  // namespace

Picture DrawCameraPath(const CameraPath& path) {
  Picture plot{{kPanel.width, kPanels * kPanel.height}, {}};
  for (const Panel& panel : kPanelRows) {
    const Picture rows = DrawPanel(path, panel);
    plot.bgra.insert(plot.bgra.end(), rows.bgra.begin(), rows.bgra.end());
  }
  return plot;
}

}  // namespace kiv::draw
