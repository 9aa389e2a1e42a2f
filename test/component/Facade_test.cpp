#include <functional>
#include <set>
#include <type_traits>

#include "kiv/chain/TaskIdentities.h"
#include "test/component/FacadeFixture.h"

namespace {

using test::Calls;
using Facade = IKivVideoStreamProcessInternal;

constexpr uintptr_t kMinusOne = 0xFFFFFFFFFFFFFFFF;

// The command that a slot sends. A slot that takes a number is called with -1, another with
// `record`.
struct Route {
  template <typename Arg>
  Route(uint32_t sent, HRESULT (Facade::*slot)(Arg))
      : id(sent), takesNumber(!std::is_pointer_v<Arg>), call([slot](Facade& facade, void* record) {
          if constexpr (std::is_pointer_v<Arg>) {
            return (facade.*slot)(static_cast<Arg>(record));
          } else {
            return (facade.*slot)(-1);
          }
        }) {}
  uint32_t id;
  bool takesNumber;
  std::function<HRESULT(Facade& facade, void* record)> call;
};

const Route kRoutes[] = {
    {0x9C7, &Facade::SetSourceFrameRate},     {0x9C8, &Facade::SetRenderFrameRate},
    {0x9C9, &Facade::SetCacheRange},          {0x9CA, &Facade::SetRenderRange},
    {0x9CB, &Facade::SetAlphaVideoImageFill}, {0x9CC, &Facade::GetSpeedSettings},
    {0x9CD, &Facade::SetSpeedSettings},       {0x9EF, &Facade::GetCropKeyFrameParam},
    {0x9F0, &Facade::SetCropRegion},          {0x9F1, &Facade::GetCropRegion},
    {0x9F2, &Facade::SetCropEnabled},         {0x9F3, &Facade::GetCropEnabled},
    {0x9F4, &Facade::SetStabilizerEnabled},   {0x9F5, &Facade::GetStabilizerEnabled},
    {0x9F6, &Facade::SetStabilizerLevel},     {0x9F7, &Facade::GetStabilizerLevel},
    {0x9F8, &Facade::GetStabExtendControl},   {0x9F9, &Facade::GetStabilizerSettings},
    {0x9FA, &Facade::SetStabilizerSettings},  {0x9FB, &Facade::SetAlphaVideoSettings},
    {0x9FC, &Facade::GetAlphaVideoSettings},  {0x9FD, &Facade::SetProxyPath},
    {0x9FF, &Facade::SetProxyEnabled},        {0xA00, &Facade::GetProxyEnabled},
    {0xA01, &Facade::GetScaledSize},          {0xA02, &Facade::GetCroppedSize},
    {0xA03, &Facade::SetOutputSize},          {0xA04, &Facade::SetDecodeScale}};

struct FacadeCommands : test::FacadeFixture {};

TEST_F(FacadeCommands, EachSlotSendsOneCommandToTheTailAndNoNullRecord) {
  alignas(16) unsigned char record[16];  // slots only pass its address on
  // Sent by Cleanup, by nobody, and by slots with tests of their own below.
  std::set<uint32_t> sent{0x9C6, 0x9CE, 0x9C5, 0x9FE};
  test::Build(*facade, {0, 1});
  nodes.Tail().result = E_FAIL;
  for (const Route& route : kRoutes) {
    nodes.Tail().commands.clear();
    EXPECT_EQ(S_OK, route.call(*facade, record));
    if (!route.takesNumber) route.call(*facade, nullptr);
    const uintptr_t param = route.takesNumber ? kMinusOne : reinterpret_cast<uintptr_t>(record);
    EXPECT_EQ((std::vector<test::SentCommand>{{route.id, param, 0}}), nodes.Tail().commands)
        << std::hex << route.id;
    sent.insert(route.id);
  }
  EXPECT_TRUE(nodes.made[0].node->commands.empty());
  for (const CommandInfo& command : kCommandTable) {
    EXPECT_EQ(1u, sent.count(static_cast<uint32_t>(command.id))) << command.name;
  }
}

TEST_F(FacadeCommands, TheCapacityOfAPathTravelsAsExtra) {
  test::Build(*facade, {0});
  wchar_t path[4];
  EXPECT_EQ(S_OK, facade->GetProxyPath(path, -1));
  EXPECT_EQ(S_OK, facade->GetProxyPath(nullptr, 4));
  EXPECT_EQ((std::vector<test::SentCommand>{{0x9FE, reinterpret_cast<uintptr_t>(path), kMinusOne}}),
            nodes.Tail().commands);
}

TEST_F(FacadeCommands, TheSourceLearnsTheDecodersSizeFirst) {
  test::Build(*facade, {0});
  const auto decoder = test::FakeDecoder::Make();
  KivSize sentSize;
  nodes.Tail().log.On("Command 0xA03", [&] {
    sentSize = *reinterpret_cast<const KivSize*>(nodes.Tail().commands.back()[1]);
  });
  EXPECT_EQ(S_OK, facade->SetDecoder(decoder->AsUnknown()));
  EXPECT_EQ((Calls{"Command 0xA03", "Command 0x9C5"}), nodes.Tail().log.Take());
  EXPECT_EQ((KivSize{1920, 1080}), sentSize);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(decoder->AsUnknown()), nodes.Tail().commands.back()[1]);
  EXPECT_EQ(1u, decoder->References());
  decoder->answersSize = false;
  facade->SetDecoder(decoder->AsUnknown());
  EXPECT_EQ(S_OK, facade->SetDecoder(nullptr));
  EXPECT_EQ((Calls{"Command 0x9C5", "Command 0x9C5"}), nodes.Tail().log.Take());
  EXPECT_EQ(0u, nodes.Tail().commands.back()[1]);
}

struct FacadeIdentity : test::FacadeFixture {};

TEST_F(FacadeIdentity, FacadeAndRenderAreOneObject) {
  const auto render = facade.As<IKivRenderEx>();
  const auto settings = facade.As<IKivRenderSettings>();
  ASSERT_TRUE(render && settings);
  EXPECT_EQ(facade.Get(),
            static_cast<IKivVideoStreamProcess*>(facade.As<IKivVideoStreamProcess>().Get()));
  EXPECT_EQ(facade.As<IUnknown>(), render.As<IUnknown>());
  EXPECT_EQ(render.Get(), facade.As<IKivRender>().Get());
  EXPECT_EQ(facade, render.As<IKivVideoStreamProcessInternal>());
  EXPECT_EQ(render, settings.As<IKivRenderEx>());
}

TEST_F(FacadeIdentity, NeitherNodesNorTasksAreAnsweredWithoutThem) {
  test::Build(*facade, {0});
  for (const GUID& iid : {IKivSourceBase::kIid, kTaskIid, kTaskableIid, IKivFrame::kIid}) {
    void* object = &object;
    EXPECT_EQ(E_NOINTERFACE, facade->QueryInterface(iid, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(E_POINTER, facade->QueryInterface(iid, nullptr));
  }
}

}  // namespace
