#include <gtest/gtest.h>

#include <iterator>
#include <ostream>
#include <set>

#include "kiv/chain/IKivRender.h"
#include "kiv/chain/TaskIdentities.h"
#include "kiv/platform/KivCommon.h"
#include "test/component/FacadeFixture.h"
#include "test/support/FakeDecoder.h"

namespace {

using test::Calls;
using Facade = IKivVideoStreamProcessInternal;

// Large enough for every record; slots only pass its address on.
alignas(16) unsigned char record[2048];

template <typename T>
T* At() {
  return reinterpret_cast<T*>(record);
}

struct RouteCase {
  const char* name;
  uint32_t id;
  HRESULT (*call)(Facade& facade);
  bool number = false;
  uintptr_t param = 0;  // of a number
};

void PrintTo(const RouteCase& c, std::ostream* out) { *out << c.name; }

struct FacadeRoute : test::FacadeFixture, testing::WithParamInterface<RouteCase> {};

TEST_P(FacadeRoute, SendsOneCommandToTheTail) {
  const RouteCase& c = GetParam();
  test::Build(*facade, {0, 1});
  nodes.Tail().commandResult = E_FAIL;
  EXPECT_EQ(S_OK, c.call(*facade));
  const uintptr_t param = c.number ? c.param : reinterpret_cast<uintptr_t>(record);
  EXPECT_EQ((std::vector<test::SentCommand>{{c.id, param, 0}}), nodes.Tail().commands);
  EXPECT_TRUE(nodes.made[0].node->commands.empty());
}

constexpr uintptr_t kMinusOne = 0xFFFFFFFFFFFFFFFF;

const RouteCase kRoutes[] = {
    {"SetSourceFrameRate", 0x9C7,
     [](Facade& f) { return f.SetSourceFrameRate(At<KivRational>()); }},
    {"SetRenderFrameRate", 0x9C8,
     [](Facade& f) { return f.SetRenderFrameRate(At<KivRational>()); }},
    {"SetCacheRange", 0x9C9, [](Facade& f) { return f.SetCacheRange(At<KivRange>()); }},
    {"SetRenderRange", 0x9CA, [](Facade& f) { return f.SetRenderRange(At<KivRange>()); }},
    {"SetAlphaVideoImageFill", 0x9CB, [](Facade& f) { return f.SetAlphaVideoImageFill(7); }, true,
     7},
    {"GetSpeedSettings", 0x9CC, [](Facade& f) { return f.GetSpeedSettings(At<SpeedSettings>()); }},
    {"SetSpeedSettings", 0x9CD, [](Facade& f) { return f.SetSpeedSettings(At<SpeedSettings>()); }},
    {"GetCropKeyFrameParam", 0x9EF,
     [](Facade& f) { return f.GetCropKeyFrameParam(At<IKivKeyFrameParam*>()); }},
    {"SetCropRegion", 0x9F0, [](Facade& f) { return f.SetCropRegion(At<KivRectF>()); }},
    {"GetCropRegion", 0x9F1, [](Facade& f) { return f.GetCropRegion(At<KivRectF>()); }},
    {"SetCropEnabled", 0x9F2, [](Facade& f) { return f.SetCropEnabled(INT32_MIN); }, true,
     0xFFFFFFFF80000000},
    {"GetCropEnabled", 0x9F3, [](Facade& f) { return f.GetCropEnabled(At<int32_t>()); }},
    {"SetStabilizerEnabled", 0x9F4, [](Facade& f) { return f.SetStabilizerEnabled(-1); }, true,
     kMinusOne},
    {"GetStabilizerEnabled", 0x9F5,
     [](Facade& f) { return f.GetStabilizerEnabled(At<int32_t>()); }},
    {"SetStabilizerLevel", 0x9F6, [](Facade& f) { return f.SetStabilizerLevel(INT32_MAX); }, true,
     0x7FFFFFFF},
    {"GetStabilizerLevel", 0x9F7, [](Facade& f) { return f.GetStabilizerLevel(At<int32_t>()); }},
    {"GetStabExtendControl", 0x9F8,
     [](Facade& f) { return f.GetStabExtendControl(At<IKivStabExtendControl*>()); }},
    {"GetStabilizerSettings", 0x9F9,
     [](Facade& f) { return f.GetStabilizerSettings(At<StabSettings>()); }},
    {"SetStabilizerSettings", 0x9FA,
     [](Facade& f) { return f.SetStabilizerSettings(At<StabSettings>()); }},
    {"SetAlphaVideoSettings", 0x9FB,
     [](Facade& f) { return f.SetAlphaVideoSettings(At<AlphaVideoSettings>()); }},
    {"GetAlphaVideoSettings", 0x9FC,
     [](Facade& f) { return f.GetAlphaVideoSettings(At<AlphaVideoSettings>()); }},
    {"SetProxyPath", 0x9FD, [](Facade& f) { return f.SetProxyPath(At<wchar_t>()); }},
    {"SetProxyEnabled", 0x9FF, [](Facade& f) { return f.SetProxyEnabled(-2); }, true,
     0xFFFFFFFFFFFFFFFE},
    {"GetProxyEnabled", 0xA00, [](Facade& f) { return f.GetProxyEnabled(At<int32_t>()); }},
    {"GetScaledSize", 0xA01, [](Facade& f) { return f.GetScaledSize(At<KivSize>()); }},
    {"GetCroppedSize", 0xA02, [](Facade& f) { return f.GetCroppedSize(At<KivSizeF>()); }},
    {"SetOutputSize", 0xA03, [](Facade& f) { return f.SetOutputSize(At<KivSize>()); }},
    {"SetDecodeScale", 0xA04, [](Facade& f) { return f.SetDecodeScale(At<KivRational>()); }},
};

INSTANTIATE_TEST_SUITE_P(Slots, FacadeRoute, testing::ValuesIn(kRoutes),
                         [](const auto& c) { return std::string(c.param.name); });

struct FacadeCommands : test::FacadeFixture {};

TEST_F(FacadeCommands, EveryIdHasASlotOrAReasonToHaveNone) {
  // Sent by Cleanup, by nobody, and by slots with tests of their own below.
  std::set<uint32_t> sent{0x9C6, 0x9CE, 0x9C5, 0x9FE};
  for (const RouteCase& c : kRoutes) sent.insert(c.id);
  for (const CommandInfo& command : kCommandTable) {
    EXPECT_EQ(1u, sent.count(static_cast<uint32_t>(command.id))) << command.name;
  }
  EXPECT_EQ(std::size(kCommandTable), sent.size());
}

struct CapacityCase {
  int32_t capacity;
  uintptr_t extra;
};
struct FacadeProxyPath : test::FacadeFixture, testing::WithParamInterface<CapacityCase> {};

TEST_P(FacadeProxyPath, SendsTheCapacityAsExtra) {
  test::Build(*facade, {0});
  EXPECT_EQ(S_OK, facade->GetProxyPath(At<wchar_t>(), GetParam().capacity));
  EXPECT_EQ((std::vector<test::SentCommand>{
                {0x9FE, reinterpret_cast<uintptr_t>(record), GetParam().extra}}),
            nodes.Tail().commands);
}

INSTANTIATE_TEST_SUITE_P(Capacities, FacadeProxyPath,
                         testing::Values(CapacityCase{260, 260}, CapacityCase{-1, kMinusOne}));

struct FacadeDecoder : test::FacadeFixture {
  void SetUp() override {
    test::Build(*facade, {0});
    nodes.Tail().log.On("Command 0xA03", [this] {
      sentSize = *reinterpret_cast<const KivSize*>(nodes.Tail().commands.back().param);
    });
  }
  KivComPtr<test::FakeDecoder> decoder = test::FakeDecoder::Make();
  KivSize sentSize{-1, -1};
};

TEST_F(FacadeDecoder, TheSourceLearnsTheSizeFirst) {
  EXPECT_EQ(S_OK, facade->SetDecoder(decoder->AsUnknown()));
  EXPECT_EQ((Calls{"Command 0xA03", "Command 0x9C5"}), nodes.Tail().log.Calls());
  EXPECT_EQ((KivSize{1920, 1080}), sentSize);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(decoder->AsUnknown()), nodes.Tail().commands.back().param);
  EXPECT_EQ(1u, decoder->References());
}

TEST_F(FacadeDecoder, OneWithoutASizeIsAttachedAlone) {
  decoder->answersSize = false;
  facade->SetDecoder(decoder->AsUnknown());
  EXPECT_EQ(Calls{"Command 0x9C5"}, nodes.Tail().log.Calls());
}

TEST_F(FacadeDecoder, NullDetaches) {
  EXPECT_EQ(S_OK, facade->SetDecoder(nullptr));
  EXPECT_EQ((std::vector<test::SentCommand>{{0x9C5, 0, 0}}), nodes.Tail().commands);
}

struct FacadeIdentity : test::FacadeFixture {};

TEST_F(FacadeIdentity, BothOfItsIdentitiesAreOneInterface) {
  EXPECT_EQ(facade.Get(),
            static_cast<IKivVideoStreamProcess*>(facade.As<IKivVideoStreamProcess>().Get()));
  EXPECT_EQ(facade, facade.As<IKivVideoStreamProcessInternal>());
  EXPECT_EQ(facade.As<IUnknown>(), facade.As<IKivRenderEx>().As<IUnknown>());
}

TEST_F(FacadeIdentity, TheRenderInterfacesLeadBackToTheFacade) {
  const auto render = facade.As<IKivRenderEx>();
  const auto settings = facade.As<IKivRenderSettings>();
  ASSERT_TRUE(render);
  ASSERT_TRUE(settings);
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
  EXPECT_EQ(E_POINTER, facade->QueryInterface(IKivVideoStreamProcessInternal::kIid, nullptr));
}

struct FacadeChain : test::FacadeFixture {};

TEST_F(FacadeChain, GivesItsTailNode) {
  const auto before = test::FakeNode::Make();
  KivComPtr<IKivSourceBase> tail = before;
  EXPECT_EQ(S_OK, facade->GetTailNode(&tail));
  EXPECT_FALSE(tail);
  EXPECT_EQ(1u, before->References());
  test::Build(*facade, {0, 2});
  EXPECT_EQ(S_OK, facade->GetTailNode(&tail));
  EXPECT_EQ(nodes.made[1].node.Get(), tail.Get());
  EXPECT_EQ(E_POINTER, facade->GetTailNode(nullptr));
}

TEST_F(FacadeChain, SavesAndLoadsThroughEveryNode) {
  test::Build(*facade, {0, 2});
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(S_OK, facade->SaveSettings(bag.Get()));
  EXPECT_EQ(S_OK, facade->LoadSettings(bag.Get()));
  for (const auto& made : nodes.made) {
    EXPECT_EQ((Calls{"Save", "Load"}), made.node->log.Calls());
  }
}

}  // namespace
