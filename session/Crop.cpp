#include "session/Crop.h"

#include <algorithm>

#include "engine/picture/PictureScale.h"
#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/PictureFacts.h"
#include "kiv/values/Saturate.h"
#include "session/Convert.h"
#include "session/Fail.h"
#include "session/KeyframeFile.h"
#include "session/Notes.h"

namespace kiv::session {
namespace {

constexpr KivRectF kWholePicture{0, 0, 1, 1};

KivComPtr<IKivKeyFrameParam> KeyframesOf(IKivVideoStreamProcessInternal& process) {
  KivComPtr<IKivKeyFrameParam> keyframes;
  process.GetCropKeyFrameParam(keyframes.Put());
  if (!keyframes) FailUsage("the chain has no crop node: name crop in --chain");
  return keyframes;
}

// `result` is what reading the entry gave.
void CheckKind(HRESULT result, const ClipOptions& options, const wchar_t* key, const char* kind) {
  if (result != E_TYPEMISMATCH) return;
  Fail(ErrorCode::kDamaged, "cannot crop by the settings '{}': their {} is not {}",
       options.settings, KivCommon::WChar2Char(key), kind);
}

int32_t WholeSide(double side) { return std::max(kiv::SaturateToInt32(side + 0.5), 1); }

// The stretch from `begin` on, as far as it lies in the picture; NaN gives nothing.
struct Stretch {
  double begin = 0, length = 0;
};
Stretch Within(double begin, double length, int32_t size) {
  const double first = std::max(begin, 0.0) * size;
  const double end = std::min(begin + length, 1.0) * size;
  return first < end ? Stretch{first, end - first} : Stretch{};
}

KivComPtr<IKivFrame> NewFrameLike(IKivFrame& source, KivSize size) {
  KivComPtr<IKivFrame> frame;
  if (Failed(MakeFrame(size, KivCGMemoryType::kDownstream, &frame))) {
    Fail(ErrorCode::kNoMemory, "no memory for a frame of {}x{}", size.width, size.height);
  }
  CopyStamps(source, *frame);
  return frame;
}

}  // namespace

bool Crop::IsWanted(const ClipOptions& options, IKivProperties* settings) {
  int32_t enabled = 0;
  const HRESULT hr = settings->GetInt(KivKey::Crop::kEnabled, &enabled);
  if (options.crop || !options.cropKeyframes.empty()) return true;
  CheckKind(hr, options, KivKey::Crop::kEnabled, "an integer");
  return enabled != 0;
}

void Crop::SetUp(const ClipOptions& options, IKivProperties* settings,
                 const KivComPtr<IKivVideoStreamProcessInternal>& process, IKivRenderEx& render) {
  process_ = process;
  if (options.crop || !options.cropKeyframes.empty()) Animate(options);
  int32_t enabled = 0;
  process_->GetCropEnabled(&enabled);
  if (enabled == 0) return;
  if (!options.crop && options.cropKeyframes.empty()) LoadStored(options, settings);
  size_ = FirstSize(render);
  isFixed_ = IsFixed();
}

// With keyframes the region beside them has no effect.
void Crop::LoadStored(const ClipOptions& options, IKivProperties* settings) const {
  if (LoadStoredRegions(options.settings, KivKey::Crop::kRegion, settings,
                        *KeyframesOf(*process_))) {
    return;
  }
  KivRectF region = kWholePicture;
  const HRESULT hr = settings->GetRect(KivKey::Crop::kRegion, &region);
  CheckKind(hr, options, KivKey::Crop::kRegion, "a rectangle");
  if (!IsRegion(region)) {
    Fail(ErrorCode::kDamaged,
         "the settings '{}' crop to {:g},{:g},{:g},{:g}: the region does not lie inside the "
         "picture, whose edges are 0 and 1",
         options.settings, region.left, region.top, region.width, region.height);
  }
  if (region == kWholePicture) return;
  Tell(options.onNote, "the settings '{}' hold a crop region without keyframes: nothing is cut",
       options.settings);
}

bool Crop::IsFixed() const {
  const auto keyframes = KeyframesOf(*process_);
  KeyFrameRectF first, frame;
  keyframes->GetKeyFrameAt(0, &first);
  for (int32_t i = 1; keyframes->GetKeyFrameAt(i, &frame); ++i) {
    if (frame.value != first.value) return false;
  }
  return true;
}

void Crop::Animate(const ClipOptions& options) const {
  const auto keyframes = KeyframesOf(*process_);
  if (options.crop) {
    const KeyFrameRectF frame{0, ToKiv(*options.crop)};
    keyframes->RemoveAllKeyFrames();
    keyframes->AddKeyFrame(&frame);
    process_->SetCropRegion(&frame.value);
  } else {
    LoadRegions(options.cropKeyframes, *keyframes);
  }
  process_->SetCropEnabled(1);
}

KivSize Crop::FirstSize(IKivRenderEx& render) const {
  render.Seek(0, nullptr, static_cast<int32_t>(KivSeekMode::kReadOnward));
  KivSizeF size;
  process_->GetCroppedSize(&size);
  return {WholeSide(size.width), WholeSide(size.height)};
}

KivComPtr<IKivFrame> Crop::Cut(const KivComPtr<IKivFrame>& frame) const {
  if (!size_) return frame;
  KivRectF region = kWholePicture;
  process_->GetCropRegion(&region);
  KivFrameDescription source;
  frame->GetDescription(&source);
  if (region == kWholePicture && KivSize{source.width, source.height} == *size_) return frame;
  const Stretch across = Within(region.left, region.width, source.width);
  const Stretch down = Within(region.top, region.height, source.height);
  auto cut = NewFrameLike(*frame, *size_);
  const HRESULT hr =
      kiv::ScaleRegion({static_cast<const uint8_t*>(KivCommon::ReadPixels(frame.Get())),
                        source.width, source.height, static_cast<size_t>(source.rowBytes)},
                       {across.begin, down.begin, across.length, down.length},
                       {static_cast<uint8_t*>(KivCommon::PixelsToFill(cut.Get())), size_->width,
                        size_->height, RowBytesOf(size_->width)},
                       isFixed_ ? kiv::ScaleFilter::kCubic : kiv::ScaleFilter::kSmooth);
  if (Failed(hr)) {
    FailRun("the crop region {:g},{:g},{:g},{:g} of frame {} leaves no picture", region.left,
            region.top, region.width, region.height, source.frameIndex);
  }
  return cut;
}

}  // namespace kiv::session
