#include "session/Composite.h"

#include <algorithm>
#include <utility>

#include "engine/filters/Compositing.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/PictureFacts.h"
#include "session/Fail.h"
#include "session/Frames.h"
#include "session/OptionTable.h"

namespace kiv::session {
namespace {

// All are straight: rows without gaps.
kiv::SourcePicture SourceOf(IKivFrame& frame) {
  const KivSize size = SizeOf(frame);
  return {static_cast<const uint8_t*>(KivCommon::ReadPixels(&frame)), size.width, size.height,
          RowBytesOf(size.width)};
}

kiv::TargetPicture TargetOf(IKivFrame& frame) {
  const KivSize size = SizeOf(frame);
  return {static_cast<uint8_t*>(frame.GetPixels()), size.width, size.height,
          RowBytesOf(size.width)};
}

// The largest picture of `size`'s shape inside `room`.
KivRect FitInside(KivSize size, KivSize room) {
  const int64_t across = int64_t{room.width} * size.height;
  const int64_t down = int64_t{room.height} * size.width;
  const auto rounded = [](int64_t dividend, int64_t divisor) {
    return std::max(static_cast<int32_t>((dividend + divisor / 2) / divisor), 1);
  };
  KivSize fit = room;
  if (across < down) fit.height = rounded(across, size.width);
  if (down < across) fit.width = rounded(down, size.height);
  return {(room.width - fit.width) / 2, (room.height - fit.height) / 2, fit.width, fit.height};
}

KivComPtr<IKivFrame> Scaled(const KivComPtr<IKivFrame>& frame, KivSize size) {
  if (SizeOf(*frame) == size) return frame;
  KivComPtr<IKivFrame> scaled;
  if (Failed(MakeFrame(size, KivCGMemoryType::kDownstream, &scaled)) ||
      Failed(kiv::ScalePicture(SourceOf(*frame), TargetOf(*scaled), kiv::ScaleFilter::kCubic))) {
    Fail(ErrorCode::kNoMemory, "no memory for a frame of {}x{}", size.width, size.height);
  }
  return scaled;
}

}  // namespace

Composite::Composite(std::unique_ptr<ChainClip> clip, std::unique_ptr<ChainClip> footage)
    : clip_(std::move(clip)), footage_(std::move(footage)) {}

void Composite::Seek(int32_t frame) {
  clip_->Seek(frame);
  if (footage_) footage_->Seek(frame);
}

void Composite::Advance() {
  clip_->Advance();
  if (footage_) footage_->Advance();
}

void Composite::Retreat() {
  clip_->Retreat();
  if (footage_) footage_->Retreat();
}

void Composite::RequirePictures() const {
  clip_->RequirePictures();
  if (footage_) footage_->RequirePictures();
}

KivComPtr<IKivFrame> Composite::Pull() {
  auto frame = clip_->Pull();
  if (!IsComposed()) return frame;
  const auto shape = clip_->Fill() ? Filled(frame) : Straight(frame);
  return footage_ ? OverFootage(shape) : shape;
}

KivComPtr<IKivFrame> Composite::Filled(const KivComPtr<IKivFrame>& frame) const {
  auto shape = CopyOf(*frame);
  const auto fill = Scaled(clip_->Fill(), SizeOf(*shape));  // a crop may have changed the size
  if (Failed(kiv::FillShape(SourceOf(*fill), TargetOf(*shape)))) FailRun("the fill does not fit");
  return shape;
}

KivComPtr<IKivFrame> Composite::OverFootage(const KivComPtr<IKivFrame>& frame) const {
  auto below = CopyOf(*footage_->Pull());
  const KivRect place = FitInside(SizeOf(*frame), SizeOf(*below));
  const auto shape = Scaled(frame, {place.width, place.height});
  kiv::TargetPicture target = TargetOf(*below);
  target.pixels += static_cast<size_t>(place.top) * target.rowBytes +
                   static_cast<size_t>(place.left) * kBytesPerPixel;
  target.width = place.width;
  target.height = place.height;
  if (Failed(kiv::LayOver(SourceOf(*shape), target))) FailRun("the shape cannot be laid over");
  CopyStamps(*frame, *below);
  return below;
}

std::unique_ptr<Composite> BuildClip(const std::string& path, const ClipOptions& options,
                                     KivPropDecorator measured) {
  CheckOptions(options);
  PreparedClip prepared = Prepare(path, options, std::move(measured));
  std::unique_ptr<ChainClip> footage;
  if (prepared.isPreset && !options.alpha.over.empty()) {
    ClipOptions plain;
    plain.frameRate = options.frameRate;
    plain.onNote = options.onNote;
    plain.onOpening = options.onOpening;
    footage = std::make_unique<ChainClip>(Prepare(options.alpha.over, plain), plain, nullptr);
  }
  auto clip = std::make_unique<ChainClip>(std::move(prepared), options,
                                          footage ? &footage->Result() : nullptr);
  return std::make_unique<Composite>(std::move(clip), std::move(footage));
}

}  // namespace kiv::session
