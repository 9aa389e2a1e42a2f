// A numbered clip with source, cache and reverse, driven through the facade.
#pragma once

#include <string>

#include "kiv/platform/KeyNames.h"
#include "test/component/FacadeFixture.h"
#include "test/support/NumberedClip.h"

namespace test {

constexpr int32_t kSource = 0;
constexpr int32_t kCache = 2;
constexpr int32_t kReverse = 6;

struct ReverseClip {
  void Open(const kivtest::ClipRecipe& recipe, int32_t spanSize) {
    facade = FacadePtr(new CKivVideoStreamProcess(nullptr, ComponentNodes()));
    render = facade.As<IKivRenderEx>();
    Build(*facade, {kSource, kCache, kReverse});
    KivComPtr<IKivMediaSource> file;
    KivComPtr<IKivMediaDecoder> decoder;
    const std::wstring path = KivCommon::Char2WChar(kivtest::MakeClip(recipe).c_str());
    KivCommon::GetFactory(nullptr)->OpenMediaFile(file.Put(), path.c_str(), nullptr);
    file->GetVideoStream(0, decoder.Put());
    facade->SetSourceFrameRate(&recipe.rate);
    facade->SetDecoder(decoder.Get());
    Initialize(recipe, spanSize);
  }
  void Initialize(const kivtest::ClipRecipe& recipe, int32_t spanSize) {
    KivComPtr<IKivFrame> none;
    render->GetLastFrame(&none);
    const std::wstring video = L".Video";
    const KivPropDecorator settings = KivCommon::CreateProperties();
    const KivPropDecorator info = KivCommon::CreateProperties();
    settings->SetRational(KivKey::Render::kRender_Framerate, &recipe.rate);
    info->SetInt((KivKey::Source::kSource_TotalFrameCount + video).c_str(), recipe.frames);
    info->SetRational((KivKey::Source::kSource_Framerate + video).c_str(), &recipe.rate);
    info->SetInt(KivKey::Speed::kReverse_FrameCacheCount, spanSize);
    KivComPtr<IKivSourceBase> tail;
    facade->GetTailNode(&tail);
    tail->Initialize(settings.Reference(), info.Reference());
  }
  void Reverse(uint32_t on, KivRange range) {
    const SpeedSettings speed{.reverse = on, .reverseStart = range.start, .reverseEnd = range.end};
    facade->SetSpeedSettings(&speed);
  }
  int32_t Shown() {
    render->GetFrame(&frame);
    const KivSize size = SizeOf(frame);
    const auto* pixels = frame ? static_cast<const uint8_t*>(frame->GetPixels()) : nullptr;
    return pixels ? kivtest::ReadNumber(pixels, size.width, size.height) : -1;
  }
  int32_t ShownAt(int32_t index) {
    render->Seek(index, nullptr, 1);
    return Shown();
  }

  FacadePtr facade;
  KivComPtr<IKivRenderEx> render;
  KivComPtr<IKivFrame> frame;
};

}  // namespace test
