#include "kiv/platform/KeyNames.h"
#include "test/StreamCommon/StreamFixture.h"

namespace {

using test::Calls;
using test::Send;

struct Proxy : test::StreamFixture {
  std::wstring Path() {
    wchar_t path[1024] = L"untouched";
    EXPECT_EQ(S_OK, Send(*node, CommandId::GetProxyPath, path, 1024));
    return path;
  }
  int32_t Enabled() {
    int32_t enabled = -9;
    EXPECT_EQ(S_OK, Send(*node, CommandId::GetProxyEnabled, &enabled));
    return enabled;
  }
};

TEST_F(Proxy, PathAndSwitchReachTheDecoderAtOnce) {
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetProxyPath, L"p"));
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetProxyEnabled, 0));
  Attach();
  decoder->log.Take();
  decoder->proxyResult = E_NOTFOUND;
  EXPECT_EQ(E_NOTFOUND, Send(*node, CommandId::SetProxyPath, L"/a/b.mov"));
  EXPECT_EQ(E_NOTFOUND, Send(*node, CommandId::SetProxyEnabled, -1));
  EXPECT_EQ(1, Enabled());
  EXPECT_EQ(E_NOTFOUND, Send(*node, CommandId::SetProxyEnabled, 0));
  EXPECT_EQ((Calls{"SetProxyPath /a/b.mov", "SetProxyOff 0", "SetProxyOff 1"}),
            decoder->log.Take());
  EXPECT_EQ(L"/a/b.mov", Path());
}

TEST_F(Proxy, TheCapacityIsNeverExceeded) {
  const struct {
    int32_t capacity;
    HRESULT result;
    std::wstring buffer;  // all four characters
  } kCases[] = {{3, S_OK, {L'a', L'b', 0, L'x'}},
                {2, E_INVALIDARG, {0, L'x', L'x', L'x'}},
                {0, E_INVALIDARG, L"xxxx"},
                {-260, E_INVALIDARG, L"xxxx"}};
  Send(*node, CommandId::SetProxyPath, L"ab");
  for (const auto& c : kCases) {
    std::wstring buffer = L"xxxx";
    EXPECT_EQ(c.result, Send(*node, CommandId::GetProxyPath, buffer.data(), c.capacity));
    EXPECT_EQ(c.buffer, buffer) << c.capacity;
  }
}

TEST_F(Proxy, IsSavedForgottenAndLoadedAgain) {
  Send(*node, CommandId::SetProxyPath, L"media://proxy \x00E9.mov");
  Send(*node, CommandId::SetProxyEnabled, 7);
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(S_OK, node->SaveSettings(bag.Get()));
  int32_t saved = 0;
  bag->GetInt(KivKey::ProxySource::kEnabled, &saved);
  EXPECT_EQ(1, saved);

  EXPECT_EQ(S_OK, node->LoadSettings(KivCommon::CreateProperties().Get()));
  EXPECT_EQ(L"", Path());
  EXPECT_EQ(0, Enabled());
  Attach();
  decoder->log.Take();
  EXPECT_EQ(S_OK, node->LoadSettings(bag.Get()));
  EXPECT_EQ(L"media://proxy \x00E9.mov", Path());
  EXPECT_EQ(1, Enabled());
  EXPECT_EQ(Calls{}, decoder->log.Take());
}

TEST_F(Proxy, ALoadedPathIsCutAt511Characters) {
  const KivPropDecorator bag = KivCommon::CreateProperties();
  bag->SetString(KivKey::ProxySource::kProxyFilePath, std::wstring(600, L'p').c_str());
  node->LoadSettings(bag.Get());
  EXPECT_EQ(std::wstring(511, L'p'), Path());
}

}  // namespace
