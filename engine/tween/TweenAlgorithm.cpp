#include "engine/tween/TweenAlgorithm.h"

#include <cstring>
#include <utility>

#include "engine/base/Boundary.h"
#include "kiv/platform/Logger.h"
#include "kiv/platform/PictureFacts.h"

namespace kiv::tween {
namespace {

TweenMode ModeOf(uint32_t value) {
  if (value <= static_cast<uint32_t>(TweenMode::kFine)) return static_cast<TweenMode>(value);
  KIV_LOG(LogLevel::kFailure, L"Interpolation mode %u is not known, the default is taken", value);
  return TweenMode::kFlow;
}

bool IsPossible(const KivSize& size) { return IsPictureSize(size.width, size.height); }

}  // namespace

void TweenAlgorithm::Destroy(int32_t /*release*/) { delete this; }

bool TweenAlgorithm::Commit() {
  params_ =
      static_cast<const FrameInterpolationParams*>(parameters_.Find(kFrameInterpolationParamsKey));
  if (!params_) return false;
  mode_ = ModeOf(params_->interpolationMode);
  return true;
}

int32_t TweenAlgorithm::Push(const void* pixels, int32_t width, int32_t height,
                             int32_t bytesPerPixel, int32_t, int32_t) {
  const KivSize size{width, height};
  if (!pixels || bytesPerPixel != kBytesPerPixel || !IsPossible(size)) return E_INVALIDARG;
  return AtBoundary([&] { return Take(pixels, size); });
}

HRESULT TweenAlgorithm::Take(const void* pixels, const KivSize& size) {
  PooledBuffer copy(PictureBytesOf(size));
  if (!copy) return E_OUTOFMEMORY;
  std::memcpy(copy.Data(), pixels, PictureBytesOf(size));
  if (!(size == size_)) held_ = 0;
  const auto sequence = held_ == 2 ? TweenMaker::Sequence::kFollows : TweenMaker::Sequence::kNew;
  size_ = size;
  older_ = std::exchange(newer_, std::move(copy));
  held_ = held_ == 0 ? 1 : 2;
  finished_ = false;
  if (held_ == 2) maker_.SetPair({older_.Data(), newer_.Data(), size_}, sequence);
  return S_OK;
}

int32_t TweenAlgorithm::Read(void* pixels, int32_t width, int32_t height, int32_t bytesPerPixel,
                             int32_t index, int32_t, int32_t) {
  if (held_ < 2 || !params_) return E_FAIL;
  const bool fits = bytesPerPixel == kBytesPerPixel && KivSize{width, height} == size_;
  if (!pixels || !fits || index < 0 || index > int64_t{params_->inBetweenCount} + 1) {
    return E_INVALIDARG;
  }
  return AtBoundary([&] { return Answer(pixels, index); });
}

HRESULT TweenAlgorithm::Answer(void* pixels, int32_t index) {
  const int64_t parts = int64_t{params_->inBetweenCount} + 1;
  if (index == 0 || index == parts) {
    std::memcpy(pixels, index == 0 ? older_.Data() : newer_.Data(), PictureBytesOf(size_));
  } else {
    const float when = static_cast<float>(static_cast<double>(index) / static_cast<double>(parts));
    maker_.Make(mode_, when, static_cast<uint8_t*>(pixels));
  }
  finished_ = finished_ || index >= parts - 1;
  return S_OK;
}

}  // namespace kiv::tween
