#include "engine/common/ClassRegistry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

#include "engine/common/ClassIds.h"
#include "engine/common/CountedObject.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

constexpr GUID kTestClass{0x1234, 0x56, 0x78, {1, 2, 3, 4, 5, 6, 7, 8}};

class Device : public CountedObject<IKivCGDevice> {};

HRESULT CreateDevice(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<Device>(outer, iid, object);
}

IUnknown* Poison() { return reinterpret_cast<IUnknown*>(uintptr_t{0xDEAD}); }

TEST(ClassRegistry, AnUnknownClassIsNotAvailableAndLeavesNull) {
  void* object = Poison();
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
            KivCommon::GetInterface(kTestClass, nullptr, 0, IUnknown::kIid, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_EQ(E_POINTER, KivCommon::GetInterface(kTestClass, nullptr, 0, IUnknown::kIid, nullptr));
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

struct FailureCase {
  const char* name;
  CreateFunction create;
  HRESULT expected;
};

class CreationFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(CreationFailure, BecomesACodeAndANullObject) {
  const ScopedClass scoped(kTestClass, GetParam().create);
  void* object = Poison();
  EXPECT_EQ(GetParam().expected,
            KivCommon::GetInterface(kTestClass, nullptr, 1, IUnknown::kIid, &object));
  EXPECT_EQ(nullptr, object);
}

INSTANTIATE_TEST_SUITE_P(
    Ways, CreationFailure,
    testing::Values(
        FailureCase{"Throws", [](auto...) -> HRESULT { throw std::runtime_error("no"); }, E_FAIL},
        FailureCase{"NoMemory", [](auto...) -> HRESULT { throw std::bad_alloc(); }, E_OUTOFMEMORY},
        FailureCase{"LiesAboutSuccess", [](auto...) { return S_OK; }, E_FAIL},
        FailureCase{"FailsButWrites",
                    [](IUnknown*, const GUID&, void** object) {
                      *object = Poison();
                      return E_NOTREADY;
                    },
                    E_NOTREADY}),
    [](const auto& test) { return test.param.name; });

TEST(ClassRegistry, AnOuterObjectAndAForeignInterfaceAreRefused) {
  const ScopedClass scoped(kTestClass, &CreateDevice);
  KivComPtr<IUnknown> outer;
  ASSERT_EQ(S_OK, KivCommon::GetInterface(kTestClass, nullptr, 0, IUnknown::kIid, outer.PutVoid()));
  const int64_t alive = LiveObjectCount();
  KivComPtr<IUnknown> object;
  EXPECT_EQ(CLASS_E_NOAGGREGATION,
            KivCommon::GetInterface(kTestClass, outer.Get(), 0, IUnknown::kIid, object.PutVoid()));
  EXPECT_EQ(E_NOINTERFACE,
            KivCommon::GetInterface(kTestClass, nullptr, 0, IKivFrame::kIid, object.PutVoid()));
  EXPECT_EQ(alive, LiveObjectCount());
}

TEST(ClassRegistry, ScopedClassesNestAndRestore) {
  int made = 0;
  const auto counting = [&made](IUnknown* outer, const GUID& iid, void** object) {
    ++made;
    return CreateDevice(outer, iid, object);
  };
  {
    const ScopedClass outerScope(kDeviceClassId, counting);
    EXPECT_TRUE(KivCommon::GetCGDevice());
    {
      const ScopedClass without(kDeviceClassId, nullptr);
      EXPECT_FALSE(KivCommon::GetCGDevice());
    }
    EXPECT_TRUE(KivCommon::GetCGDevice());
  }
  EXPECT_EQ(2, made);
}

TEST(ClassRegistry, ACreationFunctionMayUseTheRegistry) {
  const ScopedClass scoped(kTestClass, [](IUnknown*, const GUID& iid, void** object) {
    ClassRegistry::Shared().Withdraw(kTestClass);
    return CreateDevice(nullptr, iid, object);
  });
  KivComPtr<IUnknown> object;
  EXPECT_EQ(S_OK,
            KivCommon::GetInterface(kTestClass, nullptr, 0, IUnknown::kIid, object.PutVoid()));
  EXPECT_TRUE(object);
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
        if (Failed(registry.Create(kTestClass, nullptr, IUnknown::kIid, object.PutVoid()))) {
          ++failures;
        }
      }
    });
  }
  for (int round = 0; round < 2000; ++round) registry.Replace(kTestClass, &CreateDevice);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, failures.load());
}

}  // namespace
}  // namespace kiv
