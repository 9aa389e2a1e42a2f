// Media files as hosts open them, and the factory that makes them.
//
// Owns:     the opened file, shared with the decoders it gave out, which outlive it.
// Threads:  Open before anything else; GetVideoStream any.
// Errors:   E_NOTREADY before a successful Open and for a stream that is not there; else the
//           file's own.
#pragma once

#include <memory>

#include "engine/base/CountedObject.h"
#include "engine/media/MediaFile.h"
#include "kiv/platform/Media.h"

namespace kiv {

class CMediaSource final : public CountedObject<IKivMediaSource> {
 public:
  HRESULT Open(const wchar_t* location, int32_t flags) override;
  HRESULT GetVideoStream(int32_t index, IKivMediaDecoder** decoder) override;

  // Takes codec options; null keeps the defaults.
  void Configure(IKivProperties* options);

 private:
  std::shared_ptr<MediaFile> file_;
  DecoderSettings settings_;
  IndexReading reading_;
};

class CMediaFactory final : public CountedObject<IKivFactory> {
 public:
  HRESULT OpenMediaFile(IKivMediaSource** file, const wchar_t* path,
                        IKivProperties* options) override;
};

// The number of threads of each decoder opened with a bag that holds it; 0 or none suits the machine.
inline constexpr const wchar_t* kDecoderThreadsOption = L"Codec.Threads";

// The creation functions of kMediaSourceClassId and kMediaFactoryClassId.
HRESULT CreateMediaSourceObject(IUnknown* outer, const GUID& iid, void** object);
HRESULT CreateMediaFactoryObject(IUnknown* outer, const GUID& iid, void** object);

}  // namespace kiv
