// What the filters of alpha presets and the compositing take for a 1080p picture on one core, run as the
// alpha node runs them: parameters taken over, run, read into a frame.
//
// BM_Copy is what reading and writing such a picture takes alone.
#include <benchmark/benchmark.h>

#include <random>

#include "engine/filters/Compositing.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"

namespace {

constexpr KivSize kSize{1920, 1080};

// Three quarters of the pixels opaque or transparent, as shapes have them.
KivComPtr<IKivFrame> NewPicture(unsigned seed) {
  KivComPtr<IKivFrame> frame;
  KivCommon::CreateBGRAFrameFrom(frame, kSize, KivCGMemoryType::kDownstream);
  std::mt19937 random(seed);
  auto* const pixels = static_cast<uint32_t*>(frame->GetPixels());
  for (int i = 0; i < kSize.width * kSize.height; ++i) {
    const auto value = static_cast<uint32_t>(random());
    pixels[i] = i % 4 == 0 ? value : i % 4 == 1 ? value & 0xFFFFFF : value | 0xFF000000;
  }
  return frame;
}

KivComPtr<IKivCGFilter> NewFilter(const wchar_t* guid) {
  wchar_t bare[64] = {};
  KivCommon::Guid::RemoveBraces(guid, bare, 64);
  KivComPtr<IKivCGFilter> filter;
  KivCommon::GetCGFilterManager()->CreateFilter(KivCommon::GetCGDevice().Get(), bare, &filter);
  return filter;
}

void Run(benchmark::State& state, const KivComPtr<IKivCGFilter>& filter) {
  const auto first = NewPicture(1), second = NewPicture(2), output = NewPicture(3);
  for (auto _ : state) {
    filter->CommitParameters();
    filter->SetFirstInput(first.Get());
    filter->SetSecondInput(second.Get());
    filter->Run(&kSize);
    filter->ReadOutput(output.Get());
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_Copy(benchmark::State& state) {
  const auto from = NewPicture(1), to = NewPicture(2);
  for (auto _ : state) to->CopyFrom(from.Get());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Copy)->Unit(benchmark::kMillisecond);

void BM_AlphaSingle(benchmark::State& state) {
  Run(state, NewFilter(KivKey::Filter::kFilterGUID_AlphaChannel));
}
BENCHMARK(BM_AlphaSingle)->Unit(benchmark::kMillisecond);

void BM_AlphaGradient(benchmark::State& state) {
  const auto filter = NewFilter(KivKey::Filter::kFilterGUID_AlphaChannel);
  KivComPtr<IUnknown> object;
  filter.As<IKivProperties>()->GetObject(KivKey::Filter::Property::kParamsArray[0], object.Put());
  object.As<IKivProperties>()->SetInt(KivKey::Filter::Property::kValue_Current, 1);
  Run(state, filter);
}
BENCHMARK(BM_AlphaGradient)->Unit(benchmark::kMillisecond);

void BM_Green(benchmark::State& state) {
  Run(state, NewFilter(KivKey::Filter::kFilterGUID_GreenChannel));
}
BENCHMARK(BM_Green)->Unit(benchmark::kMillisecond);

void BM_Premultiply(benchmark::State& state) {
  Run(state, NewFilter(KivKey::Filter::kFilterGUID_preMultAlpha));
}
BENCHMARK(BM_Premultiply)->Unit(benchmark::kMillisecond);

void BM_LayOver(benchmark::State& state) {
  const auto shape = NewPicture(1), footage = NewPicture(2);
  footage->GetBitmap()->Fill(0xFF336699);
  const auto rowBytes = static_cast<size_t>(kSize.width) * 4;
  for (auto _ : state) {
    kiv::LayOver(
        {static_cast<const uint8_t*>(shape->GetPixels()), kSize.width, kSize.height, rowBytes},
        {static_cast<uint8_t*>(footage->GetPixels()), kSize.width, kSize.height, rowBytes});
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LayOver)->Unit(benchmark::kMillisecond);

}  // namespace
