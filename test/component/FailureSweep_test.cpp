// Lets the n-th allocation fail, for every n, until the operation succeeds.
#include <cstdlib>
#include <functional>
#include <new>

#include "kiv/component/Factory.h"
#include "test/component/FacadeFixture.h"

namespace {

// Allocations until one fails; negative: none does.
thread_local int64_t untilFailure = -1;

bool MustFail() {
  if (untilFailure < 0) return false;
  return untilFailure-- == 0;
}

void* AllocateOrNull(std::size_t size) {
  return MustFail() ? nullptr : std::malloc(size ? size : 1);
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* const memory = AllocateOrNull(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size);
}
// Not inlined: the compiler would see free meet the operator new it believes in.
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
__attribute__((noinline)) void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

namespace {

// How often `operation` failed before it succeeded. Each failure must be E_OUTOFMEMORY.
int FailuresOf(const std::function<HRESULT()>& operation) {
  constexpr int kMost = 10000;
  for (int n = 0; n < kMost; ++n) {
    untilFailure = n;
    const HRESULT hr = operation();
    const bool failed = untilFailure < 0;
    untilFailure = -1;
    if (!failed) {
      EXPECT_EQ(S_OK, hr);
      return n;
    }
    EXPECT_TRUE(Succeeded(hr) || hr == E_OUTOFMEMORY) << "allocation " << n << " gives " << hr;
  }
  ADD_FAILURE() << "does not succeed";
  return kMost;
}

struct FailureSweep : test::ClipFixture {};

TEST_F(FailureSweep, MakingAComponent) {
  const auto factory = KivComPtr<IClassFactory>::Adopt(new CFactory(ComponentClasses().front()));
  EXPECT_LT(0, FailuresOf([&] {
              KivComPtr<IUnknown> made;
              const HRESULT hr = factory->CreateInstance(nullptr, IUnknown::kIid, made.PutVoid());
              EXPECT_EQ(Succeeded(hr), static_cast<bool>(made));
              return hr;
            }));
}

TEST_F(FailureSweep, BuildingAChain) {
  KivComPtr<IKivSourceBase> before, after;
  facade->GetTailNode(&before);
  const int32_t ids[] = {0, 0, 0};
  EXPECT_LT(0, FailuresOf([&] {
              const HRESULT hr = facade->BuildChain(ids, 3);
              facade->GetTailNode(&after);
              EXPECT_EQ(Failed(hr), before == after);
              return hr;
            }));
}

TEST_F(FailureSweep, InitializingAndPullingAPlaceholder) {
  const KivSize size{16, 9};
  facade->SetOutputSize(&size);
  EXPECT_LT(0, FailuresOf([&] {
              render->Cleanup();
              frame.Reset();
              const HRESULT hr = render->GetFrame(&frame);
              // No frame is what a host sees of a placeholder that cannot be made.
              return hr == E_FAIL && !frame ? E_OUTOFMEMORY : hr;
            }));
  EXPECT_EQ(0, test::NumberIn(frame));
}

TEST_F(FailureSweep, SettingSavingAndLoadingAProxyPath) {
  const std::wstring longPath(300, L'p');
  const KivPropDecorator bag = KivCommon::CreateProperties();
  FailuresOf([&] { return facade->SetProxyPath(longPath.c_str()); });
  FailuresOf([&] { return facade->SaveSettings(bag.Get()); });
  FailuresOf([&] { return facade->LoadSettings(bag.Get()); });
  wchar_t path[512] = {};
  facade->GetProxyPath(path, 512);
  EXPECT_EQ(longPath, path);
}

}  // namespace
