#include "kiv/platform/Properties.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "engine/base/CountedObject.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace {

class Properties : public testing::Test {
 protected:
  KivComPtr<IKivPropertyList> List() const { return bag_.Reference().As<IKivPropertyList>(); }

  template <typename T>
  void ExpectStored(HRESULT (IKivProperties::*get)(const wchar_t*, T*), const wchar_t* key,
                    const T& expected) const {
    T value{};
    EXPECT_EQ(S_OK, (bag_.Get()->*get)(key, &value));
    EXPECT_EQ(expected, value) << testing::PrintToString(key);
  }

  KivPropDecorator bag_ = KivCommon::CreateProperties();
};

struct ValueCase {
  const wchar_t *key, *typeName, *text;
};

constexpr ValueCase kTypedValues[] = {
    {L"double", L"double", L"0.500000"},
    {L"int", L"int", L"-5"},
    {L"range", L"KivRange", L"Start:1, End:2"},
    {L"rational", L"KivRational", L"[30000, 1001]: 29.9700300 "},
    {L"rect", L"KivRectF", L"left:0.100000, top:0.200000, width:0.300000, height:0.400000"},
    {L"size", L"KivSize", L"Width:640, cy:480"},
    {L"text", L"std::wstring", L"\x20ac"},
};
const KivRectF kRect{0.1, 0.2, 0.3, 0.4};
const KivRange kRange{1, 2};
const KivSize kSize{640, 480};
const KivRational kRational{30000, 1001};

TEST_F(Properties, ValuesAreReadableThroughTheTypedSlots) {
  for (const ValueCase& test : kTypedValues) {
    CKivValue value;
    ASSERT_EQ(0, value.FromString(test.typeName, test.text));
    ASSERT_EQ(S_OK, bag_->SetValue(test.key, &value));
  }
  ExpectStored(&IKivProperties::GetInt, L"int", -5);
  ExpectStored(&IKivProperties::GetDouble, L"double", 0.5);
  ExpectStored(&IKivProperties::GetRect, L"rect", kRect);
  ExpectStored(&IKivProperties::GetRange, L"range", kRange);
  ExpectStored(&IKivProperties::GetSize, L"size", kSize);
  ExpectStored(&IKivProperties::GetRational, L"rational", kRational);
  bag_->SetDouble(L"double", 1e-9);
  ExpectStored(&IKivProperties::GetDouble, L"double", 1e-9);  // not through its text
}

TEST_F(Properties, TypedEntriesAreListedAsValuesInKeyOrder) {
  bag_->SetSize(L"size", &kSize);
  bag_->SetRect(L"rect", &kRect);
  bag_->SetRange(L"range", &kRange);
  bag_->SetRational(L"rational", &kRational);
  bag_->SetString(L"text", L"\x20ac");
  bag_->SetInt(L"double", 5);
  bag_->SetDouble(L"double", 0.5);  // replaces another type
  bag_->SetInt(L"int", -5);
  ASSERT_EQ(7, List()->GetCount());
  for (int32_t i = 0; i < 7; ++i) {
    wchar_t key[32];
    CKivValue value;
    ASSERT_EQ(S_OK, List()->GetKey(i, key, 32));
    EXPECT_STREQ(kTypedValues[i].key, key);
    ASSERT_EQ(S_OK, List()->GetValue(key, &value));
    EXPECT_EQ(kTypedValues[i].typeName, value.GetTypeName());
    EXPECT_EQ(kTypedValues[i].text, value.GetValueText());
  }
}

TEST_F(Properties, AFailedCallTouchesNothing) {
  const std::wstring longKey(static_cast<size_t>(kMaxPropertyKeyLength) + 1, L'k');
  EXPECT_EQ(E_INVALIDARG, bag_->SetInt(longKey.c_str(), 1));
  EXPECT_EQ(E_POINTER, bag_->SetInt(nullptr, 1));
  EXPECT_EQ(E_POINTER, bag_->GetInt(L"a", nullptr));
  EXPECT_EQ(E_POINTER, bag_->SetString(L"a", nullptr));
  EXPECT_EQ(E_POINTER, bag_->SetRect(L"a", nullptr));
  EXPECT_EQ(E_POINTER, bag_->SetValue(L"a", nullptr));
  EXPECT_EQ(E_POINTER, List()->GetValue(L"a", nullptr));
  EXPECT_EQ(0, List()->GetCount());
  bag_->SetInt(L"int", 5);
  bag_->SetDouble(L"double", 5);
  double number = 77;
  int32_t integer = 77;
  wchar_t text[4] = L"abc";
  EXPECT_EQ(E_NOTFOUND, bag_->GetDouble(L"Double", &number)) << "keys compare exactly";
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetDouble(L"int", &number));
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetInt(L"double", &integer));
  EXPECT_EQ(E_TYPEMISMATCH, bag_->GetString(L"int", text, 4));
  EXPECT_EQ(E_NOTFOUND, bag_->GetString(L"none", text, 4));
  EXPECT_EQ(77, number);
  EXPECT_EQ(77, integer);
  EXPECT_STREQ(L"abc", text);
}

TEST_F(Properties, TextsAreCutAndWalkingSurvivesChanges) {
  const auto list = List();
  for (const wchar_t* key : {L"b", L"aaaa"}) bag_->SetString(key, L"abcdef");
  wchar_t text[] = L"#######";
  list->GetKey(1, text, 7);
  bag_->SetInt(L"ab", 1);
  list->GetKey(1, text, 7);
  EXPECT_STREQ(L"ab", text);
  EXPECT_EQ(S_OK, list->Remove(L"ab"));
  EXPECT_EQ(E_NOTFOUND, list->Remove(L"ab"));
  list->GetKey(1, text, 7);
  EXPECT_STREQ(L"b", text);
  EXPECT_EQ(E_NOTFOUND, list->GetKey(2, text, 7));
  EXPECT_EQ(E_NOTFOUND, list->GetKey(-1, text, 7));
  list->GetKey(0, text, 3);
  EXPECT_STREQ(L"aa", text);
  EXPECT_EQ(S_OK, bag_->GetString(L"b", text, 4));
  EXPECT_EQ(std::wstring(L"abc\0###", 7), std::wstring(text, 7));
  EXPECT_EQ(S_OK, bag_->GetString(L"b", text, 7));
  EXPECT_STREQ(L"abcdef", text);
  EXPECT_EQ(E_INVALIDARG, bag_->GetString(L"b", text, 0));
}

TEST_F(Properties, HoldsObjectsUntilTheyAreReplaced) {
  const int64_t before = kiv::LiveObjectCount();
  KivComPtr<IUnknown> object;
  CKivValue value;
  EXPECT_EQ(E_INVALIDARG, bag_->SetValue(L"bag", &value)) << "of no type";
  {
    const KivPropDecorator inner = KivCommon::CreateProperties();
    value.SetValue(CKivPtr<IUnknown>(inner.Get()));
    ASSERT_EQ(S_OK, bag_->SetValue(L"bag", &value));  // an interface value is an object
    value.SetValue(0);
    ASSERT_EQ(S_OK, bag_->GetObject(L"bag", object.Put()));
    EXPECT_EQ(inner.Reference(), object.As<IKivProperties>());
    ASSERT_EQ(S_OK, bag_->SetObject(L"bag", object.Get()));
  }
  ASSERT_EQ(S_OK, List()->GetValue(L"bag", &value));
  EXPECT_TRUE(value.CarriesInterface());
  value.SetValue(0);
  object.Reset();
  EXPECT_EQ(before + 1, kiv::LiveObjectCount());
  EXPECT_EQ(S_OK, bag_->SetInt(L"bag", 1));
  EXPECT_EQ(before, kiv::LiveObjectCount());
  EXPECT_EQ(S_OK, bag_->SetObject(L"bag", nullptr));
  EXPECT_EQ(0, List()->GetCount());
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
  for (const bool removed : {false, true}) {
    bag_->SetInt(L"visited", 0);
    bag_->SetObject(L"visitor", KivComPtr<IUnknown>::Adopt(new Visitor(bag_.Get())).Get());
    EXPECT_EQ(S_OK, removed ? List()->Remove(L"visitor") : bag_->SetInt(L"visitor", 1));
    ExpectStored(&IKivProperties::GetInt, L"visited", 1);
  }
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
}

}  // namespace
