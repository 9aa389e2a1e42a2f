#include "kiv/effects/AlphaVideoPictures.h"

#include <utility>

#include "kiv/Shared/MyHelper.h"
#include "kiv/StreamCommon/MediaLocations.h"
#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/KeyNames.h"

namespace {

constexpr KivRectF kWhole{0, 0, 1, 1};
constexpr int32_t kResizeWhole = 0;
constexpr float kMostInByte = 255.0F;

void SetColour(const KivComPtr<IKivCGFilter>& filter, const wchar_t* const (&names)[3],
               int32_t colour) {
  for (int i = 0; i < 3; ++i) {
    const int component = (colour >> (16 - 8 * i)) & 0xFF;
    const float fraction = static_cast<float>(component) / kMostInByte;
    MyHelper::SetFilterParamDouble(filter, names[i], static_cast<double>(fraction));
  }
}

void SetFill(const KivComPtr<IKivCGFilter>& filter, const AlphaVideoFields& fields) {
  static constexpr const wchar_t* kFirst[] = {L"r0", L"g0", L"b0"};
  static constexpr const wchar_t* kSecond[] = {L"r1", L"g1", L"b1"};
  MyHelper::SetFilterParamInt(filter, L"mode", fields.fillType);
  MyHelper::SetFilterParamDouble(filter, L"theta", fields.gradientAngle);
  if (fields.fillType == 0) return SetColour(filter, kFirst, fields.singleColour);
  SetColour(filter, kFirst, fields.gradientColour1);
  SetColour(filter, kSecond, fields.gradientColour2);
}

HRESULT RunInto(const KivComPtr<IKivCGFilter>& filter, const KivComPtr<IKivFrame>& first,
                const KivComPtr<IKivFrame>& second, const KivComPtr<IKivFrame>& output) {
  const HRESULT hr = MyHelper::ApplyFilter(filter, kWhole, kWhole, first, second, output);
  const HRESULT read = MyHelper::ReadFilterOutput(filter, output);
  return Failed(hr) ? hr : read;
}

}  // namespace

AlphaVideoPictures::AlphaVideoPictures() {
  KivCommon::GetInterface(kImageProcClassId, nullptr, 0, IKivImageProc::kIid,
                          imageProcessor_.PutVoid());
}

HRESULT AlphaVideoPictures::LoadFillImage(const std::wstring& path,
                                          const KivComPtr<IKivFrame>& upstream) {
  const KivSize size = kiv::SizeOf(*upstream);
  const bool loaded = fillImage_ && path == loadedImagePath_ && kiv::SizeOf(*fillImage_) == size;
  if (loaded || !IsMediaLocationAvailable(path.c_str())) return S_FALSE;
  KivComPtr<IKivFrame> blank;
  if (!KivCommon::CreateBGRAFrameFrom(blank, upstream.Get(), KivCGMemoryType::kDownstream)) {
    return E_OUTOFMEMORY;
  }
  blank->GetBitmap()->Fill(0);
  loadedImagePath_ = path;
  fillImage_ = std::move(blank);
  const auto bitmap = ImageOfSize(path, size);
  return bitmap ? Premultiply(bitmap) : S_FALSE;
}

KivComPtr<IKivBitmap> AlphaVideoPictures::ImageOfSize(const std::wstring& path,
                                                      const KivSize& size) const {
  auto bitmap = KivCommon::ImageFunc::CreateBitmapFromFile(path.c_str());
  if (!bitmap || kiv::SizeOf(*bitmap) == size) return bitmap;
  auto resized = KivCommon::ImageFunc::InitBitmap(size.width, size.height);
  if (!resized) return nullptr;
  KivCommon::ImageFunc::ResizeImage(imageProcessor_.Get(), bitmap.Get(), resized.Get(),
                                    kResizeWhole);
  return resized;
}

HRESULT AlphaVideoPictures::Premultiply(const KivComPtr<IKivBitmap>& bitmap) {
  KivComPtr<IKivFrame> frame;
  const HRESULT made = kiv::MakeFrame(kiv::SizeOf(*bitmap), KivCGMemoryType::kDownstream, &frame,
                                      bitmap->GetPixels());
  if (Failed(made)) return E_OUTOFMEMORY;
  const auto filter = MyHelper::CreateFilter(KivKey::Filter::kFilterGUID_preMultAlpha, nullptr);
  MyHelper::ApplyFilter(filter, kWhole, kWhole, frame, nullptr, fillImage_);
  return MyHelper::ReadFilterOutput(filter, fillImage_);
}

KivComPtr<IKivFrame> AlphaVideoPictures::NextOutput(const KivComPtr<IKivFrame>& upstream) {
  auto output =
      KivCommon::CreateBGRAFrameFrom(output_, upstream.Get(), KivCGMemoryType::kDownstream);
  if (output) Stamp(upstream, output);
  return output;
}

KivComPtr<IKivFrame> AlphaVideoPictures::Recolour(const AlphaVideoFields& fields, int32_t channel,
                                                  const KivComPtr<IKivFrame>& picture,
                                                  const KivComPtr<IKivFrame>& upstream) {
  using KivKey::Filter::kFilterGUID_AlphaChannel;
  if (!alphaFilter_) alphaFilter_ = MyHelper::CreateFilter(kFilterGUID_AlphaChannel, nullptr);
  if (!alphaFilter_) return Replaced(picture, upstream);
  SetFill(alphaFilter_, fields);
  MyHelper::SetFilterParamInt(alphaFilter_, L"channelChoose", channel);
  auto output = NextOutput(upstream);
  if (!output) return upstream;
  alphaFilter_->CommitParameters();
  if (Failed(RunInto(alphaFilter_, picture, nullptr, output))) return Replaced(picture, upstream);
  return output;
}

KivComPtr<IKivFrame> AlphaVideoPictures::Masked(const KivComPtr<IKivFrame>& mask,
                                                const KivComPtr<IKivFrame>& upstream) {
  using KivKey::Filter::kFilterGUID_GreenChannel;
  if (!greenFilter_) greenFilter_ = MyHelper::CreateFilter(kFilterGUID_GreenChannel, nullptr);
  auto output = NextOutput(upstream);
  if (!output) return upstream;
  if (Failed(RunInto(greenFilter_, mask, upstream, output))) return Replaced(upstream, upstream);
  return output;
}

KivComPtr<IKivFrame> AlphaVideoPictures::Replaced(const KivComPtr<IKivFrame>& picture,
                                                  const KivComPtr<IKivFrame>& upstream) {
  auto output = NextOutput(upstream);
  if (!output || Failed(output->CopyFrom(picture.Get()))) return upstream;
  Stamp(upstream, output);
  return output;
}

void AlphaVideoPictures::Stamp(const KivComPtr<IKivFrame>& upstream,
                               const KivComPtr<IKivFrame>& output) const {
  output->SetTime(time_, duration_);
  kiv::CopyIndex(*upstream, *output);
}

void AlphaVideoPictures::Release() {
  alphaFilter_.Reset();
  greenFilter_.Reset();
  output_.Reset();
  fillImage_.Reset();
  loadedImagePath_.clear();
}
