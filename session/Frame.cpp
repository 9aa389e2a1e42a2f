#include "session/Frame.h"

#include <new>
#include <utility>

#include "engine/picture/PictureScale.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/PictureFacts.h"
#include "session/Convert.h"
#include "session/Fail.h"
#include "session/FrameMaker.h"
#include "session/Frames.h"

namespace kiv::session {
namespace {

std::shared_ptr<uint8_t> NewPixels(Size size) {
  auto* const pixels = new (std::nothrow) uint8_t[PictureBytesOf(ToKiv(size))];
  if (pixels == nullptr) {
    Fail(ErrorCode::kNoMemory, "no memory for a frame of {}x{}", size.width, size.height);
  }
  return {pixels, std::default_delete<uint8_t[]>()};
}

}  // namespace

Frame FrameMaker::Make(const KivComPtr<IKivFrame>& frame, const FramePlace& place) {
  Frame made;
  const KivSize size = SizeOf(*frame);
  made.size_ = FromKiv(size);
  made.stride_ = static_cast<ptrdiff_t>(RowBytesOf(size.width));
  const auto* pixels = static_cast<const uint8_t*>(KivCommon::ReadPixels(frame.Get()));
  made.pixels_ = std::shared_ptr<const uint8_t>(pixels, [frame](const uint8_t*) {});
  made.index_ = place.index;
  made.sourceFrame_ = place.sourceFrame;
  made.time_ = place.time;
  made.sourceTime_ = place.sourceTime;
  return made;
}

Frame Frame::Scaled(session::Size size) const {
  if (!pixels_ || !kiv::IsPictureSize(size.width, size.height)) {
    FailUsage("a picture of {}x{} cannot be scaled to {}x{}", size_.width, size_.height, size.width,
              size.height);
  }
  Frame scaled = *this;
  const auto pixels = NewPixels(size);
  scaled.size_ = size;
  scaled.stride_ = static_cast<ptrdiff_t>(RowBytesOf(size.width));
  scaled.pixels_ = pixels;
  const kiv::SourcePicture source{pixels_.get(), size_.width, size_.height,
                                  static_cast<size_t>(stride_)};
  const kiv::TargetPicture target{pixels.get(), size.width, size.height,
                                  static_cast<size_t>(scaled.stride_)};
  if (Failed(kiv::ScalePicture(source, target, kiv::ScaleFilter::kArea))) {
    FailRun("the picture cannot be scaled to {}x{}", size.width, size.height);
  }
  return scaled;
}

}  // namespace kiv::session
