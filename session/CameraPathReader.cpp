#include "session/CameraPathReader.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

#include "engine/motion/CameraPath.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/values/TextScan.h"
#include "session/Fail.h"

namespace kiv::session {
namespace {

constexpr double kStoredSteps = 10000.0;
constexpr int32_t kTextCapacity = 64;

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
  stored->GetSize(KivKey::MotionData::kSize, &measured.size);
  for (int64_t i = 0;; ++i) {
    wchar_t text[kTextCapacity] = {};
    const std::wstring key = KivKey::MotionData::Entry(i);
    if (Failed(stored->GetString(key.c_str(), text, kTextCapacity))) return measured;
    measured.motions.push_back(MotionOf(text));
  }
}

CameraPose TurnedAndMoved(const CameraPose& pose, double by, double dx, double dy) {
  const double a = by * std::numbers::pi / 180;
  return {std::cos(a) * pose.x - std::sin(a) * pose.y + dx,
          std::sin(a) * pose.x + std::cos(a) * pose.y + dy, pose.degrees + by};
}

}  // namespace

CameraPath CameraPathOf(IKivProperties* settings, int32_t level) {
  const Measured measured = ReadMotions(settings);
  const auto corrections = kiv::CorrectionsFor(measured.motions, measured.size, level);
  CameraPath path;
  CameraPose at;
  for (size_t i = 0; i < measured.motions.size(); ++i) {
    const StabMotion& m = measured.motions[i];
    const bool cut = IsStabCut(m);
    at = cut ? CameraPose{} : TurnedAndMoved(at, m.da, m.dx, m.dy);
    path.measured.push_back(at);
    const kiv::Correction& c = corrections[i];
    path.steady.push_back(TurnedAndMoved(at, c.degrees, c.dx, c.dy));
    path.beginsShot.push_back(cut);
  }
  return path;
}

}  // namespace kiv::session
