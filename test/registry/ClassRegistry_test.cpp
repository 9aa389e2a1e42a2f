#include "engine/registry/ClassRegistry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

#include "engine/base/CountedObject.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

constexpr GUID kTestClass{0x1234, 0x56, 0x78, {1, 2, 3, 4, 5, 6, 7, 8}};

class Device : public CountedObject<IKivCGDevice> {};

HRESULT CreateDevice(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<Device>(outer, iid, object);
}

IUnknown* Poison() { return reinterpret_cast<IUnknown*>(uintptr_t{0xDEAD}); }

HRESULT Make(void** object, const GUID& iid = IUnknown::kIid, IUnknown* outer = nullptr) {
  return KivCommon::GetInterface(kTestClass, outer, 0, iid, object);
}

TEST(ClassRegistry, ClassesComeAndGoAtRunTime) {
  ClassRegistry registry;
  KivComPtr<IUnknown> object;
  EXPECT_EQ(S_OK, registry.Add(kTestClass, &CreateDevice));
  EXPECT_EQ(S_FALSE, registry.Add(kTestClass, &CreateDevice));
  EXPECT_EQ(E_INVALIDARG, registry.Add(kTestClass, nullptr));
  EXPECT_EQ(S_OK, registry.Create(kTestClass, nullptr, IUnknown::kIid, object.PutVoid()));
  EXPECT_TRUE(registry.Withdraw(kTestClass));
  EXPECT_FALSE(registry.Withdraw(kTestClass));
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
            registry.Create(kTestClass, nullptr, IUnknown::kIid, object.PutVoid()));
}

TEST(ClassRegistry, AFailureBecomesACodeAndANullObject) {
  const std::pair<CreateFunction, HRESULT> kCases[] = {
      {nullptr, CLASS_E_CLASSNOTAVAILABLE},
      {[](auto...) -> HRESULT { throw std::runtime_error("no"); }, E_FAIL},
      {[](auto...) -> HRESULT { throw std::bad_alloc(); }, E_OUTOFMEMORY},
      {[](auto...) { return S_OK; }, E_FAIL},  // lies about its success
      {[](IUnknown*, const GUID&, void** made) { return *made = Poison(), E_NOTREADY; },
       E_NOTREADY}};
  for (const auto& [create, expected] : kCases) {
    const ScopedClass scoped(kTestClass, create);
    void* object = Poison();
    EXPECT_EQ(expected, Make(&object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(E_POINTER, Make(nullptr));
  }
}

TEST(ClassRegistry, AnOuterObjectAndAForeignInterfaceAreRefused) {
  KivComPtr<IUnknown> outer, object;
  const ScopedClass scoped(kTestClass, [](auto... arguments) {
    ClassRegistry::Shared().Replace(kTestClass, &CreateDevice);  // may use the registry
    return CreateDevice(arguments...);
  });
  ASSERT_EQ(S_OK, Make(outer.PutVoid()));
  const int64_t alive = LiveObjectCount();
  EXPECT_EQ(CLASS_E_NOAGGREGATION, Make(object.PutVoid(), IUnknown::kIid, outer.Get()));
  EXPECT_EQ(E_NOINTERFACE, Make(object.PutVoid(), IKivFrame::kIid));
  EXPECT_EQ(alive, LiveObjectCount());
}

TEST(ClassRegistry, CreatesWhileAnotherThreadReplaces) {
  ClassRegistry registry;
  registry.Add(kTestClass, &CreateDevice);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 2000; ++round) {
        KivComPtr<IUnknown> object;
        failures += Failed(registry.Create(kTestClass, nullptr, IUnknown::kIid, object.PutVoid()));
      }
    });
  }
  for (int round = 0; round < 2000; ++round) registry.Replace(kTestClass, &CreateDevice);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures.load());
}

}  // namespace
}  // namespace kiv
