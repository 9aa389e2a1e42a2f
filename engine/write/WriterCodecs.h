// The codecs that pictures are encoded with: a new one is a row in WriterCodecs.cpp.
//
// Threads:  any; nothing changes.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "engine/write/Writer.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

struct AVCodecContext;

namespace kiv {

// Output formats that hold encoded pictures.
constexpr unsigned kMp4Bit = 1, kMovBit = 2, kMkvBit = 4, kWebmBit = 8, kJpegBit = 16;

// What 0 and 100 of --quality are on an encoder's own scale.
struct QualityScale {
  double worst = 0, best = 0;
};

struct WriterCodec {
  std::string_view name;  // of --codec
  OutputCodec id;
  const char* encoder;  // libavcodec's name
  unsigned formats;     // that may hold it
  // The same twice where alpha is always or never kept.
  AVPixelFormat opaque, withAlpha;
  // The container, by libavformat's name, that has no room for its alpha; empty: all have.
  std::string_view withoutAlpha{};
  bool isLossless = false;
  QualityScale quality{}, qualityWithAlpha{};
  bool needsEvenSides = false;
  uint32_t mp4Tag = 0;  // in mp4 and mov; 0: the muxer's own choice
  // `setting` is on the encoder's scale; the pixel format is set.
  void (*setOptions)(AVCodecContext* context, int32_t setting);

  AVPixelFormat PixelFormat(const OutputPlan& plan, const PictureSeries& series) const;
  // Threads, and what makes the quality.
  void SetOptions(AVCodecContext* context, int32_t planned) const;
};

std::span<const WriterCodec> WriterCodecs();
// Null for kNone.
const WriterCodec* FindWriterCodec(OutputCodec id);

}  // namespace kiv
