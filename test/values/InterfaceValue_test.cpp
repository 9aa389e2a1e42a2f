#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "kiv/values/CKivValue.h"

namespace {

using Holder = CKivPtr<IUnknown>;

// Starts with the test's own reference and reports its end.
class Counted final : public IUnknown {
 public:
  explicit Counted(bool* ended = nullptr) : ended_(ended) {}

  HRESULT QueryInterface(const GUID&, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  uint32_t AddRef() override { return ++count_; }
  uint32_t Release() override {
    const uint32_t count = --count_;
    if (count == 0) {
      if (ended_) *ended_ = true;
      if (onEnd) onEnd();
    }
    return count;
  }
  uint32_t count() const { return count_; }

  void (*onEnd)() = nullptr;

 private:
  std::atomic<uint32_t> count_{1};
  bool* ended_;
};

TEST(InterfaceValue, HoldsExactlyOneReference) {
  Counted object;
  {
    CKivValue value;
    ASSERT_EQ(0, value.SetValue(Holder(&object)));
    EXPECT_EQ(2u, object.count());
    ASSERT_EQ(0, value.SetValue(Holder(&object)));
    EXPECT_EQ(2u, object.count()) << "overwritten by itself";
    {
      CKivValue copy(value), assigned;
      assigned = value;
      assigned.Assign(assigned);
      EXPECT_EQ(4u, object.count());
    }
    EXPECT_EQ(2u, object.count());
  }
  EXPECT_EQ(1u, object.count());
}

TEST(InterfaceValue, OtherValuesReplaceIt) {
  Counted object;
  CKivValue value, number;
  number.SetValue(5);
  value.SetValue(Holder(&object));
  value = number;
  EXPECT_EQ(1u, object.count());
  value.SetValue(Holder(&object));
  value.SetValue(7);
  EXPECT_EQ(1u, object.count());
  value.SetValue(Holder(&object));
  EXPECT_EQ(kValueUnknownType, value.FromString(L"bool", L"1"));
  EXPECT_EQ(2u, object.count()) << "unchanged on failure";
}

TEST(InterfaceValue, IsHandedOutWithAReference) {
  Counted object;
  CKivValue value;
  value.SetValue(Holder(&object));
  Holder holder;
  ASSERT_EQ(0, value.GetValue(&holder));
  EXPECT_EQ(&object, holder.Get());
  EXPECT_EQ(3u, object.count());
  holder.Get()->Release();
}

TEST(InterfaceValue, ClearGivesTheReferenceBackOnce) {
  Counted object;
  {
    CKivValue value;
    value.SetValue(Holder(&object));
    value.Clear();
    EXPECT_EQ(1u, object.count());
    EXPECT_EQ(L"CKivPtr<IUnknown>", value.GetTypeName()) << "the texts stay";
    value.Clear();
    CKivValue copy(value);
    Holder holder(&object);
    EXPECT_EQ(0, value.GetValue(&holder));
    EXPECT_EQ(nullptr, holder.Get()) << "no value holds it any more";
  }
  EXPECT_EQ(1u, object.count());
}

TEST(InterfaceValue, AnAddressIsHonouredOnlyWhileAValueHoldsIt) {
  Counted object;
  CKivValue value, other;
  value.SetValue(Holder(&object));
  const std::wstring text = value.GetValueText();
  ASSERT_EQ(0, other.FromString(L"CKivPtr<IUnknown>", text));
  EXPECT_EQ(text, other.GetValueText());
  EXPECT_EQ(3u, object.count());
  other.SetValue(1);
  value.SetValue(1);
  ASSERT_EQ(0, other.FromString(L"CKivPtr<IUnknown>", text));
  EXPECT_EQ(L"Interface:0x0", other.GetValueText());
  EXPECT_EQ(1u, object.count());
}

TEST(InterfaceValue, InventedAddressesReadAsNull) {
  for (const wchar_t* text : {L"Interface:0xdeadbeef", L"Interface:1", L"Interface:(nil)",
                              L"Interface:0x11112222333344445", L"Interface:", L"0x10", L""}) {
    CKivValue value;
    ASSERT_EQ(0, value.FromString(L"CKivPtr<IUnknown>", text));
    EXPECT_EQ(L"Interface:0x0", value.GetValueText());
    // Inside another value the text is kept, but nothing is called through it either.
    ASSERT_EQ(0, value.FromString(L"CKivValue", std::wstring(L"t:CKivPtr<IUnknown>, v:") + text));
    Holder holder;
    EXPECT_EQ(0, value.GetValue(&holder));
    EXPECT_EQ(nullptr, holder.Get());
    CKivValue inner;
    EXPECT_EQ(0, value.GetValue(&inner));
  }
}

TEST(InterfaceValue, NestedAddressGivesTheHeldInterface) {
  Counted object;
  CKivValue value, outer, inner;
  value.SetValue(Holder(&object));
  outer.SetValue(value);
  EXPECT_EQ(2u, object.count()) << "only a value of the interface type holds a reference";
  ASSERT_EQ(0, outer.GetValue(&inner));
  EXPECT_EQ(3u, object.count());
  EXPECT_TRUE(outer.CarriesInterface());
  EXPECT_TRUE(inner.CarriesInterface());
  inner.SetValue(std::wstring(L"t:CKivPtr<IUnknown>, v:"));
  EXPECT_FALSE(inner.CarriesInterface());
}

TEST(InterfaceValue, NullIsAnInterfaceToo) {
  CKivValue value;
  ASSERT_EQ(0, value.SetValue(Holder()));
  Holder holder;
  EXPECT_EQ(0, value.GetValue(&holder));
  EXPECT_EQ(nullptr, holder.Get());
}

// A destructor run by the release comes back to the very value that let go.
CKivValue* g_value = nullptr;

TEST(InterfaceValue, ReleaseMayComeBack) {
  bool ended = false;
  Counted object(&ended);
  object.onEnd = [] { g_value->SetValue(7); };
  CKivValue value;
  g_value = &value;
  value.SetValue(Holder(&object));
  object.Release();
  value.SetValue(5);
  EXPECT_TRUE(ended);
  EXPECT_EQ(L"7", value.GetValueText());
}

// Values on several threads take and drop the same interface by its text.
TEST(InterfaceValue, ThreadsShareTheTable) {
  Counted object;
  CKivValue keeper;
  keeper.SetValue(Holder(&object));
  const std::wstring text = keeper.GetValueText();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&text] {
      for (int n = 0; n < 2000; ++n) {
        CKivValue value;
        value.FromString(L"CKivPtr<IUnknown>", text);
        const CKivValue copy(value);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(2u, object.count());
}

}  // namespace
