#include "kiv/component/EntryPoints.h"

#include "kiv/chain/IKivRender.h"
#include "kiv/component/IKivVideoStreamProcess.h"
#include "test/support/Ledger.h"

namespace {

constexpr GUID kOtherClass{0x49C50441, 0x156C, 0x41D2, {0x9B, 0x56, 0x87, 0, 0x6D, 0x5B, 0x81, 1}};

uint32_t CountOf(IUnknown* object) { return object->AddRef(), object->Release(); }

// Nothing of the component is alive when a test ends, as the library itself tells.
struct EntryPoints : testing::Test {
  void SetUp() override {
    ASSERT_EQ(S_OK, DllGetClassObject(kVideoStreamProcessClassId, IClassFactory::kIid,
                                      factory.PutVoid()));
  }
  void TearDown() override {
    factory.Reset();
    EXPECT_EQ(S_OK, DllCanUnloadNow());
  }
  KivComPtr<IClassFactory> factory;
};

TEST_F(EntryPoints, CheckTheInterfaceBeforeTheClass) {
  int untouched = 0;
  void* object = &untouched;
  EXPECT_EQ(E_NOINTERFACE, DllGetClassObject(kOtherClass, IKivRender::kIid, &object));
  EXPECT_EQ(&untouched, object);
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
            DllGetClassObject(kOtherClass, IClassFactory::kIid, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_EQ(E_POINTER, DllGetClassObject(kVideoStreamProcessClassId, IClassFactory::kIid, nullptr));
}

TEST_F(EntryPoints, TheFactoryMakesAComponentWithOneReference) {
  EXPECT_EQ(1u, CountOf(factory.Get()));
  EXPECT_EQ(factory, factory.As<IUnknown>().As<IClassFactory>());
  KivComPtr<IUnknown> component;
  ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IUnknown::kIid, component.PutVoid()));
  EXPECT_EQ(1u, CountOf(component.Get()));
  EXPECT_TRUE(component.As<IKivVideoStreamProcessInternal>());
  EXPECT_TRUE(component.As<IKivRenderEx>());
  void* object = &object;
  EXPECT_EQ(E_NOINTERFACE, factory->CreateInstance(nullptr, IKivFrame::kIid, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_EQ(E_POINTER, factory->CreateInstance(nullptr, IUnknown::kIid, nullptr));
  EXPECT_EQ(CLASS_E_NOAGGREGATION,
            factory->CreateInstance(factory.Get(), IKivRenderEx::kIid, &object));
}

TEST_F(EntryPoints, ObjectsAndLocksKeepTheModule) {
  EXPECT_EQ(S_OK, factory->LockServer(1));
  EXPECT_EQ(S_OK, factory->LockServer(-1));
  factory.Reset();
  EXPECT_EQ(S_FALSE, DllCanUnloadNow());
  SetUp();
  EXPECT_EQ(S_OK, factory->LockServer(0));
  EXPECT_EQ(S_OK, factory->LockServer(0));
  EXPECT_EQ(E_FAIL, factory->LockServer(0));
  KivComPtr<IKivRenderEx> render;
  factory->CreateInstance(nullptr, IKivRenderEx::kIid, render.PutVoid());
  factory.Reset();
  EXPECT_EQ(S_FALSE, DllCanUnloadNow());
}

}  // namespace
