// The full-HD mask of a preset: a second file whose frames run along with the preset's.
//
// Units:    time in 100 ns.
// Owns:     the opened source and its decoder until Release.
// Threads:  one caller at a time.
// Errors:   result codes of the media source. A file that could not be opened is not tried again
//           before Release or another path.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/platform/Media.h"

class AlphaVideoMask {
 public:
  // S_FALSE when it was open already, S_OK when it has just been opened.
  HRESULT Open(const std::wstring& path);
  bool HasDecoder() const { return static_cast<bool>(decoder_); }

  void Seek(int64_t time, int32_t mode);
  // By `count` frames, to the one shown at `time`: a mask of another rate than the preset's stays
  // beside it. `moved` may be null.
  void Skip(int32_t count, int32_t* moved, int64_t time, int64_t frameLength);
  // The frame at the position, at `size` when the decoder can give it; null without one.
  KivComPtr<IKivFrame> Frame(const KivSize& size);

  void Release();

 private:
  void SetMaskSize(const KivSize& size);

  KivComPtr<IKivMediaSource> source_;
  KivComPtr<IKivMediaDecoder> decoder_;
  std::wstring failedPath_;
  HRESULT failure_ = S_OK;
};
