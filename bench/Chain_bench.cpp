// What the machinery around a frame costs: a command through a chain, bags, values.
#include <benchmark/benchmark.h>

#include <string>

#include "kiv/chain/SourceBase.h"
#include "kiv/chain/VideoClipRender.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace {

constexpr NodeClass kPassThrough[] = {{NodeType::kCrop, &MakeNode<CSourceBase>}};

KivComPtr<IKivRenderEx> MakeChain(int nodes) {
  auto* const render = new CVideoClipRender(nullptr, kPassThrough);
  render->NonDelegatingAddRef();
  KivComPtr<IKivRenderEx> held(static_cast<IKivRenderEx*>(render));
  render->NonDelegatingRelease();
  const std::vector<int32_t> ids(static_cast<size_t>(nodes), static_cast<int32_t>(NodeType::kCrop));
  render->BuildChain(ids.data(), nodes);
  return held;
}

// The baseline is a chain of one node: the lock and the first call.
void BM_CommandThroughChain(benchmark::State& state) {
  const KivComPtr<IKivRenderEx> render = MakeChain(static_cast<int>(state.range(0)));
  KivSize size;
  for (auto _ : state) {
    benchmark::DoNotOptimize(render->ProcessCommand(0xA01, reinterpret_cast<uintptr_t>(&size), 0));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CommandThroughChain)->Arg(1)->Arg(8);

void BM_SeekThroughChain(benchmark::State& state) {
  const KivComPtr<IKivRenderEx> render = MakeChain(8);
  int32_t frame = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(render->Seek(frame, nullptr, 1));
    frame = (frame + 1) % 1000;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SeekThroughChain);

KivPropDecorator BagWith(int keys) {
  KivPropDecorator bag = KivCommon::CreateProperties();
  for (int i = 0; i < keys; ++i) {
    bag->SetDouble((L"Some.Group.Key." + std::to_wstring(i)).c_str(), i);
  }
  return bag;
}

void BM_BagGetDouble(benchmark::State& state) {
  const KivPropDecorator bag = BagWith(50);
  double value = 0;
  for (auto _ : state) benchmark::DoNotOptimize(bag->GetDouble(L"Some.Group.Key.25", &value));
}
BENCHMARK(BM_BagGetDouble);

void BM_BagSetDouble(benchmark::State& state) {
  const KivPropDecorator bag = BagWith(50);
  double value = 0;
  for (auto _ : state) benchmark::DoNotOptimize(bag->SetDouble(L"Some.Group.Key.25", value += 1));
}
BENCHMARK(BM_BagSetDouble);

template <typename T>
void WriteValue(benchmark::State& state, const T& native) {
  CKivValue value;
  for (auto _ : state) benchmark::DoNotOptimize(value.SetValue(native));
}

template <typename T>
void ReadValue(benchmark::State& state, const T& native) {
  CKivValue value;
  value.SetValue(native);
  T back{};
  for (auto _ : state) benchmark::DoNotOptimize(value.GetValue(&back));
}

void BM_ValueWriteDouble(benchmark::State& state) { WriteValue(state, 0.123456); }
void BM_ValueReadDouble(benchmark::State& state) { ReadValue(state, 0.123456); }
void BM_ValueWriteRect(benchmark::State& state) {
  WriteValue(state, KivRectF{0.1, 0.25, 0.5, 0.625});
}
void BM_ValueReadRect(benchmark::State& state) {
  ReadValue(state, KivRectF{0.1, 0.25, 0.5, 0.625});
}
BENCHMARK(BM_ValueWriteDouble);
BENCHMARK(BM_ValueReadDouble);
BENCHMARK(BM_ValueWriteRect);
BENCHMARK(BM_ValueReadRect);

}  // namespace
