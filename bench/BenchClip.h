// The clip that figures are taken on: $KIV_BENCH_CLIP, else the sample.
#pragma once

#include <cstdlib>
#include <string>

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Media.h"

inline std::string BenchClipPath() {
  const char* const named = std::getenv("KIV_BENCH_CLIP");
  return named ? named : KIV_SAMPLE_CLIP;
}

inline KivComPtr<IKivMediaDecoder> OpenBenchClip() {
  KivComPtr<IKivMediaSource> file;
  KivComPtr<IKivMediaDecoder> decoder;
  const std::wstring path = KivCommon::Char2WChar(BenchClipPath().c_str());
  KivCommon::GetFactory(nullptr)->OpenMediaFile(file.Put(), path.c_str(), nullptr);
  if (file) file->GetVideoStream(0, decoder.Put());
  return decoder;
}
