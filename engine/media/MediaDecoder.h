// The decoder of one video stream, as a chain's source drives it.
//
// Units:    time int64 in 100 ns; the position is an index without bounds, so that seeks and skips
//           outside the clip find their way back; reads take the clip's nearest frame.
// Owns:     its position and a reader each for the clip and its proxy, opened on first use.
// Threads:  one caller at a time.
// Errors:   those of the file when the first frame is read; a proxy that cannot be opened is logged
//           once and the clip read instead.
#pragma once

#include <memory>
#include <string>

#include "engine/base/CountedObject.h"
#include "engine/media/MediaFile.h"
#include "engine/media/colour/PictureConverter.h"
#include "engine/media/keep/PictureCache.h"
#include "kiv/platform/Media.h"

namespace kiv {

// A file's video stream with the pictures read from it.
struct OpenTrack {
  std::shared_ptr<MediaFile> file;
  std::shared_ptr<const VideoTrack> track;
  std::unique_ptr<PictureCache> pictures;
};

class CMediaDecoder final : public CountedObject<IKivMediaDecoder, IKivDecoderSize, IKivStreamInfo,
                                                 IKivReadDirection, IKivFrameSeek> {
 public:
  CMediaDecoder(std::shared_ptr<MediaFile> file, std::shared_ptr<const VideoTrack> track,
                DecoderSettings settings);

  int64_t GetCurrentTime() override;
  HRESULT Seek(int64_t time, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  HRESULT SetProxyOff(bool off) override;
  HRESULT SetProxyPath(const wchar_t* path) override;
  HRESULT ReadCurrentFrame(KivComPtr<IKivFrame>* frame) override;

  HRESULT SetOutputSize(const KivSize* size) override;
  HRESULT GetSourceSize(KivSize* size) override;

  HRESULT ExpectBackwards(bool backwards) override;

  HRESULT SeekFrame(int32_t index, const KivRational* rate, int32_t mode) override;

  HRESULT GetInfo(KivStreamInfo* info) override;
  HRESULT GetStats(KivDecoderStats* stats) override;
  HRESULT GetFrameTime(int32_t index, int64_t* time, int64_t* duration, int32_t* isKey) override;

 private:
  FrameIndex& Index() const { return *clip_.track->index; }
  bool ReadsProxy();
  HRESULT OpenReader(OpenTrack* track) const;
  HRESULT OpenProxy();
  HRESULT ReadPicture(int64_t frame, const AVFrame** picture, Orientation* orientation);
  HRESULT ReadFrame(KivComPtr<IKivFrame>* frame);
  void Retire(OpenTrack* track);
  CacheCounts AllCounts() const;

  OpenTrack clip_;
  OpenTrack proxy_;
  std::wstring proxyPath_;
  bool proxyOff_ = true;
  bool proxyFailed_ = false;
  bool backwards_ = false;
  const DecoderSettings settings_;
  PictureConverter converter_;
  KivSize outputSize_;
  int64_t position_ = 0;
  int64_t converted_ = 0;
  CacheCounts retired_;  // counts of proxies that were given up
};

}  // namespace kiv
