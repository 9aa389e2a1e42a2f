#include "kiv/Shared/MyHelper.h"

#include <gtest/gtest.h>

#include "kiv/platform/KeyNames.h"
#include "test/support/FakeFilter.h"
#include "test/support/LogCapture.h"

namespace {

using KivKey::Filter::Property::kCount;
using KivKey::Filter::Property::kFriendName;
using KivKey::Filter::Property::kParamsArray;
using KivKey::Filter::Property::kValue_Current;
using test::Calls;

constexpr wchar_t kGuid[] = L"{A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F95}";

struct CreateFilter : testing::Test {
  KivComPtr<test::FakeFilterManager> manager = test::FakeFilterManager::Make();
  test::SwappedClass swapped{kiv::kFilterManagerClassId, manager.Get()};
  test::LogCapture log;
  HRESULT result = E_FAIL;
};

TEST_F(CreateFilter, AsksTheManagerWithoutBraces) {
  manager->filter = test::FakeFilter::Make();
  manager->result = S_FALSE;
  EXPECT_EQ(manager->filter, MyHelper::CreateFilter(kGuid, &result));
  EXPECT_EQ(S_FALSE, result);
  EXPECT_EQ(Calls{"CreateFilter A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F95"}, manager->log.Take());
  EXPECT_TRUE(MyHelper::CreateFilter(kGuid, nullptr));
  EXPECT_TRUE(log.lines.empty());
}

TEST_F(CreateFilter, LogsAFilterThatDoesNotComeWithItsBracesAndLine101) {
  manager->result = E_NOTFOUND;
  EXPECT_FALSE(MyHelper::CreateFilter(kGuid, &result));
  EXPECT_EQ(E_NOTFOUND, result);
  ASSERT_EQ(1u, log.lines.size());
  EXPECT_EQ(LogLevel::kFilter, log.lines[0].first);
  EXPECT_NE(std::string::npos,
            log.lines[0].second.find(
                "Create filter failed. Filter GUID : {A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F95}"
                "  [MyHelper.cpp, 101]"));
}

TEST_F(CreateFilter, WithoutAManagerGivesNothingAndLogsNothing) {
  const test::SwappedClass none(kiv::kFilterManagerClassId, nullptr);
  EXPECT_FALSE(MyHelper::CreateFilter(kGuid, &result));
  EXPECT_EQ(S_OK, result);
  EXPECT_TRUE(log.lines.empty());
}

struct FilterParams : testing::Test {
  void SetUp() override { filter->bag = bag.Reference(); }
  // A parameter without a current value.
  KivPropDecorator Publish(int32_t index, const wchar_t* name) {
    KivPropDecorator param = KivCommon::CreateProperties();
    param->SetString(kFriendName, name);
    bag->SetObject(kParamsArray[index], param.Get());
    bag->SetInt(kCount, index + 1);
    return param;
  }

  KivComPtr<test::FakeFilter> filter = test::FakeFilter::Make();
  KivPropDecorator bag = KivCommon::CreateProperties();
};

// There is none at place 1.
TEST_F(FilterParams, TheFirstMatchWithoutRegardToAsciiCaseAnswers) {
  Publish(0, L"strength");
  const KivPropDecorator mode = Publish(2, L"moDe");
  Publish(3, L"MODE");
  for (const wchar_t* name : {L"Mode", L"MODE", L"mode"}) {
    EXPECT_EQ(mode.Reference(), MyHelper::FindFilterParam(bag.Reference(), name));
  }
  for (const wchar_t* name : {L"mod", L"modes", L"", static_cast<const wchar_t*>(nullptr)}) {
    EXPECT_FALSE(MyHelper::FindFilterParam(bag.Reference(), name));
  }
  EXPECT_FALSE(MyHelper::FindFilterParam(nullptr, L"mode"));
}

TEST_F(FilterParams, ACountThatNoFilterHasIsNotBelieved) {
  Publish(0, L"mode");
  bag->SetInt(kCount, INT32_MAX);
  EXPECT_FALSE(MyHelper::FindFilterParam(bag.Reference(), L"other"));
  EXPECT_FALSE(MyHelper::GetFilterParam(bag.Reference(), -1));
  EXPECT_FALSE(MyHelper::GetFilterParam(bag.Reference(), 32));
}

TEST_F(FilterParams, AreSetAsTypedValuesWhereTheyExist) {
  const KivPropDecorator mode = Publish(0, L"mode");
  const KivPropDecorator strength = Publish(1, L"strength");
  EXPECT_EQ(S_OK, MyHelper::SetFilterParamInt(filter, L"Mode", -7));
  EXPECT_EQ(S_OK, MyHelper::SetFilterParamDouble(filter, L"Strength", 0.25));
  EXPECT_EQ(S_OK, MyHelper::SetFilterParamInt(filter, L"other", 1));
  EXPECT_EQ(E_FAIL, MyHelper::SetFilterParamInt(nullptr, L"mode", 1));
  int32_t number = 0;
  double real = 0;
  EXPECT_EQ(S_OK, mode->GetInt(kValue_Current, &number));
  EXPECT_EQ(-7, number);
  EXPECT_EQ(S_OK, strength->GetDouble(kValue_Current, &real));
  EXPECT_EQ(0.25, real);
}

// The placeholder's tests show what is asked of the filter, and its output.
TEST(ApplyFilter, TakesTheRectanglesApartAndRefusesWhatIsMissing) {
  const auto filter = test::FakeFilter::Make();
  filter->runResult = S_FALSE;
  const KivRectF first{0, 0, 0.5, 0.5}, second{0.25, 0.25, 1, 1};
  const auto frame = test::MakeFrame(5, {3, 2});
  EXPECT_EQ(S_FALSE, MyHelper::ApplyFilter(filter, first, second, frame, frame, frame));
  EXPECT_EQ(second, filter->secondRect);
  EXPECT_EQ(first, filter->firstRect);
  EXPECT_EQ(E_POINTER, MyHelper::ApplyFilter(filter, first, second, frame, nullptr, nullptr));
  EXPECT_EQ(E_FAIL, MyHelper::ApplyFilter(nullptr, first, second, frame, nullptr, frame));
  EXPECT_EQ(E_FAIL, MyHelper::ReadFilterOutput(nullptr, frame));
}

}  // namespace
