#include "engine/media/MediaSource.h"

#include <algorithm>

#include "engine/base/Boundary.h"
#include "engine/media/MediaDecoder.h"
#include "engine/media/MediaLocation.h"
#include "kiv/platform/KivComPtr.h"
#include "kiv/platform/Properties.h"

namespace kiv {
namespace {

constexpr int32_t kMostThreads = 64;

}  // namespace

HRESULT CMediaSource::Open(const wchar_t* location, int32_t) {
  if (!location) return E_POINTER;
  return AtBoundary([&] {
    std::shared_ptr<MediaFile> opened;
    if (const HRESULT hr = MediaFile::Open(LocalPathOf(location), reading_, &opened); Failed(hr))
      return hr;
    file_ = std::move(opened);
    return S_OK;
  });
}

HRESULT CMediaSource::GetVideoStream(int32_t index, IKivMediaDecoder** decoder) {
  if (!decoder) return E_POINTER;
  *decoder = nullptr;
  if (!file_) return E_NOTREADY;
  return AtBoundary([&] {
    std::shared_ptr<const VideoTrack> track;
    if (const HRESULT hr = file_->Track(index, &track); Failed(hr)) return hr;
    *decoder = new CMediaDecoder(file_, std::move(track), settings_);
    return S_OK;
  });
}

void CMediaSource::Configure(IKivProperties* options) {
  if (!options) return;
  int32_t threads = 0;
  options->GetInt(kDecoderThreadsOption, &threads);
  settings_.threads = std::clamp(threads, 0, kMostThreads);
  KivComPtr<IUnknown> object;
  options->GetObject(kOpenProgressOption, object.Put());
  const auto progress = object.As<IKivOpenProgress>();
  if (!progress) return;
  reading_.progress = [progress](int64_t bytes, int64_t ofBytes) {
    return progress->OnRead(bytes, ofBytes) != E_ABORT;
  };
}

HRESULT CMediaFactory::OpenMediaFile(IKivMediaSource** file, const wchar_t* path,
                                     IKivProperties* options) {
  if (!file) return E_POINTER;
  *file = nullptr;
  return AtBoundary([&] {
    auto source = KivComPtr<CMediaSource>::Adopt(new CMediaSource);
    source->Configure(options);
    if (const HRESULT hr = source->Open(path, 0); Failed(hr)) return hr;
    *file = source.Detach();
    return S_OK;
  });
}

HRESULT CreateMediaSourceObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CMediaSource>(outer, iid, object);
}

HRESULT CreateMediaFactoryObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CMediaFactory>(outer, iid, object);
}

}  // namespace kiv
