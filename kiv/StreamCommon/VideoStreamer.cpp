#include "kiv/StreamCommon/VideoStreamer.h"

#include <algorithm>
#include <utility>

#include "kiv/Shared/MyHelper.h"
#include "kiv/StreamCommon/MissingMedia.h"
#include "kiv/base/AtBoundary.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/Saturate.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr KivRectF kWholeFrame{0, 0, 1, 1};
constexpr uint32_t kTransparent = 0;
constexpr int32_t kPathCapacity = 512;

int32_t ScaleSide(int32_t side, double scale) {
  return kiv::SaturateToInt32(static_cast<double>(side) * scale + 0.5);
}

// A picture of `size` with `image` resized into it; null when any step fails.
KivComPtr<IKivFrame> ResizedCopy(const KivComPtr<IKivFrame>& image, const KivSize& size) {
  const auto filter = MyHelper::CreateFilter(KivKey::Filter::kFilterGUID_Resize, nullptr);
  if (!filter) return nullptr;
  KivComPtr<IKivFrame> input;
  KivCommon::CreateBGRAFrameFrom(input, image.Get(), KivCGMemoryType::kDownstream);
  if (!input || Failed(input->CopyFrom(image.Get()))) return nullptr;
  KivComPtr<IKivFrame> output;
  KivCommon::CreateBGRAFrameFrom(output, size, KivCGMemoryType::kDownstream);
  if (!output) return nullptr;
  HRESULT hr = MyHelper::ApplyFilter(filter, kWholeFrame, kWholeFrame, input, nullptr, output);
  if (Succeeded(hr)) hr = MyHelper::ReadFilterOutput(filter, output);
  return Succeeded(hr) ? output : nullptr;
}

}  // namespace

CVideoStreamer::CVideoStreamer(IUnknown* outer) : CStreamer(outer) {}

HRESULT CVideoStreamer::SetDecoder(IKivMediaDecoder* decoder) {
  CSimpleMutexLock guard(lock_);
  CStreamer::SetDecoder(decoder);
  sizeIsNew_ = false;
  if (!decoder_) return S_OK;
  if (!proxyPath_.empty()) decoder_->SetProxyPath(proxyPath_.c_str());
  decoder_->SetProxyOff(!proxyEnabled_);
  TellDecoderSizeLocked();
  if (backwards_) TellDecoderDirectionLocked();
  return S_OK;
}

HRESULT CVideoStreamer::Initialize(KivComPtr<IKivProperties> settings,
                                   KivComPtr<IKivProperties> info) {
  const HRESULT hr = CStreamer::Initialize(settings, info);
  int32_t reverse = 0;
  int32_t enabled = 1;
  if (Failed(hr) || !settings) return hr;
  if (Failed(settings->GetInt(KivKey::Speed::kReverse, &reverse))) return hr;
  settings->GetInt(KivKey::Speed::kEnabled, &enabled);
  CSimpleMutexLock guard(lock_);
  backwards_ = reverse == 1 && enabled == 1;
  TellDecoderDirectionLocked();
  return hr;
}

HRESULT CVideoStreamer::OnSetSpeedSettings(const CommandArgs& args) {
  const auto* speed = args.As<const SpeedSettings>();
  if (!speed) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  backwards_ = speed->reverse != 0;
  TellDecoderDirectionLocked();
  return S_OK;
}

void CVideoStreamer::TellDecoderDirectionLocked() {
  if (!decoder_) return;
  if (const auto direction = decoder_.As<IKivReadDirection>()) {
    direction->ExpectBackwards(backwards_);
  }
}

void CVideoStreamer::TellDecoderSizeLocked() {
  sizeIsNew_ = false;
  const KivSize size = ScaledSizeLocked();
  if (const auto decoderSize = decoder_.As<IKivDecoderSize>()) decoderSize->SetOutputSize(&size);
}

KivSize CVideoStreamer::ScaledSizeLocked() const {
  const double scale = decodeScale_.ToDouble();
  return {ScaleSide(outputSize_.width, scale), ScaleSide(outputSize_.height, scale)};
}

HRESULT CVideoStreamer::Skip(int32_t count, int32_t* moved) {
  int32_t reported = 0;
  const HRESULT hr = CStreamer::Skip(count, &reported);
  if (reported != count) KIV_LOG(LogLevel::kFailure, L"Video stream forward to end");
  if (moved) *moved = reported;
  return hr;
}

KivComPtr<IKivFrame> CVideoStreamer::GetCurrentFrame(int32_t* status) {
  CSimpleMutexLock guard(lock_);
  int32_t decoded = E_FAIL;
  if (sizeIsNew_) TellDecoderSizeLocked();
  KivComPtr<IKivFrame> frame = CStreamer::GetCurrentFrame(&decoded);
  const int32_t index = GetPosition(nullptr);
  if (KivCommon::ReadPixels(frame.Get())) {
    KivComPtr<IKivVideoFrame> videoFrame;
    decoded = frame->QueryInterface(IKivVideoFrame::kIid, videoFrame.PutVoid());
  } else {
    frame = AtBoundaryOr(KivComPtr<IKivFrame>(),
                         [&]() KIV_REQUIRES(lock_) { return PlaceholderLocked(); });
    if (!frame) return nullptr;
    SetFrameIndex(frame.Get(), index);
    SetFrameTime(frame.Get(), index, frameRate_);
  }
  if (status) *status = decoded;
  return frame;
}

KivComPtr<IKivFrame> CVideoStreamer::PlaceholderLocked() {
  KivComPtr<IKivFrame> frame = MissingMediaFrameLocked();
  return frame ? frame : TransparentFrameLocked();
}

KivComPtr<IKivFrame> CVideoStreamer::MissingMediaFrameLocked() {
  const KivComPtr<IKivFrame> image = MissingMediaImage();
  if (!image) return nullptr;
  if (!placeholder_) placeholder_ = ResizedCopy(image, ScaledSizeLocked());
  return placeholder_;
}

KivComPtr<IKivFrame> CVideoStreamer::TransparentFrameLocked() {
  if (outputSize_.width <= 0 || outputSize_.height <= 0) return nullptr;
  KivComPtr<IKivFrame> frame = KivCommon::CreateBGRAFrameFrom(placeholder_, ScaledSizeLocked(),
                                                              KivCGMemoryType::kDownstream);
  if (!frame) {
    KIV_LOG(LogLevel::kCreation, L"Failed to create transparent frame,  size(%d, %d)",
            outputSize_.width, outputSize_.height);
    return nullptr;
  }
  frame->GetBitmap()->Fill(kTransparent);
  return frame;
}

HRESULT CVideoStreamer::Flush() {
  KivComPtr<IKivFrame> dropped;
  {
    CSimpleMutexLock guard(lock_);
    dropped.Swap(placeholder_);
  }
  return CStreamer::Flush();
}

HRESULT CVideoStreamer::SaveSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  bag->SetString(KivKey::ProxySource::kProxyFilePath, proxyPath_.c_str());
  bag->SetInt(KivKey::ProxySource::kEnabled, proxyEnabled_ ? 1 : 0);
  return S_OK;
}

HRESULT CVideoStreamer::LoadSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  wchar_t path[kPathCapacity] = {};
  bag->GetString(KivKey::ProxySource::kProxyFilePath, path, kPathCapacity);
  int32_t enabled = 0;
  bag->GetInt(KivKey::ProxySource::kEnabled, &enabled);
  CSimpleMutexLock guard(lock_);
  return AtBoundary([&]() KIV_REQUIRES(lock_) {
    proxyPath_ = path;
    proxyEnabled_ = enabled != 0;
    return S_OK;
  });
}

HRESULT CVideoStreamer::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  using Self = CVideoStreamer;
  static constexpr CommandRow<Self> kRows[] = {
      {CommandId::SetSourceFrameRate, &Self::OnSetSourceFrameRate, Route::kForward},
      {CommandId::SetSpeedSettings, &Self::OnSetSpeedSettings, Route::kForward},
      {CommandId::SetProxyPath, &Self::OnSetProxyPath, Route::kStop},
      {CommandId::GetProxyPath, &Self::OnGetProxyPath, Route::kStop},
      {CommandId::SetProxyEnabled, &Self::OnSetProxyEnabled, Route::kStop},
      {CommandId::GetProxyEnabled, &Self::OnGetProxyEnabled, Route::kStop},
      {CommandId::GetScaledSize, &Self::OnGetScaledSize, Route::kStop},
      {CommandId::SetOutputSize, &Self::OnSetOutputSize, Route::kStop},
      {CommandId::SetDecodeScale, &Self::OnSetDecodeScale, Route::kStop},
  };
  return Dispatch<CStreamer>(*this, kRows, id, param, extra);
}

HRESULT CVideoStreamer::OnSetSourceFrameRate(const CommandArgs& args) {
  const auto* rate = args.As<const KivRational>();
  if (!rate) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  const KivRational before = frameRate_;
  kiv::TakeRate(*rate, &frameRate_);
  if (!SameValue(before, frameRate_)) decoderIsPlaced_ = false;
  return S_OK;
}

HRESULT CVideoStreamer::OnSetProxyPath(const CommandArgs& args) {
  const auto* path = args.As<const wchar_t>();
  if (!path) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  return AtBoundary([&]() KIV_REQUIRES(lock_) {
    proxyPath_ = path;
    return decoder_ ? decoder_->SetProxyPath(proxyPath_.c_str()) : S_OK;
  });
}

HRESULT CVideoStreamer::OnGetProxyPath(const CommandArgs& args) {
  auto* buffer = args.As<wchar_t>();
  if (!buffer) return E_POINTER;
  if (args.Extra() <= 0) return E_INVALIDARG;
  CSimpleMutexLock guard(lock_);
  const bool fits = proxyPath_.size() < static_cast<size_t>(args.Extra());
  const size_t length = fits ? proxyPath_.size() : 0;
  proxyPath_.copy(buffer, length);
  buffer[length] = 0;
  return fits ? S_OK : E_INVALIDARG;
}

HRESULT CVideoStreamer::OnSetProxyEnabled(const CommandArgs& args) {
  CSimpleMutexLock guard(lock_);
  proxyEnabled_ = args.Integer() != 0;
  return decoder_ ? decoder_->SetProxyOff(!proxyEnabled_) : S_OK;
}

HRESULT CVideoStreamer::OnGetProxyEnabled(const CommandArgs& args) {
  auto* enabled = args.As<int32_t>();
  if (!enabled) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  *enabled = proxyEnabled_ ? 1 : 0;
  return S_OK;
}

HRESULT CVideoStreamer::OnGetScaledSize(const CommandArgs& args) {
  auto* size = args.As<KivSize>();
  if (!size) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  *size = ScaledSizeLocked();
  return S_OK;
}

HRESULT CVideoStreamer::OnSetOutputSize(const CommandArgs& args) {
  const auto* size = args.As<const KivSize>();
  if (!size) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  outputSize_ = *size;
  sizeIsNew_ = decoder_ != nullptr;
  return S_OK;
}

HRESULT CVideoStreamer::OnSetDecodeScale(const CommandArgs& args) {
  const auto* scale = args.As<const KivRational>();
  if (!scale) return E_POINTER;
  KivComPtr<IKivFrame> dropped;
  CSimpleMutexLock guard(lock_);
  if (SameValue(decodeScale_, *scale)) return S_OK;
  decodeScale_ = *scale;
  if (!decoder_) return S_OK;
  TellDecoderSizeLocked();
  dropped.Swap(placeholder_);
  return S_OK;
}
