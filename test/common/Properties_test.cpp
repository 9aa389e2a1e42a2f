#include "kiv/platform/Properties.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "engine/common/CountedObject.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace {

class Properties : public testing::Test {
 protected:
  KivComPtr<IKivPropertyList> List() const { return bag_.Reference().As<IKivPropertyList>(); }

  KivPropDecorator bag_ = KivCommon::CreateProperties();
};

// Reads a key through the typed slot of T, with 0 / defaults when it fails.
HRESULT Get(IKivProperties* bag, const wchar_t* key, int32_t* out) { return bag->GetInt(key, out); }
HRESULT Get(IKivProperties* bag, const wchar_t* key, double* out) {
  return bag->GetDouble(key, out);
}
HRESULT Get(IKivProperties* bag, const wchar_t* key, KivRectF* out) {
  return bag->GetRect(key, out);
}
HRESULT Get(IKivProperties* bag, const wchar_t* key, KivRange* out) {
  return bag->GetRange(key, out);
}
HRESULT Get(IKivProperties* bag, const wchar_t* key, KivSize* out) {
  return bag->GetSize(key, out);
}
HRESULT Get(IKivProperties* bag, const wchar_t* key, KivRational* out) {
  return bag->GetRational(key, out);
}
HRESULT Get(IKivProperties* bag, const wchar_t* key, std::wstring* out) {
  wchar_t buffer[64] = {};
  const HRESULT hr = bag->GetString(key, buffer, 64);
  if (Succeeded(hr)) *out = buffer;
  return hr;
}

template <typename T>
void ExpectStored(IKivProperties* bag, const wchar_t* key, const T& expected) {
  T value{};
  EXPECT_EQ(S_OK, Get(bag, key, &value));
  EXPECT_EQ(expected, value) << testing::PrintToString(key);
}

void FillTyped(IKivProperties* bag) {
  const KivRectF rect{0.1, 0.2, 0.3, 0.4};
  const KivRange range{1, 2};
  const KivSize size{640, 480};
  const KivRational rational{30000, 1001};
  EXPECT_EQ(S_OK, bag->SetInt(L"int", -5));
  EXPECT_EQ(S_OK, bag->SetDouble(L"double", 1e-9));
  EXPECT_EQ(S_OK, bag->SetString(L"text", L"\x20ac"));
  EXPECT_EQ(S_OK, bag->SetRect(L"rect", &rect));
  EXPECT_EQ(S_OK, bag->SetRange(L"range", &range));
  EXPECT_EQ(S_OK, bag->SetSize(L"size", &size));
  EXPECT_EQ(S_OK, bag->SetRational(L"rational", &rational));
}

TEST_F(Properties, TypedSlotsKeepTheirValues) {
  FillTyped(bag_.Get());
  ExpectStored<int32_t>(bag_.Get(), L"int", -5);
  ExpectStored(bag_.Get(), L"double", 1e-9);
  ExpectStored<std::wstring>(bag_.Get(), L"text", L"\x20ac");
  ExpectStored(bag_.Get(), L"rect", KivRectF{0.1, 0.2, 0.3, 0.4});
  ExpectStored(bag_.Get(), L"range", KivRange{1, 2});
  ExpectStored(bag_.Get(), L"size", KivSize{640, 480});
  ExpectStored(bag_.Get(), L"rational", KivRational{30000, 1001});
}

struct ValueCase {
  const wchar_t *key, *typeName, *text;
};

constexpr ValueCase kTypedValues[] = {
    {L"double", L"double", L"0.000000"},
    {L"int", L"int", L"-5"},
    {L"range", L"KivRange", L"Start:1, End:2"},
    {L"rational", L"KivRational", L"[30000, 1001]: 29.9700300 "},
    {L"rect", L"KivRectF", L"left:0.100000, top:0.200000, width:0.300000, height:0.400000"},
    {L"size", L"KivSize", L"Width:640, cy:480"},
    {L"text", L"std::wstring", L"\x20ac"},
};

TEST_F(Properties, TheListShowsEveryEntryInKeyOrder) {
  FillTyped(bag_.Get());
  const auto list = List();
  ASSERT_EQ(7, list->GetCount());
  for (int32_t i = 0; i < 7; ++i) {
    wchar_t key[32];
    ASSERT_EQ(S_OK, list->GetKey(i, key, 32));
    EXPECT_STREQ(kTypedValues[i].key, key);
    CKivValue value;
    ASSERT_EQ(S_OK, list->GetValue(key, &value));
    EXPECT_EQ(kTypedValues[i].typeName, value.GetTypeName());
    EXPECT_EQ(kTypedValues[i].text, value.GetValueText());
  }
}

TEST_F(Properties, ValuesAreReadableThroughTheTypedSlots) {
  CKivValue value;
  for (const ValueCase& test : kTypedValues) {
    ASSERT_EQ(0, value.FromString(test.typeName, test.text));
    ASSERT_EQ(S_OK, bag_->SetValue(test.key, &value));
  }
  ExpectStored<int32_t>(bag_.Get(), L"int", -5);
  ExpectStored(bag_.Get(), L"double", 0.0);
  ExpectStored<std::wstring>(bag_.Get(), L"text", L"\x20ac");
  ExpectStored(bag_.Get(), L"rect", KivRectF{0.1, 0.2, 0.3, 0.4});
  ExpectStored(bag_.Get(), L"range", KivRange{1, 2});
  ExpectStored(bag_.Get(), L"size", KivSize{640, 480});
  ExpectStored(bag_.Get(), L"rational", KivRational{30000, 1001});
}

TEST_F(Properties, OtherValuesComeBackAsTheyWere) {
  CKivValue inner, value, back;
  inner.SetValue(5);
  value.SetValue(inner);
  ASSERT_EQ(S_OK, bag_->SetValue(L"nested", &value));
  ASSERT_EQ(S_OK, List()->GetValue(L"nested", &back));
  EXPECT_EQ(L"CKivValue", back.GetTypeName());
  EXPECT_EQ(L"t:int, v:5", back.GetValueText());
  int32_t number = 77;
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetInt(L"nested", &number));
  const CKivValue fresh;
  EXPECT_EQ(E_INVALIDARG, bag_->SetValue(L"nested", &fresh));
}

TEST_F(Properties, AFailedGetTouchesNothing) {
  FillTyped(bag_.Get());
  double number = 77;
  int32_t integer = 77;
  wchar_t text[4] = L"abc";
  IUnknown* object = bag_.Get();
  EXPECT_EQ(E_NOTFOUND, bag_->GetDouble(L"Double", &number)) << "keys compare exactly";
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetDouble(L"int", &number));
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetInt(L"double", &integer));
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetString(L"int", text, 4));
  EXPECT_EQ(E_NOTFOUND, bag_->GetString(L"none", text, 4));
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetObject(L"int", &object));
  EXPECT_EQ(77, number);
  EXPECT_EQ(77, integer);
  EXPECT_STREQ(L"abc", text);
  EXPECT_EQ(bag_.Get(), object);
}

TEST_F(Properties, NullArgumentsAreRefused) {
  int32_t integer = 77;
  EXPECT_EQ(E_POINTER, bag_->SetInt(nullptr, 1));
  EXPECT_EQ(E_POINTER, bag_->GetInt(nullptr, &integer));
  EXPECT_EQ(E_POINTER, bag_->GetInt(L"a", nullptr));
  EXPECT_EQ(E_POINTER, bag_->SetString(L"a", nullptr));
  EXPECT_EQ(E_POINTER, bag_->SetRect(L"a", nullptr));
  EXPECT_EQ(E_POINTER, bag_->SetValue(L"a", nullptr));
  EXPECT_EQ(E_POINTER, bag_->GetString(L"a", nullptr, 4));
  EXPECT_EQ(E_POINTER, List()->GetValue(L"a", nullptr));
  const std::wstring longKey(static_cast<size_t>(kMaxPropertyKeyLength) + 1, L'k');
  EXPECT_EQ(E_INVALIDARG, bag_->SetInt(longKey.c_str(), 1));
  EXPECT_EQ(S_OK, bag_->SetInt(longKey.c_str() + 1, 1));
  EXPECT_EQ(1, List()->GetCount());
}

TEST_F(Properties, LongTextsAreCutAndTerminated) {
  bag_->SetString(L"text", L"abcdef");
  wchar_t buffer[8];
  std::wmemset(buffer, L'#', 8);
  EXPECT_EQ(S_OK, bag_->GetString(L"text", buffer, 4));
  EXPECT_STREQ(L"abc", buffer);
  EXPECT_EQ(L'#', buffer[4]);
  EXPECT_EQ(S_OK, bag_->GetString(L"text", buffer, 7));
  EXPECT_STREQ(L"abcdef", buffer);
  EXPECT_EQ(E_INVALIDARG, bag_->GetString(L"text", buffer, 0));
}

TEST_F(Properties, SettingReplacesWhateverTheTypeWas) {
  bag_->SetInt(L"key", 5);
  bag_->SetDouble(L"key", 0.5);
  int32_t integer = 77;
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetInt(L"key", &integer));
  ExpectStored(bag_.Get(), L"key", 0.5);
  EXPECT_EQ(1, List()->GetCount());
}

TEST_F(Properties, WalkingSurvivesChanges) {
  const auto list = List();
  for (const wchar_t* key : {L"b", L"d", L"a", L"c"}) bag_->SetInt(key, 1);
  wchar_t key[4];
  list->GetKey(3, key, 4);
  EXPECT_STREQ(L"d", key);
  EXPECT_EQ(S_OK, list->Remove(L"a"));
  EXPECT_EQ(E_NOTFOUND, list->Remove(L"a"));
  list->GetKey(1, key, 4);
  EXPECT_STREQ(L"c", key);
  bag_->SetInt(L"aa", 1);
  list->GetKey(1, key, 2);
  EXPECT_STREQ(L"b", key);
  list->GetKey(0, key, 2);
  EXPECT_STREQ(L"a", key) << "cut to fit";
  EXPECT_EQ(E_NOTFOUND, list->GetKey(4, key, 4));
  EXPECT_EQ(E_NOTFOUND, list->GetKey(-1, key, 4));
}

TEST_F(Properties, HoldsObjectsUntilTheyAreReplaced) {
  const int64_t before = kiv::LiveObjectCount();
  {
    const KivPropDecorator inner = KivCommon::CreateProperties();
    ASSERT_EQ(S_OK, bag_->SetObject(L"bag", inner.Get()));
    KivComPtr<IUnknown> object;
    ASSERT_EQ(S_OK, bag_->GetObject(L"bag", object.Put()));
    EXPECT_EQ(inner.Reference(), object.As<IKivProperties>());
  }
  EXPECT_EQ(before + 1, kiv::LiveObjectCount());
  EXPECT_EQ(S_OK, bag_->SetInt(L"bag", 1));
  EXPECT_EQ(before, kiv::LiveObjectCount());
  EXPECT_EQ(S_OK, bag_->SetObject(L"bag", nullptr));
  EXPECT_EQ(S_OK, bag_->SetObject(L"bag", nullptr));
  EXPECT_EQ(0, List()->GetCount());
}

TEST_F(Properties, AnInterfaceValueIsAnObject) {
  const KivPropDecorator inner = KivCommon::CreateProperties();
  CKivValue value, back;
  value.SetValue(CKivPtr<IUnknown>(inner.Get()));
  ASSERT_EQ(S_OK, bag_->SetValue(L"object", &value));
  value.SetValue(0);
  KivComPtr<IUnknown> object;
  ASSERT_EQ(S_OK, bag_->GetObject(L"object", object.Put()));
  EXPECT_EQ(static_cast<IUnknown*>(inner.Get()), object.Get());
  ASSERT_EQ(S_OK, List()->GetValue(L"object", &back));
  EXPECT_TRUE(back.CarriesInterface());
}

// Writes into a bag when it ends.
class Visitor final : public kiv::CountedObject<IUnknown> {
 public:
  explicit Visitor(IKivProperties* bag) : bag_(bag) {}
  ~Visitor() override { bag_->SetInt(L"visited", 1); }

 private:
  IKivProperties* bag_;
};

TEST_F(Properties, AnObjectThatEndsMayComeBack) {
  const auto store = [&] {
    auto* const visitor = new Visitor(bag_.Get());
    bag_->SetObject(L"visitor", visitor);
    visitor->Release();
  };
  store();
  EXPECT_EQ(S_OK, bag_->SetInt(L"visitor", 1));
  ExpectStored<int32_t>(bag_.Get(), L"visited", 1);
  store();
  bag_->SetInt(L"visited", 0);
  EXPECT_EQ(S_OK, List()->Remove(L"visitor"));
  ExpectStored<int32_t>(bag_.Get(), L"visited", 1);
}

TEST_F(Properties, ThreadsSeeWholeValues) {
  std::atomic<bool> stop{false};
  std::atomic<int> torn{0};
  const KivRange first{1, 1}, second{2, 2};
  bag_->SetRange(L"range", &first);
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      while (!stop) {
        KivRange range;
        if (Failed(bag_->GetRange(L"range", &range)) || range.start != range.end) ++torn;
      }
    });
  }
  for (int n = 0; n < 20000; ++n) {
    bag_->SetRange(L"range", n % 2 ? &first : &second);
    bag_->SetInt((L"other" + std::to_wstring(n % 50)).c_str(), n);
  }
  stop = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(0, torn);
  EXPECT_EQ(51, List()->GetCount());
}

}  // namespace
