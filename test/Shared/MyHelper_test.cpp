#include "kiv/Shared/MyHelper.h"

#include <gtest/gtest.h>

#include <string>

#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"
#include "test/support/FakeFilter.h"
#include "test/support/Frames.h"
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
};

TEST_F(CreateFilter, AsksTheManagerWithoutBraces) {
  manager->filter = test::FakeFilter::Make();
  manager->result = S_FALSE;
  HRESULT result = E_FAIL;
  EXPECT_EQ(manager->filter, MyHelper::CreateFilter(kGuid, &result));
  EXPECT_EQ(S_FALSE, result);
  EXPECT_EQ(Calls{"CreateFilter A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F95"}, manager->log.Calls());
  EXPECT_TRUE(MyHelper::CreateFilter(kGuid, nullptr));
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(CreateFilter, LogsAFilterThatDoesNotComeWithItsBracesAndLine101) {
  manager->result = E_NOTFOUND;
  HRESULT result = S_OK;
  EXPECT_FALSE(MyHelper::CreateFilter(kGuid, &result));
  EXPECT_EQ(E_NOTFOUND, result);
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ(LogLevel::kFilter, log.Lines()[0].level);
  EXPECT_NE(std::string::npos,
            log.Lines()[0].text.find(
                "Create filter failed. Filter GUID : {A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F95}"
                "  [MyHelper.cpp, 101]"));
}

TEST_F(CreateFilter, WithoutAManagerGivesNothingAndLogsNothing) {
  const test::SwappedClass none(kiv::kFilterManagerClassId, nullptr);
  HRESULT result = E_FAIL;
  EXPECT_FALSE(MyHelper::CreateFilter(kGuid, &result));
  EXPECT_EQ(S_OK, result);
  EXPECT_TRUE(log.Lines().empty());
}

class FilterParams : public testing::Test {
 protected:
  void SetUp() override { filter_->bag = bag_.Reference(); }
  // A parameter without a current value.
  KivPropDecorator Publish(int32_t index, const wchar_t* name) {
    KivPropDecorator param = KivCommon::CreateProperties();
    param->SetString(kFriendName, name);
    bag_->SetObject(kParamsArray[index], param.Get());
    bag_->SetInt(kCount, index + 1);
    return param;
  }

  KivComPtr<test::FakeFilter> filter_ = test::FakeFilter::Make();
  KivPropDecorator bag_ = KivCommon::CreateProperties();
};

TEST_F(FilterParams, AreFoundWithoutRegardToAsciiCase) {
  Publish(0, L"strength");
  const KivPropDecorator mode = Publish(1, L"mode");
  const auto properties = MyHelper::GetFilterProperties(filter_);
  for (const wchar_t* name : {L"Mode", L"MODE", L"mode"}) {
    EXPECT_EQ(mode.Reference(), MyHelper::FindFilterParam(properties, name));
  }
  for (const wchar_t* name : {L"mod", L"modes", L"",
                              L"m\x00F6"
                              L"de"}) {
    EXPECT_FALSE(MyHelper::FindFilterParam(properties, name));
  }
  EXPECT_FALSE(MyHelper::FindFilterParam(properties, nullptr));
  EXPECT_FALSE(MyHelper::FindFilterParam(nullptr, L"mode"));
}

TEST_F(FilterParams, OneThatCannotBeObtainedIsPassedOver) {
  const KivPropDecorator last = Publish(2, L"mode");
  bag_->SetObject(kParamsArray[1], filter_.Get());
  filter_->bag.Reset();  // the object at place 1 answers no bag now
  EXPECT_EQ(last.Reference(), MyHelper::FindFilterParam(bag_.Reference(), L"mode"));
  bag_->SetObject(kParamsArray[1], bag_.Get());
  const auto cut = KivCommon::CreateProperties();
  bag_->SetObject(kParamsArray[1], cut.Get());
}

TEST_F(FilterParams, TheFirstMatchAnswers) {
  const KivPropDecorator first = Publish(0, L"mode");
  Publish(1, L"MODE");
  EXPECT_EQ(first.Reference(), MyHelper::FindFilterParam(bag_.Reference(), L"Mode"));
}

TEST_F(FilterParams, ACountThatNoFilterHasIsNotBelieved) {
  Publish(0, L"mode");
  bag_->SetInt(kCount, INT32_MAX);
  EXPECT_FALSE(MyHelper::FindFilterParam(bag_.Reference(), L"other"));
  bag_->SetInt(kCount, -1);
  EXPECT_FALSE(MyHelper::FindFilterParam(bag_.Reference(), L"mode"));
  EXPECT_FALSE(MyHelper::GetFilterParam(bag_.Reference(), -1));
  EXPECT_FALSE(MyHelper::GetFilterParam(bag_.Reference(), 32));
}

TEST_F(FilterParams, AreSetAsTypedValues) {
  const KivPropDecorator mode = Publish(0, L"mode");
  const KivPropDecorator strength = Publish(1, L"strength");
  EXPECT_EQ(S_OK, MyHelper::SetFilterParamInt(filter_, L"Mode", -7));
  EXPECT_EQ(S_OK, MyHelper::SetFilterParamDouble(filter_, L"Strength", 0.25));
  int32_t number = 0;
  double real = 0;
  EXPECT_EQ(S_OK, mode->GetInt(kValue_Current, &number));
  EXPECT_EQ(-7, number);
  EXPECT_EQ(S_OK, strength->GetDouble(kValue_Current, &real));
  EXPECT_EQ(0.25, real);
}

TEST_F(FilterParams, SettingOneThatDoesNotExistIsNoError) {
  EXPECT_EQ(S_OK, MyHelper::SetFilterParamInt(filter_, L"mode", 1));
  filter_->bag.Reset();
  EXPECT_EQ(S_OK, MyHelper::SetFilterParamDouble(filter_, L"mode", 1));
}

TEST(FilterHelpers, RefuseAMissingFilter) {
  const KivRectF whole{0, 0, 1, 1};
  const auto frame = test::MakeFrame(1);
  EXPECT_EQ(E_FAIL, MyHelper::SetFilterParamInt(nullptr, L"mode", 1));
  EXPECT_EQ(E_FAIL, MyHelper::SetFilterParamDouble(nullptr, L"mode", 1));
  EXPECT_EQ(E_FAIL, MyHelper::ApplyFilter(nullptr, whole, whole, frame, nullptr, frame));
  EXPECT_EQ(E_FAIL, MyHelper::ReadFilterOutput(nullptr, frame));
  EXPECT_FALSE(MyHelper::GetFilterProperties(nullptr));
}

TEST(ApplyFilter, RunsAtTheOutputsSizeWithTheSecondRectangleFirst) {
  const auto filter = test::FakeFilter::Make();
  filter->runResult = S_FALSE;
  const KivRectF first{0, 0, 0.5, 0.5}, second{0.25, 0.25, 1, 1};
  const auto input = test::MakeFrame(5, {8, 8});
  const auto output = test::MakeFrame(6, {3, 2});
  EXPECT_EQ(S_FALSE, MyHelper::ApplyFilter(filter, first, second, input, input, output));
  EXPECT_EQ((Calls{"SetRects", "SetRunMode 0", "SetInputCount 1", "SetFirstInput", "SetSecondInput",
                   "Run 3x2"}),
            filter->log.Calls());
  EXPECT_EQ(second, filter->secondRect);
  EXPECT_EQ(first, filter->firstRect);
  EXPECT_EQ(6, test::NumberIn(output));
  EXPECT_EQ(E_POINTER, MyHelper::ApplyFilter(filter, first, second, input, nullptr, nullptr));
}

TEST(ReadFilterOutput, FillsTheFrameAndReportsTheResult) {
  const auto filter = test::FakeFilter::Make();
  filter->fill = 88;
  const auto frame = test::MakeFrame(1);
  EXPECT_EQ(S_OK, MyHelper::ReadFilterOutput(filter, frame));
  EXPECT_EQ(88, test::NumberIn(frame));
  filter->readResult = E_NOTREADY;
  EXPECT_EQ(E_NOTREADY, MyHelper::ReadFilterOutput(filter, frame));
}

}  // namespace
