#include <gtest/gtest.h>

#include <string>

#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "test/support/FakeDecoder.h"
#include "test/support/NodeOnFake.h"

namespace {

using test::Calls;
using test::Send;

struct Proxy : testing::Test {
  static std::wstring PathOf(CVideoStreamer& streamer) {
    wchar_t path[1024] = L"untouched";
    EXPECT_EQ(S_OK, Send(streamer, CommandId::GetProxyPath, path, 1024));
    return path;
  }
  static int32_t EnabledOf(CVideoStreamer& streamer) {
    int32_t enabled = -9;
    EXPECT_EQ(S_OK, Send(streamer, CommandId::GetProxyEnabled, &enabled));
    return enabled;
  }

  KivComPtr<test::FakeDecoder> decoder = test::FakeDecoder::Make();
  KivComPtr<CVideoStreamer> node{new CVideoStreamer(nullptr)};
};

TEST_F(Proxy, StartsEmptyAndOff) {
  EXPECT_EQ(L"", PathOf(*node));
  EXPECT_EQ(0, EnabledOf(*node));
}

TEST_F(Proxy, PathAndSwitchReachTheDecoderAtOnce) {
  Send(*node, CommandId::SetDecoder, decoder->AsUnknown());
  decoder->log.Take();
  decoder->proxyResult = E_NOTFOUND;
  EXPECT_EQ(E_NOTFOUND, Send(*node, CommandId::SetProxyPath, L"/a/b.mov"));
  EXPECT_EQ(E_NOTFOUND, Send(*node, CommandId::SetProxyEnabled, -1));
  EXPECT_EQ(1, EnabledOf(*node));
  EXPECT_EQ(E_NOTFOUND, Send(*node, CommandId::SetProxyEnabled, 0));
  EXPECT_EQ((Calls{"SetProxyPath /a/b.mov", "SetProxyOff 0", "SetProxyOff 1"}),
            decoder->log.Calls());
  EXPECT_EQ(L"/a/b.mov", PathOf(*node));
}

TEST_F(Proxy, IsKeptWithoutADecoder) {
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetProxyPath, L"p"));
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetProxyEnabled, 5));
  EXPECT_EQ(L"p", PathOf(*node));
  EXPECT_EQ(1, EnabledOf(*node));
}

struct CapacityCase {
  int32_t capacity;
  HRESULT result;
  std::wstring buffer;  // all four characters
};
struct ProxyCapacity : testing::TestWithParam<CapacityCase> {};

TEST_P(ProxyCapacity, IsNeverExceeded) {
  const KivComPtr<CVideoStreamer> node(new CVideoStreamer(nullptr));
  Send(*node, CommandId::SetProxyPath, L"ab");
  wchar_t buffer[] = {L'x', L'x', L'x', L'x'};
  EXPECT_EQ(GetParam().result, Send(*node, CommandId::GetProxyPath, buffer, GetParam().capacity));
  EXPECT_EQ(GetParam().buffer, std::wstring(buffer, 4));
}

INSTANTIATE_TEST_SUITE_P(Sizes, ProxyCapacity,
                         testing::Values(CapacityCase{4, S_OK, {L'a', L'b', 0, L'x'}},
                                         CapacityCase{3, S_OK, {L'a', L'b', 0, L'x'}},
                                         CapacityCase{2, E_INVALIDARG, {0, L'x', L'x', L'x'}},
                                         CapacityCase{1, E_INVALIDARG, {0, L'x', L'x', L'x'}},
                                         CapacityCase{0, E_INVALIDARG, L"xxxx"},
                                         CapacityCase{-260, E_INVALIDARG, L"xxxx"}));

TEST_F(Proxy, IsSavedAndLoadedIntoAFreshNode) {
  Send(*node, CommandId::SetProxyPath, L"media://proxy \x00E9.mov");
  Send(*node, CommandId::SetProxyEnabled, 7);
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(S_OK, node->SaveSettings(bag.Get()));
  int32_t saved = 0;
  bag->GetInt(KivKey::ProxySource::kEnabled, &saved);
  EXPECT_EQ(1, saved);

  const KivComPtr<CVideoStreamer> fresh(new CVideoStreamer(nullptr));
  Send(*fresh, CommandId::SetDecoder, decoder->AsUnknown());
  decoder->log.Take();
  EXPECT_EQ(S_OK, fresh->LoadSettings(bag.Get()));
  EXPECT_EQ(L"media://proxy \x00E9.mov", PathOf(*fresh));
  EXPECT_EQ(1, EnabledOf(*fresh));
  EXPECT_EQ(Calls{}, decoder->log.Calls());
}

TEST_F(Proxy, LoadingAnEmptyBagForgetsIt) {
  Send(*node, CommandId::SetProxyPath, L"p");
  Send(*node, CommandId::SetProxyEnabled, 1);
  EXPECT_EQ(S_OK, node->LoadSettings(KivCommon::CreateProperties().Get()));
  EXPECT_EQ(L"", PathOf(*node));
  EXPECT_EQ(0, EnabledOf(*node));
}

TEST_F(Proxy, ALoadedPathIsCutAt511Characters) {
  const KivPropDecorator bag = KivCommon::CreateProperties();
  bag->SetString(KivKey::ProxySource::kProxyFilePath, std::wstring(600, L'p').c_str());
  node->LoadSettings(bag.Get());
  EXPECT_EQ(std::wstring(511, L'p'), PathOf(*node));
}

TEST_F(Proxy, RefusesAMissingBag) {
  EXPECT_EQ(E_POINTER, node->SaveSettings(nullptr));
  EXPECT_EQ(E_POINTER, node->LoadSettings(nullptr));
}

}  // namespace
