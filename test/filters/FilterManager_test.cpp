#include <gtest/gtest.h>

#include "engine/common/CountedObject.h"
#include "test/filters/FilterSupport.h"

namespace kiv {
namespace {

struct GuidCase {
  const char* name;
  const wchar_t* guid;
  HRESULT expected;
};

class CreateFilter : public testing::TestWithParam<GuidCase> {};

TEST_P(CreateFilter, KnowsTheBareTextOfItsFilters) {
  auto filter = NewResizeFilter();
  EXPECT_EQ(GetParam().expected,
            KivCommon::GetCGFilterManager()->CreateFilter(nullptr, GetParam().guid, &filter));
  EXPECT_EQ(Succeeded(GetParam().expected), static_cast<bool>(filter));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CreateFilter,
    testing::Values(GuidCase{"Resize", L"2C6E0B5D-7F43-4A91-8D0A-3B5E94F1C6D2", S_OK},
                    GuidCase{"LowerCase", L"2c6e0b5d-7f43-4a91-8d0a-3b5e94f1c6d2", S_OK},
                    GuidCase{"WithBraces", L"{2C6E0B5D-7F43-4A91-8D0A-3B5E94F1C6D2}", E_NOTFOUND},
                    GuidCase{"NotBuiltYet", L"A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F95", E_NOTFOUND},
                    GuidCase{"Empty", L"", E_NOTFOUND}, GuidCase{"Null", nullptr, E_INVALIDARG}),
    [](const auto& test) { return test.param.name; });

TEST(Filter, IsOneObjectWithItsBag) {
  const int64_t alive = LiveObjectCount();
  {
    auto filter = NewResizeFilter();
    const auto bag = filter.As<IKivProperties>();
    ASSERT_TRUE(bag);
    EXPECT_EQ(filter.As<IUnknown>().Get(), bag.As<IUnknown>().Get());
    filter.Reset();
    int32_t count = 0;
    EXPECT_EQ(S_OK, bag->GetInt(KivKey::Filter::Property::kCount, &count));
    EXPECT_EQ(1, count);
  }
  EXPECT_EQ(alive, LiveObjectCount());
}

TEST(Filter, EveryPublishedParameterHasNameAndValue) {
  const auto bag = NewResizeFilter().As<IKivProperties>();
  KivComPtr<IUnknown> object;
  ASSERT_EQ(S_OK, bag->GetObject(KivKey::Filter::Property::kParamsArray[0], object.Put()));
  const auto parameter = object.As<IKivProperties>();
  ASSERT_TRUE(parameter);
  wchar_t name[100] = {};
  EXPECT_EQ(S_OK, parameter->GetString(KivKey::Filter::Property::kFriendName, name, 100));
  EXPECT_STREQ(L"Quality", name);
  int32_t value = -1;
  EXPECT_EQ(S_OK, parameter->GetInt(KivKey::Filter::Property::kValue_Current, &value));
  EXPECT_EQ(2, value);
  EXPECT_EQ(E_NOTFOUND, bag->GetObject(KivKey::Filter::Property::kParamsArray[1], object.Put()));
}

}  // namespace
}  // namespace kiv
