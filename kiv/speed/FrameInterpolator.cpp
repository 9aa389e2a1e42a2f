#include "kiv/speed/FrameInterpolator.h"

#include <algorithm>

#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/Logger.h"
#include "kiv/platform/PictureFacts.h"
#include "kiv/values/Saturate.h"

namespace {

__extension__ using Wide = __int128;

constexpr uint32_t kTransparent = 0;

int64_t Narrow(Wide value) {
  return static_cast<int64_t>(std::clamp<Wide>(value, INT64_MIN, INT64_MAX));
}

bool IsPadded(IKivFrame* frame) {
  KivFrameDescription description;
  frame->GetDescription(&description);
  return description.pixelLayout == KivPixelLayout::kPadded;
}

}  // namespace

CFrameInterpolator::~CFrameInterpolator() { Reset(); }

bool CFrameInterpolator::EnsureAlgorithm() {
  if (!factory_) factory_ = CreateAlgorithmFactory();
  if (algorithm_ || !factory_) return true;
  algorithm_ = factory_->CreateCVAlgorithm(kFrameInterpolationAlgorithm, kTweenModuleName);
  PassParameters();
  if (algorithm_) algorithm_->Start(1);
  return true;
}

bool CFrameInterpolator::Reset() {
  if (algorithm_) algorithm_->Destroy(1);
  algorithm_ = nullptr;
  if (factory_) DestoryAlgorithmFactory(factory_);
  factory_ = nullptr;
  olderTime_ = newerTime_ = 0;
  return true;
}

bool CFrameInterpolator::PassParameters() {
  if (!algorithm_) return true;
  const XTuple record(&params_);
  if (XDictionary* const dictionary = algorithm_->Parameters()) {
    dictionary->SetKeyValue(kFrameInterpolationParamsKey, record);
  }
  return algorithm_->Commit();
}

bool CFrameInterpolator::SetInBetweenCount(int32_t count) {
  if (count == params_.inBetweenCount || count < 1) return true;
  params_.inBetweenCount = count;
  if (keyFrameSize_ == KivSize{} || !algorithm_) return true;
  const auto older = NewFrame();
  const auto newer = NewFrame();
  const int32_t olderRead = Read(older.Get(), 0);
  const int32_t newerRead = Read(newer.Get(), kiv::ClampToInt32(int64_t{count} + 1));
  Reset();
  EnsureAlgorithm();
  if (olderRead == 0) Push(older.Get());
  if (newerRead == 0) Push(newer.Get());
  return true;
}

bool CFrameInterpolator::PushKeyFrame(IKivFrame* frame) {
  if (!KivCommon::ReadPixels(frame)) return false;
  keyFrameSize_ = kiv::SizeOf(*frame);
  KivComPtr<IKivFrame> used(frame);
  if (IsPadded(frame)) {
    used = GetScratchFrame();
    if (!used || Failed(used->CopyFrom(frame))) return false;
  }
  Push(used.Get());
  olderTime_ = newerTime_;
  frame->GetTime(&newerTime_, nullptr);
  return true;
}

bool CFrameInterpolator::GetInterpolatedFrame(IKivFrame* frame, int32_t index) {
  if (!frame || !algorithm_) return false;
  const auto shown = ReadNext(index);
  if (!shown || Failed(frame->CopyFrom(shown.Get()))) return false;
  const Wide span = Wide{newerTime_} - olderTime_;
  const Wide step = params_.inBetweenCount == 0 ? 0 : span / params_.inBetweenCount;
  frame->SetTime(Narrow(olderTime_ + index * step), Narrow(step));
  return true;
}

// The picture goes into the frame that is not shown, whose memory is its own again by now: what the
// caller got before shares its memory with the other one. A refused read leaves that one shown.
KivComPtr<IKivFrame> CFrameInterpolator::ReadNext(int32_t index) {
  auto shown = GetScratchFrame();
  if (!shown) return nullptr;
  if (!next_ || kiv::SizeOf(*next_) != keyFrameSize_) next_ = NewFrame();
  if (!next_) return nullptr;
  if (Read(next_.Get(), index) != 0) return shown;
  scratch_.Swap(next_);
  return scratch_;
}

KivComPtr<IKivFrame> CFrameInterpolator::GetScratchFrame() {
  if (scratch_ && kiv::SizeOf(*scratch_) == keyFrameSize_) return scratch_;
  scratch_ = NewFrame();
  return scratch_;
}

KivComPtr<IKivFrame> CFrameInterpolator::NewFrame() const {
  KivComPtr<IKivFrame> frame;
  if (Failed(kiv::MakeFrame(keyFrameSize_, KivCGMemoryType::kCached, &frame))) {
    KIV_LOG(LogLevel::kCreation, L"CFrameInterpolator: no frame of %dx%d", keyFrameSize_.width,
            keyFrameSize_.height);
    return nullptr;
  }
  // Shown when the algorithm refuses a read: better nothing than what the memory held before.
  frame->GetBitmap()->Fill(kTransparent);
  return frame;
}

int32_t CFrameInterpolator::Push(IKivFrame* frame) {
  if (!frame || !algorithm_) return E_FAIL;
  const KivSize size = kiv::SizeOf(*frame);
  return algorithm_->Push(KivCommon::ReadPixels(frame), size.width, size.height,
                          kiv::kBytesPerPixel, 0, 0);
}

int32_t CFrameInterpolator::Read(IKivFrame* frame, int32_t index) {
  if (!frame || !algorithm_) return E_FAIL;
  const KivSize size = kiv::SizeOf(*frame);
  return algorithm_->Read(KivCommon::PixelsToFill(frame), size.width, size.height,
                          kiv::kBytesPerPixel, index, 0, 0);
}
