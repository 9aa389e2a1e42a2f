#include "kiv/component/object/ObjectBase.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "kiv/chain/SourceBase.h"
#include "kiv/component/object/AtBoundary.h"
#include "test/support/Ledger.h"

namespace {

constexpr GUID kOtherIid{0x11111111, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

// Tells when it ends; in its destructor it takes a reference to itself and gives it back, as parts
// of an object may.
class Sample : public scombase::CUnknown {
 public:
  Sample(IUnknown* outer, int* ended) : CUnknown(outer), ended_(ended) { test::UseLedger(); }
  ~Sample() override {
    Owner()->AddRef();
    Owner()->Release();
    ++*ended_;
  }

 private:
  int* ended_;
};

struct ObjectBase : testing::Test {
  int ended = 0;
};

TEST_F(ObjectBase, CountsAndEndsOnTheReleaseThatReachesZero) {
  auto* const object = new Sample(nullptr, &ended);
  EXPECT_EQ(1u, object->NonDelegatingAddRef());
  EXPECT_EQ(2u, object->NonDelegatingAddRef());
  EXPECT_EQ(1u, object->NonDelegatingRelease());
  EXPECT_EQ(0, ended);
  EXPECT_EQ(0u, object->NonDelegatingRelease());
  EXPECT_EQ(1, ended);
}

TEST_F(ObjectBase, AnswersIUnknownAndNothingElse) {
  auto* const object = new Sample(nullptr, &ended);
  KivComPtr<IUnknown> unknown;
  EXPECT_EQ(S_OK, object->NonDelegatingQueryInterface(IUnknown::kIid, unknown.PutVoid()));
  EXPECT_EQ(object->Owner(), unknown.Get());
  void* other = &other;
  EXPECT_EQ(E_NOINTERFACE, unknown->QueryInterface(kOtherIid, &other));
  EXPECT_EQ(nullptr, other);
  EXPECT_EQ(E_POINTER, unknown->QueryInterface(IUnknown::kIid, nullptr));
  EXPECT_EQ(E_POINTER, unknown->QueryInterface(kOtherIid, nullptr));
  unknown.Reset();
  EXPECT_EQ(1, ended);
}

TEST_F(ObjectBase, AnOuterObjectCountsAndAnswersForItsPart) {
  auto* const outer = new Sample(nullptr, &ended);
  outer->NonDelegatingAddRef();
  auto* const part = new CSourceBase(outer->Owner(), nullptr);
  EXPECT_EQ(2u, part->AddRef());
  EXPECT_EQ(1u, part->Release());
  void* object = &object;
  EXPECT_EQ(E_NOINTERFACE, part->QueryInterface(IKivSourceBase::kIid, &object));
  EXPECT_EQ(1u, part->NonDelegatingAddRef());
  EXPECT_EQ(0u, part->NonDelegatingRelease());
  EXPECT_EQ(0u, outer->NonDelegatingRelease());
  EXPECT_EQ(1, ended);
}

TEST_F(ObjectBase, CountsFromManyThreads) {
  auto* const object = new Sample(nullptr, &ended);
  object->NonDelegatingAddRef();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([object] {
      for (int k = 0; k < 10000; ++k) object->NonDelegatingAddRef();
      for (int k = 0; k < 10000; ++k) object->NonDelegatingRelease();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0u, object->NonDelegatingRelease());
  EXPECT_EQ(1, ended);
}

TEST_F(ObjectBase, TheModuleCountFollowsTheObjects) {
  const int32_t before = scombase::LiveObjects();
  auto* const object = new Sample(nullptr, &ended);
  EXPECT_EQ(before + 1, scombase::LiveObjects());
  EXPECT_FALSE(scombase::CanUnloadModule());
  object->NonDelegatingAddRef();
  object->NonDelegatingRelease();
  EXPECT_EQ(before, scombase::LiveObjects());
}

TEST(AtBoundary, TurnsExceptionsIntoResults) {
  EXPECT_EQ(S_FALSE, AtBoundary([] { return S_FALSE; }));
  EXPECT_EQ(E_OUTOFMEMORY, AtBoundary([]() -> HRESULT { throw std::bad_alloc(); }));
  EXPECT_EQ(E_FAIL, AtBoundary([]() -> HRESULT { throw std::length_error("x"); }));
  EXPECT_EQ(E_FAIL, AtBoundary([]() -> HRESULT { throw 5; }));
  EXPECT_EQ(-1, AtBoundaryOr(-1, []() -> int { throw 5; }));
}

}  // namespace
