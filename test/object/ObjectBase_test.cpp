#include "kiv/object/ObjectBase.h"

#include <stdexcept>
#include <thread>

#include "kiv/base/AtBoundary.h"
#include "test/support/Ledger.h"

namespace {

// In its destructor it takes a reference to itself and gives it back, as parts of an object may.
class Sample : public scombase::CUnknown {
 public:
  Sample(IUnknown* outer, int* ended) : CUnknown(outer), ended_(ended) {}
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
  Sample* const object = new Sample(nullptr, &ended);
};

TEST_F(ObjectBase, CountsFromManyThreadsAndEndsOnTheReleaseThatReachesZero) {
  EXPECT_EQ(1u, object->NonDelegatingAddRef());
  const auto count = [this] {
    for (int i = 0; i < 10000; ++i) object->NonDelegatingAddRef();
    for (int i = 0; i < 10000; ++i) object->NonDelegatingRelease();
  };
  std::thread a(count), b(count);
  a.join();
  b.join();
  EXPECT_EQ(0, ended);
  EXPECT_FALSE(scombase::CanUnloadModule());
  EXPECT_EQ(0u, object->NonDelegatingRelease());
  EXPECT_EQ(1, ended);
}

TEST(AtBoundary, TurnsExceptionsIntoResults) {
  EXPECT_EQ(E_OUTOFMEMORY, AtBoundary([]() -> HRESULT { throw std::bad_alloc(); }));
  EXPECT_EQ(E_FAIL, AtBoundary([]() -> HRESULT { throw 5; }));
  EXPECT_EQ(-1, AtBoundaryOr(-1, []() -> int { throw 5; }));
}

}  // namespace
