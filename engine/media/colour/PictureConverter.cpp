#include "engine/media/colour/PictureConverter.h"

#include <new>
#include <utility>
#include <vector>

#include "engine/media/colour/ColourMatrix.h"
#include "engine/media/colour/PlaneRows.h"
#include "engine/media/colour/PlaneView.h"
#include "engine/media/read/AvPointers.h"
#include "kiv/platform/PictureFacts.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}
#include <libyuv/planar_functions.h>
#include <libyuv/rotate_argb.h>
#include <libyuv/scale.h>

namespace kiv {
namespace {

bool SidesExchanged(Orientation orientation) {
  return orientation.rotation == 90 || orientation.rotation == 270;
}

// The planar format with the same depth and alpha, and no chroma subsampling to work out.
AVPixelFormat UnpackedFormat(const PlaneView& view) {
  if (view.depth <= 8) return view.hasAlpha ? AV_PIX_FMT_YUVA444P : AV_PIX_FMT_YUV444P;
  if (view.depth <= 10) return view.hasAlpha ? AV_PIX_FMT_YUVA444P10 : AV_PIX_FMT_YUV444P10;
  return view.hasAlpha ? AV_PIX_FMT_YUVA444P12 : AV_PIX_FMT_YUV444P12;
}

}  // namespace

struct PictureConverter::State {
  ~State() { sws_freeContext(scaler); }

  HRESULT ConvertUpright(const AVFrame& picture, KivSize output, uint8_t* bgra);
  HRESULT ThroughScaler(const AVFrame& picture, KivSize output, uint8_t* bgra);
  HRESULT Unpack(const AVFrame& picture, const PlaneView& view, AvPtr<AVFrame>* unpacked);
  PlaneView Scale(const PlaneView& view, KivSize output);
  void ScalePlane(const PlaneView& view, int plane, KivSize output, uint8_t* target);

  SwsContext* scaler = nullptr;
  PlaneRows rows;
  std::vector<uint8_t> scaled;
  std::vector<uint8_t> unrotated;
  std::vector<uint8_t> unmirrored;
};

PictureConverter::PictureConverter() : state_(std::make_unique<State>()) {}
PictureConverter::~PictureConverter() = default;

HRESULT PictureConverter::State::ThroughScaler(const AVFrame& picture, KivSize output,
                                               uint8_t* bgra) {
  const bool sameSize = picture.width == output.width && picture.height == output.height;
  scaler = sws_getCachedContext(
      scaler, picture.width, picture.height, static_cast<AVPixelFormat>(picture.format),
      output.width, output.height, AV_PIX_FMT_BGRA,
      (sameSize ? SWS_POINT : SWS_BICUBIC) | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
  if (!scaler) return E_UNSUPPORTED;
  uint8_t* const planes[4] = {bgra, nullptr, nullptr, nullptr};
  const int strides[4] = {output.width * kBytesPerPixel, 0, 0, 0};
  const int written =
      sws_scale(scaler, picture.data, picture.linesize, 0, picture.height, planes, strides);
  return written == output.height ? S_OK : E_FAIL;
}

HRESULT PictureConverter::State::Unpack(const AVFrame& picture, const PlaneView& view,
                                        AvPtr<AVFrame>* unpacked) {
  AvPtr<AVFrame> planar(av_frame_alloc());
  if (!planar) return E_OUTOFMEMORY;
  planar->format = UnpackedFormat(view);
  planar->width = picture.width;
  planar->height = picture.height;
  if (av_frame_get_buffer(planar.get(), 0) < 0) return E_OUTOFMEMORY;
  scaler = sws_getCachedContext(scaler, picture.width, picture.height,
                                static_cast<AVPixelFormat>(picture.format), picture.width,
                                picture.height, static_cast<AVPixelFormat>(planar->format),
                                SWS_BICUBIC | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
  if (!scaler) return E_UNSUPPORTED;
  // Both sides get the same range, so samples pass unchanged.
  const int* const table = sws_getCoefficients(SWS_CS_DEFAULT);
  sws_setColorspaceDetails(scaler, table, 1, table, 1, 0, 1 << 16, 1 << 16);
  sws_scale(scaler, picture.data, picture.linesize, 0, picture.height, planar->data,
            planar->linesize);
  CopyTag(picture.colorspace, &planar->colorspace);
  planar->color_range = ResolveColour(picture).fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  *unpacked = std::move(planar);
  return S_OK;
}

void PictureConverter::State::ScalePlane(const PlaneView& view, int plane, KivSize output,
                                         uint8_t* target) {
  const bool chroma = (plane == 1 || plane == 2) && view.kind == PlaneKind::kPlanarYuv;
  const KivSize size = chroma ? view.chroma : view.size;
  if (view.depth == 8) {
    libyuv::ScalePlane(view.data[plane], view.stride[plane], size.width, size.height, target,
                       output.width, output.width, output.height, libyuv::kFilterBox);
    return;
  }
  libyuv::ScalePlane_16(reinterpret_cast<const uint16_t*>(view.data[plane]), view.stride[plane] / 2,
                        size.width, size.height, reinterpret_cast<uint16_t*>(target), output.width,
                        output.width, output.height, libyuv::kFilterBox);
}

// Every plane at the output size: chroma then needs no further interpolation.
PlaneView PictureConverter::State::Scale(const PlaneView& view, KivSize output) {
  PlaneView result = view;
  result.size = result.chroma = output;
  result.horizontalShift = result.verticalShift = 0;
  const int planes = (view.kind == PlaneKind::kGrey ? 1 : 3) + (view.hasAlpha ? 1 : 0);
  const size_t planeBytes =
      PictureBytesOf(output) / kBytesPerPixel * static_cast<size_t>(view.BytesPerSample());
  scaled.resize(planeBytes * static_cast<size_t>(planes));
  for (int plane = 0; plane < planes; ++plane) {
    uint8_t* const target = scaled.data() + planeBytes * static_cast<size_t>(plane);
    ScalePlane(view, plane, output, target);
    result.data[plane] = target;
    result.stride[plane] = output.width * view.BytesPerSample();
  }
  return result;
}

HRESULT PictureConverter::State::ConvertUpright(const AVFrame& picture, KivSize output,
                                                uint8_t* bgra) {
  PlaneView view = ViewOf(picture);
  if (view.kind == PlaneKind::kOther) return ThroughScaler(picture, output, bgra);
  const bool resized = !(view.size == output);
  const bool interleaved = view.kind == PlaneKind::kSemiPlanarYuv;
  ColourSpace space = ResolveColour(picture);
  AvPtr<AVFrame> unpacked;
  if (view.kind == PlaneKind::kOtherYuv || (interleaved && resized)) {
    if (const HRESULT hr = Unpack(picture, view, &unpacked); Failed(hr)) return hr;
    view = ViewOf(*unpacked);
  }
  if (resized) view = Scale(view, output);
  rows.Write(view, space, bgra);
  return S_OK;
}

HRESULT PictureConverter::Convert(const AVFrame& picture, Orientation orientation, KivSize output,
                                  uint8_t* bgra) try {
  if (output.width < 1 || output.height < 1 || !bgra) return E_INVALIDARG;
  if (orientation.rotation == 0 && !orientation.mirrored) {
    return state_->ConvertUpright(picture, output, bgra);
  }
  KivSize upright = output;
  if (SidesExchanged(orientation)) std::swap(upright.width, upright.height);
  state_->unrotated.resize(PictureBytesOf(output));
  uint8_t* source = state_->unrotated.data();
  if (const HRESULT hr = state_->ConvertUpright(picture, upright, source); Failed(hr)) return hr;
  const int rowBytes = upright.width * kBytesPerPixel;
  if (orientation.mirrored) {
    state_->unmirrored.resize(PictureBytesOf(output));
    libyuv::ARGBMirror(source, rowBytes, state_->unmirrored.data(), rowBytes, upright.width,
                       upright.height);
    source = state_->unmirrored.data();
  }
  libyuv::ARGBRotate(source, rowBytes, bgra, output.width * kBytesPerPixel, upright.width,
                     upright.height, static_cast<libyuv::RotationMode>(orientation.rotation));
  return S_OK;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

}  // namespace kiv
