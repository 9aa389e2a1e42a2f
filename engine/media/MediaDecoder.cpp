#include "engine/media/MediaDecoder.h"

#include <algorithm>

#include "engine/base/Boundary.h"
#include "engine/media/MediaLocation.h"
#include "engine/picture/Frame.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// Far beyond any clip, far from overflow: skips to and fro add up exactly up to here.
constexpr int64_t kPositionLimit = int64_t{1} << 48;

}  // namespace

CMediaDecoder::CMediaDecoder(std::shared_ptr<MediaFile> file,
                             std::shared_ptr<const VideoTrack> track, DecoderSettings settings)
    : settings_(std::move(settings)), outputSize_(track->info.size) {
  clip_.file = std::move(file);
  clip_.track = std::move(track);
}

int64_t CMediaDecoder::GetCurrentTime() {
  int64_t time = 0;
  AtBoundary([&] {
    time = Index().TimeOf(position_).time;
    return S_OK;
  });
  return time;
}

HRESULT CMediaDecoder::Seek(int64_t time, int32_t) {
  return AtBoundary([&] {
    position_ = Index().FrameAtTime(time);
    return S_OK;
  });
}

HRESULT CMediaDecoder::SeekFrame(int32_t index, const KivRational* rate, int32_t) {
  if (!rate) return E_POINTER;
  return AtBoundary([&] {
    if (!SameValue(*rate, Index().Rate())) return S_FALSE;
    position_ = index;
    return S_OK;
  });
}

HRESULT CMediaDecoder::Skip(int32_t count, int32_t* moved) {
  return AtBoundary([&] {
    const int64_t target = std::clamp(position_ + count, -kPositionLimit, kPositionLimit);
    const int64_t inside = Index().Clamp(target) - Index().Clamp(position_);
    position_ = target;
    if (moved) *moved = ClampToInt32(inside);
    return S_OK;
  });
}

HRESULT CMediaDecoder::SetProxyOff(bool off) {
  proxyOff_ = off;
  return S_OK;
}

HRESULT CMediaDecoder::SetProxyPath(const wchar_t* path) {
  return AtBoundary([&] {
    std::wstring wanted = path ? path : L"";
    if (wanted == proxyPath_ && !proxyFailed_) return S_OK;
    Retire(&proxy_);
    proxyPath_ = std::move(wanted);
    proxyFailed_ = false;
    return S_OK;
  });
}

HRESULT CMediaDecoder::ReadCurrentFrame(KivComPtr<IKivFrame>* frame) {
  if (!frame) return E_POINTER;
  frame->Reset();
  return AtBoundary([&] { return ReadFrame(frame); });
}

HRESULT CMediaDecoder::ReadFrame(KivComPtr<IKivFrame>* frame) {
  const int64_t number = Index().Clamp(position_);
  const AVFrame* picture = nullptr;
  Orientation orientation;
  if (const HRESULT hr = ReadPicture(number, &picture, &orientation); Failed(hr)) return hr;
  KivComPtr<IKivFrame> made;
  if (!KivCommon::CreateBGRAFrameFrom(made, outputSize_, KivCGMemoryType::kDownstream)) {
    return E_OUTOFMEMORY;
  }
  auto* const pixels = static_cast<uint8_t*>(KivCommon::PixelsToFill(made.Get()));
  if (!pixels) return E_FAIL;
  if (const HRESULT hr = converter_.Convert(*picture, orientation, outputSize_, pixels);
      Failed(hr)) {
    return hr;
  }
  ++converted_;
  const FrameTime time = Index().TimeOf(number);
  made->SetTime(time.time, time.duration);
  if (auto video = made.As<IKivVideoFrame>()) video->SetFrameIndex(ClampToInt32(number));
  *frame = std::move(made);
  return S_OK;
}

HRESULT CMediaDecoder::ReadPicture(int64_t frame, const AVFrame** picture,
                                   Orientation* orientation) {
  if (ReadsProxy()) {
    // By time, so that a proxy of another rate shows the same moment.
    FrameIndex& index = *proxy_.track->index;
    const int64_t moment = index.Clamp(index.FrameAtTime(Index().TimeOf(frame).time));
    *orientation = proxy_.track->orientation;
    if (Succeeded(proxy_.pictures->At(moment, picture))) return S_OK;
  }
  if (const HRESULT hr = OpenReader(&clip_); Failed(hr)) return hr;
  *orientation = clip_.track->orientation;
  return clip_.pictures->At(frame, picture);
}

bool CMediaDecoder::ReadsProxy() {
  if (proxyOff_ || proxyPath_.empty() || proxyFailed_) return false;
  if (proxy_.pictures) return true;
  if (const HRESULT hr = OpenProxy(); Failed(hr)) {
    KIV_LOG(LogLevel::kFailure, L"CMediaDecoder: proxy %ls not opened, reading the clip: hr %08x",
            proxyPath_.c_str(), static_cast<unsigned>(hr));
    proxyFailed_ = true;
    proxy_ = {};
  }
  return !proxyFailed_;
}

HRESULT CMediaDecoder::OpenProxy() {
  const std::string path = LocalPathOf(proxyPath_.c_str());
  if (const HRESULT hr = MediaFile::Open(path, {}, &proxy_.file); Failed(hr)) return hr;
  if (const HRESULT hr = proxy_.file->Track(0, &proxy_.track); Failed(hr)) return hr;
  return OpenReader(&proxy_);
}

HRESULT CMediaDecoder::OpenReader(OpenTrack* track) const {
  if (track->pictures) return S_OK;
  std::unique_ptr<PictureReader> reader;
  if (const HRESULT hr = track->file->NewReader(*track->track, settings_, &reader); Failed(hr)) {
    return hr;
  }
  track->pictures = std::make_unique<PictureCache>(std::move(reader), track->track->index);
  track->pictures->ExpectBackwards(backwards_);
  return S_OK;
}

void CMediaDecoder::Retire(OpenTrack* track) {
  if (track->pictures) retired_ += track->pictures->Counts();
  retired_.bytesNow = 0;
  *track = {};
}

HRESULT CMediaDecoder::ExpectBackwards(bool backwards) {
  backwards_ = backwards;
  for (OpenTrack* track : {&clip_, &proxy_}) {
    if (track->pictures) track->pictures->ExpectBackwards(backwards);
  }
  return S_OK;
}

HRESULT CMediaDecoder::SetOutputSize(const KivSize* size) {
  if (!size) return E_POINTER;
  if (!IsPictureSize(size->width, size->height)) return E_INVALIDARG;
  outputSize_ = *size;
  return S_OK;
}

HRESULT CMediaDecoder::GetSourceSize(KivSize* size) {
  if (!size) return E_POINTER;
  *size = clip_.track->info.size;
  return S_OK;
}

HRESULT CMediaDecoder::GetInfo(KivStreamInfo* info) {
  if (!info) return E_POINTER;
  return AtBoundary([&] {
    KivStreamInfo result = clip_.track->info;
    const int64_t count = Index().FrameCount();
    result.frameRate = Index().Rate();
    result.constantRate = Index().IsConstantRate() ? 1 : 0;
    result.frameCount = ClampToInt32(count);
    result.keyFrameCount = Index().KeyCount();
    result.duration = Index().Duration();
    *info = result;
    return S_OK;
  });
}

CacheCounts CMediaDecoder::AllCounts() const {
  CacheCounts all = retired_;
  for (const OpenTrack* track : {&clip_, &proxy_}) {
    if (track->pictures) all += track->pictures->Counts();
  }
  return all;
}

HRESULT CMediaDecoder::GetStats(KivDecoderStats* stats) {
  if (!stats) return E_POINTER;
  const CacheCounts counts = AllCounts();
  *stats = {
      counts.reader.decoded, converted_,        counts.reader.seeks,      counts.bytesAtMost,
      counts.bytesNow,       counts.fromMemory, counts.reader.passedOver, counts.reader.replaced};
  return S_OK;
}

HRESULT CMediaDecoder::GetFrameTime(int32_t index, int64_t* time, int64_t* duration,
                                    int32_t* isKey) {
  return AtBoundary([&] {
    if (index < 0 || Index().Clamp(index) != index) return E_INVALIDARG;
    const FrameTime frame = Index().TimeOf(index);
    if (time) *time = frame.time;
    if (duration) *duration = frame.duration;
    if (isKey) *isKey = frame.key ? 1 : 0;
    return S_OK;
  });
}

}  // namespace kiv
