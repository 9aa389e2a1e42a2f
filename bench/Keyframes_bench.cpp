// What a keyframed parameter costs at a frame, and a cut picture.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "engine/picture/PictureScale.h"
#include "kiv/keyframes/KeyFrameParam.h"

namespace {

constexpr int32_t kApart = 10;

double ValueOf(int32_t index) { return static_cast<double>(index % 97) / 97; }

KivComPtr<CKivKeyFrameParam> MakeNumbers(int32_t count) {
  const KivComPtr<CKivKeyFrameParam> param(new CKivKeyFrameParam);
  for (int32_t i = 0; i < count; ++i) {
    const KeyFrameDouble frame{i * kApart, ValueOf(i)};
    param->AddKeyFrame(&frame);
  }
  return param;
}

KivComPtr<CKivKeyFrameParam> MakeRegions(int32_t count) {
  const KivComPtr<CKivKeyFrameParam> param(new CKivKeyFrameParam);
  for (int32_t i = 0; i < count; ++i) {
    const double value = ValueOf(i);
    const KeyFrameRectF frame{i * kApart, {value / 3, value / 7, 1 - value / 3, 1 - value / 7}};
    param->AddKeyFrame(&frame);
  }
  return param;
}

// Frames in an order that neither the branch predictor nor the cache knows; nine of ten lie between
// keyframes.
template <typename T>
void Evaluate(benchmark::State& state, const KivComPtr<CKivKeyFrameParam>& param) {
  const auto frames = static_cast<uint32_t>(param->GetKeyFrameCount()) * kApart;
  uint32_t random = 1;
  T value{};
  for (auto _ : state) {
    random = random * 1664525 + 1013904223;
    const auto frame = static_cast<int32_t>(uint64_t{random} * frames >> 32);
    benchmark::DoNotOptimize(param->GetValueAt(frame, &value));
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_NumberAt(benchmark::State& state) {
  Evaluate<double>(state, MakeNumbers(static_cast<int32_t>(state.range(0))));
}
void BM_RegionAt(benchmark::State& state) {
  Evaluate<KivRectF>(state, MakeRegions(static_cast<int32_t>(state.range(0))));
}
BENCHMARK(BM_NumberAt)->Arg(1)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_RegionAt)->Arg(1)->Arg(100)->Arg(1000)->Arg(10000);

// The baseline: the same value through its text.
void BM_NumberThroughText(benchmark::State& state) {
  CKivValue value;
  double number = 0.1;
  for (auto _ : state) {
    value.SetValue(number);
    value.GetValue(&number);
    benchmark::DoNotOptimize(number);
  }
}
BENCHMARK(BM_NumberThroughText);

void BM_ReadDocument(benchmark::State& state) {
  std::wstring text;
  MakeRegions(static_cast<int32_t>(state.range(0)))->ToJson(&text);
  for (auto _ : state) {
    const KivComPtr<CKivKeyFrameParam> param(new CKivKeyFrameParam);
    benchmark::DoNotOptimize(param->FromJson(text));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ReadDocument)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond);

// A 1080p picture cut to a region of that share of its sides, and shown in its own size.
void CutPicture(benchmark::State& state, kiv::ScaleFilter filter) {
  constexpr int32_t kWidth = 1920, kHeight = 1080;
  constexpr size_t kRow = kWidth * 4;
  const std::vector<uint8_t> source(kRow * kHeight, 0xFF);
  std::vector<uint8_t> target(kRow * kHeight);
  const double share = static_cast<double>(state.range(0)) / 100;
  const KivRectF region{101.3, 55.7, 1800 * share, 1000 * share};
  for (auto _ : state) {
    kiv::ScaleRegion({source.data(), kWidth, kHeight, kRow}, region,
                     {target.data(), kWidth, kHeight, kRow}, filter);
  }
  state.SetItemsProcessed(state.iterations());
}
void BM_CutSmooth(benchmark::State& state) { CutPicture(state, kiv::ScaleFilter::kSmooth); }
void BM_CutLinear(benchmark::State& state) { CutPicture(state, kiv::ScaleFilter::kLinear); }
BENCHMARK(BM_CutSmooth)->Arg(40)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CutLinear)->Arg(40)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace
