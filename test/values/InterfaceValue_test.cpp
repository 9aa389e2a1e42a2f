#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "kiv/values/CKivValue.h"

namespace {

using Holder = CKivPtr<IUnknown>;

// Starts with the test's own reference.
class Counted final : public IUnknown {
 public:
  HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
  uint32_t AddRef() override { return ++count; }
  uint32_t Release() override {
    const uint32_t left = --count;
    if (left == 0 && onEnd) onEnd();
    return left;
  }

  std::atomic<uint32_t> count{1};
  std::function<void()> onEnd;
};

CKivValue ValueOf(Counted& object) {
  CKivValue value;
  EXPECT_EQ(0, value.SetValue(Holder(&object)));
  return value;
}

TEST(InterfaceValue, EveryValueHoldsExactlyOneReference) {
  Counted object;
  {
    CKivValue value = ValueOf(object);
    EXPECT_EQ(2u, object.count);
    ASSERT_EQ(0, value.SetValue(Holder(&object)));
    EXPECT_EQ(2u, object.count) << "overwritten by itself";
    EXPECT_EQ(kValueUnknownType, value.FromString(L"bool", L"1"));
    EXPECT_EQ(2u, object.count) << "unchanged on failure";
    {
      CKivValue copy(value), assigned;
      assigned = value;
      assigned.Assign(assigned);
      EXPECT_EQ(4u, object.count);
      EXPECT_EQ(value.GetValueText(), assigned.GetValueText());
      copy.SetValue(7);
      assigned = CKivValue();
      EXPECT_EQ(2u, object.count) << "replaced by other values";
    }
    Holder holder;
    ASSERT_EQ(0, value.GetValue(&holder));
    EXPECT_EQ(&object, holder.Get());
    EXPECT_EQ(3u, object.count) << "handed out with a reference";
    holder.Get()->Release();
  }
  EXPECT_EQ(1u, object.count);
}

TEST(InterfaceValue, ClearGivesTheReferenceBackOnce) {
  Counted object;
  CKivValue value = ValueOf(object);
  value.Clear();
  value.Clear();
  EXPECT_EQ(1u, object.count);
  EXPECT_EQ(L"CKivPtr<IUnknown>", value.GetTypeName()) << "the texts stay";
  Holder holder(&object);
  EXPECT_EQ(0, CKivValue(value).GetValue(&holder));
  EXPECT_EQ(nullptr, holder.Get()) << "no value holds it any more";
}

TEST(InterfaceValue, AnAddressIsHonouredOnlyWhileAValueHoldsIt) {
  Counted object;
  CKivValue value = ValueOf(object), other;
  const std::wstring text = value.GetValueText();
  ASSERT_EQ(0, other.FromString(L"CKivPtr<IUnknown>", text));
  EXPECT_EQ(text, other.GetValueText());
  EXPECT_EQ(3u, object.count);
  other.SetValue(1);
  value.SetValue(1);
  ASSERT_EQ(0, other.FromString(L"CKivPtr<IUnknown>", text));
  EXPECT_EQ(L"Interface:0x0", other.GetValueText());
  EXPECT_EQ(1u, object.count);
}

TEST(InterfaceValue, InventedAddressesReadAsNull) {
  CKivValue value, inner;
  for (const wchar_t* text :
       {L"Interface:0xdeadbeef", L"Interface:1", L"Interface:0x11112222333344445", L"0x10", L""}) {
    ASSERT_EQ(0, value.FromString(L"CKivPtr<IUnknown>", text));
    EXPECT_EQ(L"Interface:0x0", value.GetValueText());
    // Inside another value the text is kept, but nothing is called through it either.
    ASSERT_EQ(0, value.FromString(L"CKivValue", std::wstring(L"t:CKivPtr<IUnknown>, v:") + text));
    Holder holder;
    EXPECT_EQ(0, value.GetValue(&holder));
    EXPECT_EQ(nullptr, holder.Get());
    EXPECT_EQ(0, value.GetValue(&inner));
  }
}

TEST(InterfaceValue, NestedAddressGivesTheHeldInterface) {
  Counted object;
  CKivValue value = ValueOf(object), outer, inner;
  outer.SetValue(value);
  EXPECT_EQ(2u, object.count) << "only a value of the interface type holds a reference";
  ASSERT_EQ(0, outer.GetValue(&inner));
  EXPECT_EQ(3u, object.count);
  EXPECT_TRUE(outer.CarriesInterface());
  EXPECT_TRUE(inner.CarriesInterface());
  inner.SetValue(std::wstring(L"t:CKivPtr<IUnknown>, v:"));
  EXPECT_FALSE(inner.CarriesInterface());
}

// A destructor run by the release comes back to the very value that let go.
TEST(InterfaceValue, ReleaseMayComeBack) {
  Counted object;
  CKivValue value = ValueOf(object);
  object.onEnd = [&value] { value.SetValue(7); };
  object.Release();
  value.SetValue(5);
  EXPECT_EQ(L"7", value.GetValueText());
}

// Values on several threads take and drop the same interface by its text.
TEST(InterfaceValue, ThreadsShareTheTable) {
  Counted object;
  const CKivValue keeper = ValueOf(object);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([text = keeper.GetValueText()] {
      for (int n = 0; n < 2000; ++n) {
        CKivValue value;
        value.FromString(L"CKivPtr<IUnknown>", text);
        const CKivValue copy(value);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(2u, object.count);
}

}  // namespace
