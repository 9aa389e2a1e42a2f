// Makes an alpha video's output frames from the preset's: re-coloured, masked or replaced.
//
// Never writes a frame that it was given: the result is its output frame, which is refilled for every
// request.
//
// Owns:     filters, output frame and fill image until Release; the image processor.
// Threads:  one caller at a time.
// Errors:   the frame that came in replaces one that cannot be made; logged where it failed.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/effects/AlphaVideoFields.h"
#include "kiv/platform/Filters.h"
#include "kiv/platform/ImageProc.h"

class AlphaVideoPictures {
 public:
  AlphaVideoPictures();

  // When the pictures made from now on are shown, which nodes above read.
  void SetTime(int64_t time, int64_t duration) {
    time_ = time;
    duration_ = duration;
  }

  // Prepares the image for frames of the size of `upstream`. S_FALSE when nothing had to be done; when
  // there is no such file, and what was prepared before stays; when it is damaged, and the image is
  // blank.
  HRESULT LoadFillImage(const std::wstring& path, const KivComPtr<IKivFrame>& upstream);
  // The prepared image, colours multiplied by alpha; null when there is none.
  const KivComPtr<IKivFrame>& FillImage() const { return fillImage_; }

  // `picture` in the fill's colours, with the coverage that its channel `channel` holds: 0 to 3 for
  // blue, green, red, alpha. The index is that of `upstream`.
  KivComPtr<IKivFrame> Recolour(const AlphaVideoFields& fields, int32_t channel,
                                const KivComPtr<IKivFrame>& picture,
                                const KivComPtr<IKivFrame>& upstream);
  // `upstream` with the coverage that the green channel of `mask` holds; null leaves its own.
  KivComPtr<IKivFrame> Masked(const KivComPtr<IKivFrame>& mask,
                              const KivComPtr<IKivFrame>& upstream);
  // A copy of `picture` in place of `upstream`.
  KivComPtr<IKivFrame> Replaced(const KivComPtr<IKivFrame>& picture,
                                const KivComPtr<IKivFrame>& upstream);

  void Release();

 private:
  void Stamp(const KivComPtr<IKivFrame>& upstream, const KivComPtr<IKivFrame>& output) const;
  KivComPtr<IKivFrame> NextOutput(const KivComPtr<IKivFrame>& upstream);
  KivComPtr<IKivBitmap> ImageOfSize(const std::wstring& path, const KivSize& size) const;
  HRESULT Premultiply(const KivComPtr<IKivBitmap>& bitmap);

  KivComPtr<IKivImageProc> imageProcessor_;
  KivComPtr<IKivCGFilter> alphaFilter_;
  KivComPtr<IKivCGFilter> greenFilter_;
  KivComPtr<IKivFrame> output_;
  KivComPtr<IKivFrame> fillImage_;
  std::wstring loadedImagePath_;
  int64_t time_ = 0, duration_ = 0;
};
