#include "kiv/component/EntryPoints.h"

#include <gtest/gtest.h>

#include "kiv/chain/IKivRender.h"
#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/platform/KivComPtr.h"
#include "test/support/FakeNode.h"

namespace {

constexpr GUID kOtherClass{0x49C50441, 0x156C, 0x41D2, {0x9B, 0x56, 0x87, 0, 0x6D, 0x5B, 0x81, 1}};

KivComPtr<IClassFactory> Factory() {
  KivComPtr<IClassFactory> factory;
  DllGetClassObject(kVideoStreamProcessClassId, IClassFactory::kIid, factory.PutVoid());
  return factory;
}

// Nothing of the component is alive when a test ends, as the library itself tells.
struct EntryPoints : testing::Test {
  void TearDown() override { EXPECT_EQ(S_OK, DllCanUnloadNow()); }
};

TEST_F(EntryPoints, GiveAFactoryWithOneReference) {
  for (const GUID& iid : {IUnknown::kIid, IClassFactory::kIid}) {
    IClassFactory* factory = nullptr;
    ASSERT_EQ(S_OK, DllGetClassObject(kVideoStreamProcessClassId, iid,
                                      reinterpret_cast<void**>(&factory)));
    EXPECT_EQ(2u, factory->AddRef());
    EXPECT_EQ(1u, factory->Release());
    EXPECT_EQ(S_FALSE, DllCanUnloadNow());
    EXPECT_EQ(0u, factory->Release());
  }
}

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

TEST_F(EntryPoints, TheFactoryAnswersItsIdentities) {
  const auto factory = Factory();
  EXPECT_EQ(factory.Get(), factory.As<IUnknown>().Get());
  EXPECT_EQ(factory, factory.As<IClassFactory>());
  void* object = &object;
  EXPECT_EQ(E_NOINTERFACE, factory->QueryInterface(IKivRender::kIid, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_EQ(E_POINTER, factory->QueryInterface(IUnknown::kIid, nullptr));
}

TEST_F(EntryPoints, TheFactoryMakesAComponentWithOneReference) {
  const auto factory = Factory();
  IUnknown* made = nullptr;
  ASSERT_EQ(S_OK,
            factory->CreateInstance(nullptr, IUnknown::kIid, reinterpret_cast<void**>(&made)));
  const auto component = KivComPtr<IUnknown>::Adopt(made);
  EXPECT_EQ(2u, component->AddRef());
  EXPECT_EQ(1u, component->Release());
  EXPECT_TRUE(component.As<IKivVideoStreamProcessInternal>());
  EXPECT_TRUE(component.As<IKivRenderEx>());
}

TEST_F(EntryPoints, AnInterfaceThatIsNotAnsweredLeavesNothingAlive) {
  {
    const auto factory = Factory();
    void* object = &object;
    EXPECT_EQ(E_NOINTERFACE, factory->CreateInstance(nullptr, IKivFrame::kIid, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(E_POINTER, factory->CreateInstance(nullptr, IUnknown::kIid, nullptr));
  }
  EXPECT_EQ(S_OK, DllCanUnloadNow());
}

TEST_F(EntryPoints, AnOuterObjectMayAskForIUnknownOnly) {
  const auto factory = Factory();
  const auto outer = test::FakeNode::Make();
  void* object = &object;
  EXPECT_EQ(CLASS_E_NOAGGREGATION,
            factory->CreateInstance(outer.Get(), IKivRenderEx::kIid, &object));
  EXPECT_EQ(nullptr, object);
  KivComPtr<IUnknown> inner;
  EXPECT_EQ(S_OK, factory->CreateInstance(outer.Get(), IUnknown::kIid, inner.PutVoid()));
  const auto facade = inner.As<IKivVideoStreamProcessInternal>();
  ASSERT_TRUE(facade);
  EXPECT_EQ(2u, outer->References());
}

TEST_F(EntryPoints, ObjectsAndLocksKeepTheModule) {
  auto factory = Factory();
  EXPECT_EQ(S_OK, factory->LockServer(1));
  EXPECT_EQ(S_OK, factory->LockServer(-1));
  KivComPtr<IKivRenderEx> render;
  factory->CreateInstance(nullptr, IKivRenderEx::kIid, render.PutVoid());
  factory.Reset();
  EXPECT_EQ(S_FALSE, DllCanUnloadNow());
  render.Reset();
  EXPECT_EQ(S_FALSE, DllCanUnloadNow());
  factory = Factory();
  EXPECT_EQ(S_OK, factory->LockServer(0));
  EXPECT_EQ(S_OK, factory->LockServer(0));
  EXPECT_EQ(E_FAIL, factory->LockServer(0));
  factory.Reset();
  EXPECT_EQ(S_OK, DllCanUnloadNow());
}

}  // namespace
