// Fills the planes of encoders that keep coverage. Colours stay straight: what is transparent keeps
// the colour it has.
//
// Units:    straight rows of BGRA of `size`; `planes` has the same size or a larger one.
// Threads:  any; nothing is kept.
#pragma once

#include <cstdint>

#include "engine/write/WriterKernel.h"
#include "kiv/values/ValueTypes.h"

struct AVFrame;

namespace kiv {

// AV_PIX_FMT_YUVA444P10, or YUV444P10 when the frame has no fourth plane.
void FillYuva444Ten(const uint8_t* bgra, KivSize size, const YuvFactors& factors, AVFrame* planes);
// The fourth plane of AV_PIX_FMT_YUVA420P.
void FillAlphaPlane(const uint8_t* bgra, KivSize size, AVFrame* planes);
// AV_PIX_FMT_RGBA.
void FillRgba(const uint8_t* bgra, KivSize size, AVFrame* planes);

}  // namespace kiv
