#include "engine/media/PictureConverter.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace kiv {

struct PictureConverter::State {
  SwsContext* scaler = nullptr;
  ~State() { sws_freeContext(scaler); }
};

PictureConverter::PictureConverter() : state_(std::make_unique<State>()) {}
PictureConverter::~PictureConverter() = default;

HRESULT PictureConverter::Convert(const AVFrame& picture, Orientation, KivSize output,
                                  uint8_t* bgra) {
  state_->scaler = sws_getCachedContext(
      state_->scaler, picture.width, picture.height, static_cast<AVPixelFormat>(picture.format),
      output.width, output.height, AV_PIX_FMT_BGRA, SWS_BICUBIC, nullptr, nullptr, nullptr);
  if (!state_->scaler) return E_UNSUPPORTED;
  uint8_t* const planes[4] = {bgra, nullptr, nullptr, nullptr};
  const int strides[4] = {output.width * 4, 0, 0, 0};
  const int rows = sws_scale(state_->scaler, picture.data, picture.linesize, 0, picture.height,
                             planes, strides);
  return rows == output.height ? S_OK : E_FAIL;
}

}  // namespace kiv
