#include "kiv/effects/VideoCrop.h"

#include <gtest/gtest.h>

#include <cwchar>

#include "kiv/platform/KeyNames.h"
#include "test/support/FakeNode.h"

namespace {

using test::Send;

constexpr KivRectF kWhole{0, 0, 1, 1};
constexpr KivRectF kMiddle{0.25, 0.25, 0.5, 0.5};

struct VideoCrop : testing::Test {
  VideoCrop() {
    chain.source->log.On("Command 0xA01", [this] {
      *reinterpret_cast<KivSize*>(chain.source->commands.back()[1]) = sourceSize;
    });
  }
  KivComPtr<IKivKeyFrameParam> KeyFrames() {
    KivComPtr<IKivKeyFrameParam> keyFrames;
    EXPECT_EQ(S_OK, Send(*chain.node, CommandId::GetCropKeyFrameParam, keyFrames.Put()));
    return keyFrames;
  }
  void Add(int32_t index, const KivRectF& region) {
    const KeyFrameRectF frame{index, region};
    KeyFrames()->AddKeyFrame(&frame);
  }
  void Enable(int32_t enabled = 1) { Send(*chain.node, CommandId::SetCropEnabled, enabled); }
  KivRectF Region() {
    KivRectF region;
    EXPECT_EQ(S_OK, Send(*chain.node, CommandId::GetCropRegion, &region));
    return region;
  }
  KivSizeF Size() {
    KivSizeF size;
    EXPECT_EQ(S_OK, Send(*chain.node, CommandId::GetCroppedSize, &size));
    return size;
  }

  test::NodeOnFake<CVideoCrop> chain;
  KivSize sourceSize{1920, 1080};
};

TEST_F(VideoCrop, ReportsTheRegionOnlyWhenEnabledAndAnimated) {
  Enable();
  Send(*chain.node, CommandId::SetCropRegion, &kMiddle);
  EXPECT_EQ(kWhole, Region());
  EXPECT_EQ((KivSizeF{1920, 1080}), Size());
  Add(0, kMiddle);
  EXPECT_EQ(kMiddle, Region());
  EXPECT_EQ((KivSizeF{960, 540}), Size());
  Enable(0);
  EXPECT_EQ(kWhole, Region());
  EXPECT_EQ((KivSizeF{1920, 1080}), Size());
  int32_t enabled = 7;
  Send(*chain.node, CommandId::GetCropEnabled, &enabled);
  EXPECT_EQ(0, enabled);
}

TEST_F(VideoCrop, FollowsThePositionAndEveryEdit) {
  Enable();
  Add(0, kWhole);
  Add(10, {0.5, 0, 0.5, 0.25});
  chain.node->Seek(5, nullptr, 0);
  EXPECT_EQ((KivRectF{0.25, 0, 0.75, 0.625}), Region());
  chain.node->Skip(5, nullptr);
  EXPECT_EQ((KivSizeF{960, 270}), Size());
  Add(10, kMiddle);
  EXPECT_EQ(kMiddle, Region());
  // A region that is set stands until something is evaluated.
  Send(*chain.node, CommandId::SetCropRegion, &kWhole);
  EXPECT_EQ(kWhole, Region());
  EXPECT_EQ(S_OK, chain.node->Flush());
  EXPECT_EQ(kMiddle, Region());
  sourceSize = {0, 0};
  chain.node->Skip(1, nullptr);
  EXPECT_EQ((KivSizeF{0, 0}), Size());
}

TEST_F(VideoCrop, TheCroppedSizeFollowsTheSource) {
  Enable();
  Add(0, kMiddle);
  EXPECT_EQ((KivSizeF{960, 540}), Size());
  sourceSize = {640, 360};  // a decode scale, or another decoder
  EXPECT_EQ((KivSizeF{320, 180}), Size());
  EXPECT_EQ(kMiddle, Region());
}

TEST_F(VideoCrop, TheRenderRangeMovesTheFirstTwoKeyframes) {
  const KivRange range{10, 90};
  EXPECT_EQ(S_OK, Send(*chain.node, CommandId::SetRenderRange, &range));
  Add(0, kWhole);
  Send(*chain.node, CommandId::SetRenderRange, &range);
  KeyFrameRectF frame;
  EXPECT_EQ(1, KeyFrames()->GetKeyFrameAt(0, &frame));
  EXPECT_EQ((KeyFrameRectF{10, kWhole}), frame);
  Add(20, kMiddle);
  Send(*chain.node, CommandId::SetRenderRange, &range);
  EXPECT_EQ(1, KeyFrames()->GetKeyFrameAt(1, &frame));
  EXPECT_EQ((KeyFrameRectF{90, kMiddle}), frame);
  EXPECT_EQ(2, KeyFrames()->GetKeyFrameCount());
}

TEST_F(VideoCrop, StopsItsOwnCommandsAndForwardsTheOthers) {
  chain.source->result = 77;
  for (const CommandId id :
       {CommandId::GetCropKeyFrameParam, CommandId::SetCropRegion, CommandId::GetCropRegion,
        CommandId::GetCropEnabled, CommandId::GetCroppedSize, CommandId::SetRenderRange}) {
    const bool forwarded = id == CommandId::SetRenderRange;
    EXPECT_EQ(forwarded ? 77 : E_POINTER, Send(*chain.node, id, static_cast<int*>(nullptr)));
  }
  EXPECT_EQ(S_OK, Send(*chain.node, CommandId::SetCropEnabled, 1));
  EXPECT_EQ(77, Send(*chain.node, CommandId::SetProxyEnabled, 1));
  EXPECT_EQ((test::Calls{"Command 0x9CA", "Command 0x9FF"}), chain.source->log.Take());
}

// As many rectangles as a document has no room for.
TEST_F(VideoCrop, ASaveThatLosesTheKeyframesFails) {
  const KivComPtr<IKivKeyFrameParam> keyFrames = KeyFrames();
  for (KeyFrameRectF frame; frame.index < 400000; ++frame.index) keyFrames->AddKeyFrame(&frame);
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(E_FAIL, chain.node->SaveSettings(bag.Get()));
  int32_t kept = 0;
  EXPECT_EQ(S_OK, bag->GetInt(KivKey::Crop::kEnabled, &kept));
  const std::wstring key = KivKey::Crop::kRegion;
  EXPECT_EQ(E_NOTFOUND, bag->GetInt((key + L".Serialize.Size").c_str(), &kept));
}

TEST_F(VideoCrop, SettingsCarryTheKeyframes) {
  const KivPropDecorator bag = KivCommon::CreateProperties();
  Enable();
  chain.node->SaveSettings(bag.Get());
  int32_t size = 0;
  const std::wstring key = KivKey::Crop::kRegion;
  EXPECT_EQ(E_NOTFOUND, bag->GetInt((key + L".Serialize.Size").c_str(), &size));

  Add(0, kMiddle);
  Add(8, kWhole);
  const KivPropDecorator full = KivCommon::CreateProperties();
  chain.node->SaveSettings(full.Get());
  wchar_t text[1000] = {};
  EXPECT_EQ(S_OK, full->GetString((key + L".Serialize").c_str(), text, 1000));
  EXPECT_EQ(S_OK, full->GetInt((key + L".Serialize.Size").c_str(), &size));
  EXPECT_EQ(static_cast<int32_t>(std::wcslen(text)) + 1, size);

  Enable(0);
  KeyFrames()->RemoveAllKeyFrames();
  Add(3, kWhole);
  EXPECT_EQ(kWhole, Region());
  EXPECT_EQ(S_OK, chain.node->LoadSettings(full.Get()));
  EXPECT_EQ(2, KeyFrames()->GetKeyFrameCount());
  EXPECT_EQ(kMiddle, Region());  // at the same position, evaluated anew
  EXPECT_EQ(S_OK, chain.node->LoadSettings(bag.Get()));
  EXPECT_EQ(2, KeyFrames()->GetKeyFrameCount());
  full->SetString((key + L".Serialize").c_str(), L"damaged");
  EXPECT_EQ(S_OK, chain.node->LoadSettings(full.Get()));
  EXPECT_EQ(0, KeyFrames()->GetKeyFrameCount());
  EXPECT_EQ(kWhole, Region());
}

}  // namespace
