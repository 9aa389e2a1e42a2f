#include "engine/motion/StabilizerAlgorithm.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

#include "engine/base/Boundary.h"
#include "engine/motion/Warp.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/PictureFacts.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// Frames that may be missing between two that are analysed.
constexpr int64_t kMostSkipped = 10000;
constexpr double kStoredSteps = 10000.0;

struct Picture {
  const uint8_t* pixels = nullptr;
  KivSize size;
};

std::optional<Picture> PictureOf(IKivFrame* frame) {
  KivFrameDescription about;
  const auto* const pixels = static_cast<const uint8_t*>(KivCommon::ReadPixels(frame));
  if (!pixels || Failed(frame->GetDescription(&about))) return std::nullopt;
  if (about.pixelLayout != KivPixelLayout::kStraight) return std::nullopt;
  return Picture{pixels, {about.width, about.height}};
}

// Onto the grid of stored values, on the side from which cutting off comes back to the same.
double Storable(double value) {
  const double steps = std::round(value * kStoredSteps);
  const double stored = steps / kStoredSteps;
  if (std::trunc(stored * kStoredSteps) == steps) return stored;
  return std::nextafter(stored, std::copysign(INFINITY, stored));
}

// The inverse of what Correction says, in pixels of a frame that may be smaller than the source.
WarpMap MapOf(const Correction& correction, const KivSize& source, const KivSize& frame) {
  const double scaleX = static_cast<double>(frame.width) / source.width;
  const double scaleY = static_cast<double>(frame.height) / source.height;
  const double a = correction.degrees * std::numbers::pi / 180;
  const double c = std::cos(a) / correction.zoom, s = std::sin(a) / correction.zoom;
  WarpMap map;
  map.xx = c;
  map.xy = s * scaleX / scaleY;
  map.yx = -s * scaleY / scaleX;
  map.yy = c;
  const double centreX = (frame.width - 1) / 2.0, centreY = (frame.height - 1) / 2.0;
  const double cosine = std::cos(a), sine = std::sin(a);
  const double shiftX = -scaleX * (cosine * correction.dx + sine * correction.dy);
  const double shiftY = -scaleY * (cosine * correction.dy - sine * correction.dx);
  map.x0 = centreX + shiftX - map.xx * centreX - map.xy * centreY;
  map.y0 = centreY + shiftY - map.yx * centreX - map.yy * centreY;
  return map;
}

bool ChangesNothing(const Correction& c) {
  return c.zoom == 1 && c.dx == 0 && c.dy == 0 && c.degrees == 0;
}

}  // namespace

HRESULT CStabilizerAlgorithm::Begin(const KivSize* frameSize) {
  if (!frameSize) return E_POINTER;
  if (frameSize->width < 1 || frameSize->height < 1) return E_INVALIDARG;
  const MutexLock analysis(analysisLock_);
  const MutexLock data(dataLock_);
  ForgetLocked(*frameSize);
  return S_OK;
}

void CStabilizerAlgorithm::ForgetLocked(const KivSize& size) {
  analysisSize_ = sourceSize_ = size;
  analyser_.reset();
  data_ = {};
  plan_.reset();
}

HRESULT CStabilizerAlgorithm::StartAnalysis() {
  return AtBoundary([&] {
    const MutexLock held(analysisLock_);
    if (analysisSize_ == KivSize{}) return E_NOTREADY;
    analyser_ = std::make_unique<MotionAnalyser>(analysisSize_);
    return S_OK;
  });
}

// Frames that the source could not give stand still.
HRESULT CStabilizerAlgorithm::SkipToLocked(int32_t index) {
  const size_t have = analyser_->Motions().size();
  if (have == 0) firstIndex_ = index;
  const int64_t missing = int64_t{index} - firstIndex_ - static_cast<int64_t>(have);
  if (missing < 0 || missing > kMostSkipped) return E_INVALIDARG;
  for (int64_t i = 0; i < missing; ++i) analyser_->AddNothing();
  return S_OK;
}

HRESULT CStabilizerAlgorithm::AnalyseFrame(IKivFrame* frame, int32_t index) {
  return AtBoundary([&] {
    const MutexLock held(analysisLock_);
    if (!analyser_) return E_NOTREADY;
    if (const HRESULT hr = SkipToLocked(index); Failed(hr)) return hr;
    const std::optional<Picture> picture = PictureOf(frame);
    if (!picture) {
      analyser_->AddNothing();
      return S_FALSE;
    }
    analyser_->Add(picture->pixels, picture->size);
    return S_OK;
  });
}

HRESULT CStabilizerAlgorithm::CollectResult(StabData* result) {
  return AtBoundary([&] {
    const MutexLock held(analysisLock_);
    const std::unique_ptr<MotionAnalyser> done = std::move(analyser_);
    if (!done || done->Motions().empty() || !result) return S_FALSE;
    StabData all;
    all.first = firstIndex_;
    all.last = ClampToInt32(firstIndex_ + static_cast<int64_t>(done->Motions().size()) - 1);
    for (const StabMotion& m : done->Motions()) {
      all.motions.push_back({Storable(m.dx), Storable(m.dy), Storable(m.da)});
    }
    *result = std::move(all);
    return S_OK;
  });
}

HRESULT CStabilizerAlgorithm::SetData(const StabData* data) {
  return AtBoundary([&] {
    StabData copy = data ? *data : StabData{};
    const MutexLock held(dataLock_);
    std::swap(data_, copy);
    plan_.reset();
    return S_OK;
  });
}

HRESULT CStabilizerAlgorithm::FindCorrection(int32_t index, int32_t level, Correction* found,
                                             KivSize* sourceSize) {
  const MutexLock held(dataLock_);
  const auto count = static_cast<int64_t>(data_.motions.size());
  if (count == 0 || sourceSize_ == KivSize{}) return E_NOTREADY;
  const int64_t at = int64_t{index} - data_.first;
  if (at < -kStabIndexTolerance || at >= count + kStabIndexTolerance) return E_NOTFOUND;
  if (!plan_ || plan_->level != level) {
    plan_ = Plan{level, CorrectionsFor(data_.motions, sourceSize_, level)};
  }
  *found = plan_->corrections[static_cast<size_t>(std::clamp<int64_t>(at, 0, count - 1))];
  *sourceSize = sourceSize_;
  return S_OK;
}

HRESULT CStabilizerAlgorithm::CorrectFrame(IKivFrame* input, IKivFrame* output, int32_t index,
                                           int32_t level) {
  if (!input || !output) return E_POINTER;
  return AtBoundary([&] {
    const std::optional<Picture> from = PictureOf(input), to = PictureOf(output);
    if (!from || !to || input == output || from->size != to->size) return E_INVALIDARG;
    Correction correction;
    KivSize sourceSize;
    const HRESULT hr = FindCorrection(index, level, &correction, &sourceSize);
    if (Failed(hr)) return hr;
    auto* const pixels = static_cast<uint8_t*>(KivCommon::PixelsToFill(output));
    if (!pixels) return E_OUTOFMEMORY;
    if (ChangesNothing(correction)) {
      std::memcpy(pixels, from->pixels, PictureBytesOf(from->size));
      return S_OK;
    }
    WarpPicture(from->pixels, from->size, MapOf(correction, sourceSize, from->size), pixels);
    return S_OK;
  });
}

HRESULT CStabilizerAlgorithm::ReleaseState() {
  const MutexLock analysis(analysisLock_);
  const MutexLock data(dataLock_);
  ForgetLocked({});
  return S_OK;
}

HRESULT CreateStabilizerAlgorithmObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CStabilizerAlgorithm>(outer, iid, object);
}

}  // namespace kiv
