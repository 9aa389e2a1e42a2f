// Motion data as texts in a bag: the exact texts, in any locale, and what is refused.
#include <clocale>
#include <limits>

#include "test/VideoStab/StabFixture.h"

namespace {

using test::StoredBag;

constexpr double kHuge = 1e300;
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

// A desktop on which 0.5 is written "0,5".
struct CommaLocale {
  CommaLocale() : found(setlocale(LC_ALL, "de_DE.UTF-8") != nullptr) {}
  ~CommaLocale() { setlocale(LC_ALL, "C"); }
  bool found;
};

TEST(StabStoredData, TextsAreCutTowardsZero) {
  const CommaLocale locale;
  const struct {
    StabMotion motion;
    const wchar_t* text;
  } cases[] = {
      {{0.5, -1.25, 0.001}, L"dx:5000,-12500y,da:10"},
      {{0.00019999, -0.00019999, 0}, L"dx:1,-1y,da:0"},
      {{-12345.6789, 12345.6789, kStabCutAngle}, L"dx:-123456789,123456789y,da:3600000"},
      {{kHuge, -kHuge, kNoNumber}, L"dx:2147483647,-2147483648y,da:0"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.text, StabMotionText(c.motion));
}

TEST(StabStoredData, WhatDoesNotScanIsZero) {
  const CommaLocale locale;
  const struct {
    const wchar_t* text;
    StabMotion motion;
  } cases[] = {
      {L"dx:5000,-12500y,da:10", {0.5, -1.25, 0.001}},
      {L"dx: +5000,\t-12500y,da: 10 and more", {0.5, -1.25, 0.001}},
      {L"dx:5000,7", {0.5, 0.0007, 0}},
      {L"dx:5000,7y;da:3", {0.5, 0.0007, 0}},
      {L"", {}},
      {L"dx:99999999999999999999,-99999999999y,da:1", {214748.3647, -214748.3648, 0.0001}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.motion, StabMotionFromText(c.text)) << c.text;
}

TEST(StabStoredData, ATextReadIsWrittenAgainAsItStood) {
  for (int32_t steps = -40000; steps <= 40000; ++steps) {
    const std::wstring text = L"dx:" + std::to_wstring(steps) + L",7y,da:3600000";
    ASSERT_EQ(text, StabMotionText(StabMotionFromText(text)));
  }
  EXPECT_TRUE(IsStabCut(StabMotionFromText(L"dx:0,0y,da:3600000")));
}

TEST(StabStoredData, ABagGivesBackWhatItWasGiven) {
  StabStoredData data;
  data.settings = {1, {5, 6}, L"/media/ä b.mov", 2, {1920, 1080}, {30000, 1001}};
  data.motions = {{0.5, -1.25, 0.001}, {0.3, 0, -0.0001}};
  const KivPropDecorator bag = KivCommon::CreateProperties();
  ASSERT_EQ(S_OK, StoreStabData(data, bag.Get()));
  StabStoredData back;
  ASSERT_EQ(S_OK, ReadStabData(bag.Get(), &back));
  EXPECT_EQ(data.motions, back.motions);
  EXPECT_EQ(data.settings, back.settings);
  EXPECT_EQ(1, back.settings.Enable);
  EXPECT_EQ((KivSize{1920, 1080}), back.settings.oSize);
}

TEST(StabStoredData, HostileBagsAreRefusedAndChangeNothing) {
  const StabSettings good{1, {0, 2}, L"/a.mov", 0, {4, 2}, {25, 1}};
  StabSettings wide = good, negative = good;
  wide.oSize = {32769, 2};
  negative.oSize = {4, -2};
  const KivPropDecorator other = KivCommon::CreateProperties();
  other.Get()->SetObject(KivKey::Stabilization::kAnalyzedDataStr,
                         test::FakeMedia::Make()->AsUnknown());
  const struct {
    const char* name;
    KivPropDecorator bag;
    HRESULT result;
  } cases[] = {
      {"count below zero", StoredBag(good, -1, 3), E_INVALIDARG},
      {"one entry short", StoredBag(good, 3, 2), E_INVALIDARG},
      {"a count that only claims", StoredBag(good, INT32_MAX, 3), E_INVALIDARG},
      {"too wide", StoredBag(wide, 3, 3), E_INVALIDARG},
      {"negative", StoredBag(negative, 3, 3), E_INVALIDARG},
      {"no bag", other, S_FALSE},
      {"nothing", KivCommon::CreateProperties(), S_FALSE},
  };
  for (const auto& c : cases) {
    StabStoredData data;
    data.motions = {{1, 2, 3}};
    EXPECT_EQ(c.result, ReadStabData(c.bag.Get(), &data)) << c.name;
    EXPECT_EQ(1u, data.motions.size()) << c.name;
    EXPECT_EQ(StabSettings{}, data.settings) << c.name;
  }
}

}  // namespace
