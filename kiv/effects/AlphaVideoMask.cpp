#include "kiv/effects/AlphaVideoMask.h"

#include <cmath>
#include <utility>

#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/Logger.h"

namespace {

HRESULT OpenSource(const std::wstring& path, KivComPtr<IKivMediaSource>* opened) {
  KivComPtr<IKivMediaSource> source;
  HRESULT hr = KivCommon::GetInterface(kMediaSourceClassId, nullptr, 1, IKivMediaSource::kIid,
                                       source.PutVoid());
  if (Failed(hr)) return hr;
  hr = source->Open(path.c_str(), 0);
  if (Succeeded(hr)) *opened = std::move(source);
  return hr;
}

}  // namespace

HRESULT AlphaVideoMask::Open(const std::wstring& path) {
  if (source_) return S_FALSE;
  if (Failed(failure_) && path == failedPath_) return failure_;
  failure_ = OpenSource(path, &source_);
  if (Failed(failure_)) {
    failedPath_ = path;
    KIV_LOG(LogLevel::kFailure, L"mask %ls cannot be opened: hr %08x", path.c_str(),
            static_cast<uint32_t>(failure_));
    return failure_;
  }
  if (!decoder_) source_->GetVideoStream(0, decoder_.Put());
  return S_OK;
}

void AlphaVideoMask::Seek(int64_t time, int32_t mode) {
  if (decoder_) decoder_->Seek(time, mode);
}

void AlphaVideoMask::Skip(int32_t count, int32_t* moved, int64_t time, int64_t frameLength) {
  if (!decoder_) return;
  decoder_->Skip(count, moved);
  // A rate of 0/1 puts frames at the ends of what a time can be.
  const double away =
      std::fabs(static_cast<double>(decoder_->GetCurrentTime()) - static_cast<double>(time));
  const int64_t half = frameLength / 2;
  if (away >= static_cast<double>(half) && away > 1) {
    Seek(time, static_cast<int32_t>(KivSeekMode::kReadOnward));
  }
}

KivComPtr<IKivFrame> AlphaVideoMask::Frame(const KivSize& size) {
  KivComPtr<IKivFrame> mask;
  if (!decoder_ || Failed(decoder_->ReadCurrentFrame(&mask)) || !mask) return nullptr;
  if (kiv::SizeOf(*mask) == size) return mask;
  SetMaskSize(size);
  mask.Reset();
  decoder_->ReadCurrentFrame(&mask);
  return mask;
}

void AlphaVideoMask::SetMaskSize(const KivSize& size) {
  if (const auto decoderSize = decoder_.As<IKivDecoderSize>()) decoderSize->SetOutputSize(&size);
}

void AlphaVideoMask::Release() {
  source_.Reset();
  decoder_.Reset();
  failedPath_.clear();
  failure_ = S_OK;
}
