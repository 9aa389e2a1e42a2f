// How the alpha video node moves its source, and what it is told and tells.
#include <cstring>

#include "test/effects/AlphaFixture.h"

namespace {

using test::Calls;
using test::Send;

TEST_F(AlphaVideo, PassesEverythingThroughWhileItIsNoPreset) {
  record.preset = record.canChangeColour = 0;
  Apply();
  Send(*chain.node, CommandId::SetAlphaImageFill, 1);
  chain.source->frame = test::MakeFrame(7);
  int32_t reached = 0, moved = 0;
  EXPECT_EQ(S_OK, chain.node->Seek(130, &reached, 0));
  EXPECT_EQ(S_OK, chain.node->Skip(3, &moved));
  EXPECT_EQ(133, chain.node->GetPosition(nullptr));
  EXPECT_EQ(chain.source->frame, chain.node->GetCurrentFrame(nullptr));
  EXPECT_EQ((Calls{"Seek 130", "Skip 3", "GetPosition", "GetCurrentFrame"}), Taken());
  EXPECT_EQ(0, chain.node->GetPreset());
}

TEST_F(AlphaVideo, SeekShowsTheMappedFrameAndKeepsTheOneAskedFor) {
  record.pauseTime = 2;
  Apply();
  int32_t reached = 0;
  int64_t time = 0;
  EXPECT_EQ(S_OK, chain.node->Seek(100, &reached, 0));
  EXPECT_EQ(49, reached);
  EXPECT_EQ(100, chain.node->GetPosition(&time));
  EXPECT_EQ(40'000'000, time);
  chain.source->result = E_FAIL;
  EXPECT_EQ(E_FAIL, chain.node->Seek(3, nullptr, 0));
  EXPECT_EQ(E_FAIL, chain.node->Skip(100, nullptr));
  EXPECT_EQ(100, chain.node->GetPosition(nullptr));
  chain.source->result = S_OK;
  EXPECT_EQ(S_OK, chain.node->Skip(1, nullptr));
  EXPECT_EQ((Calls{"Seek 49", "Seek 3", "Seek 74"}), Taken()) << "held where it was";
}

struct Walk {
  const char* name;
  double pause;
  int32_t loop, start;
  std::vector<int32_t> steps;
  Calls calls;  // after the first seek
};

const Walk kWalks[] = {
    {"into the pause", 2, 0, 47, {1, 1, 1, 1, 1}, {"Skip 1", "Skip 1"}},
    {"inside and out of it", 2, 0, 100, {10, 65, 1, 1, 2}, {"Seek 50", "Skip 1", "Skip 2"}},
    {"through it at once", 2, 0, 40, {140}, {"Seek 54"}},
    {"back into it and out",
     2,
     0,
     177,
     {-1, -1, -1, -124, -1, -1, -1},
     {"Skip -1", "Skip -1", "Seek 48", "Skip -1"}},
    {"round a loop of ten", 2, 10, 59, {1, 1, 1, 1}, {"Skip 1", "Skip 1", "Seek 49", "Skip 1"}},
    {"round the whole preset", 0, 0, 122, {1, 1, 1, 1}, {"Skip 1", "Skip 1", "Seek 0", "Skip 1"}},
    {"nowhere", 2, 0, 30, {0}, {"Skip 0"}},
};

TEST_F(AlphaVideo, StepsWithThePresetAndJumpsWhereItDoes) {
  for (const Walk& walk : kWalks) {
    SCOPED_TRACE(walk.name);
    record.pauseTime = walk.pause;
    record.loopCount = walk.loop;
    Apply();
    chain.node->Seek(walk.start, nullptr, 0);
    Taken();
    int32_t at = walk.start;
    for (const int32_t step : walk.steps) {
      EXPECT_EQ(S_OK, chain.node->Skip(step, nullptr));
      EXPECT_EQ(at += step, chain.node->GetPosition(nullptr));
    }
    EXPECT_EQ(walk.calls, Taken());
    if (walk.calls.back().starts_with("Seek")) {
      EXPECT_EQ(1, chain.source->lastMode);
    }
  }
}

TEST_F(AlphaVideo, AHeldStepLeavesTheCountAlone) {
  record.pauseTime = 2;
  Apply();
  chain.node->Seek(100, nullptr, 0);
  int32_t moved = -7;
  chain.node->Skip(1, &moved);
  EXPECT_EQ(-7, moved);
}

TEST_F(AlphaVideo, StopsItsOwnCommandsAndForwardsTheOthers) {
  chain.source->result = 77;
  for (const CommandId id : {CommandId::SetRenderFrameRate, CommandId::SetRenderRange,
                             CommandId::SetAlphaVideoSettings, CommandId::GetAlphaVideoSettings}) {
    const bool forwarded = id == CommandId::SetRenderFrameRate;
    EXPECT_EQ(forwarded ? 77 : E_POINTER, Send(*chain.node, id, static_cast<int*>(nullptr)));
  }
  EXPECT_EQ(S_OK, Send(*chain.node, CommandId::SetAlphaImageFill, 1));
  EXPECT_EQ(77, Send(*chain.node, CommandId::SetCropEnabled, 1));
  EXPECT_EQ((Calls{"Command 0x9C8", "Command 0x9F2"}), Taken());
}

TEST_F(AlphaVideo, TheRecordKeepsItsBytes) {
  unsigned char bytes[1104] = {};
  const auto put = [&bytes](size_t at, const auto& value) {
    std::memcpy(bytes + at, &value, sizeof value);
  };
  const int32_t numbers[][2] = {{0, 1},         {4, 2},   {8, 0xFF8000}, {24, 0x010203},
                                {28, 0x0A0B0C}, {32, -5}, {36, 1},       {1080, 10}};
  for (const auto& [at, value] : numbers) put(static_cast<size_t>(at), value);
  put(16, 45.5);
  put(1088, 3.25);
  put(1096, 1.5);
  put(40, u'm');
  for (size_t i = 0; i < 259; ++i)
    put(560 + 2 * i, static_cast<char16_t>(i == 0 ? 0xD83D : i == 1 ? 0xDE00 : 'i'));
  EXPECT_EQ(S_OK, Send(*chain.node, CommandId::SetAlphaVideoSettings, &bytes));
  unsigned char read[1104];
  std::memset(read, 0xEE, sizeof read);
  EXPECT_EQ(S_OK, Send(*chain.node, CommandId::GetAlphaVideoSettings, &read));
  EXPECT_EQ(0, std::memcmp(bytes, read, sizeof read));
  EXPECT_EQ(-5, chain.node->GetPreset());

  put(40 + 2 * 0, u'n');
  put(560 + 2 * 259, u'i');
  EXPECT_EQ(E_INVALIDARG, Send(*chain.node, CommandId::SetAlphaVideoSettings, &bytes));
  EXPECT_EQ(u'm', Record().fullHdDataPath[0]) << "nothing is taken over";
}

TEST_F(AlphaVideo, SettingsCarryEveryField) {
  record = {1, 2, 0xFF8000, 0, 45.5, 0x010203, 0x0A0B0C, 1, 1};
  record.loopCount = 10;
  record.duration = 3.25;
  record.pauseTime = 1.5;
  SetPath(record.fullHdDataPath, folder.Path("mask.mp4"));
  SetPath(record.imagePath, folder.Path("image.png"));
  Apply();
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(S_OK, chain.node->SaveSettings(bag.Get()));
  const KivComPtr<CVideoAlphaVideo> other(new CVideoAlphaVideo(nullptr, nullptr));
  other->LoadSettings(bag.Get());
  AlphaVideoSettings loaded;
  Send(*other, CommandId::GetAlphaVideoSettings, &loaded);
  EXPECT_EQ(0, std::memcmp(&record, &loaded, sizeof record));

  bag->SetInt(KivKey::AlphaVideo::kAlphaVideo_PresetVideo, 0);
  bag->SetInt(KivKey::AlphaVideo::kAlphaVideo_LoopCount, 99);
  other->LoadSettings(bag.Get());
  Send(*other, CommandId::GetAlphaVideoSettings, &loaded);
  EXPECT_EQ(0, loaded.preset);
  EXPECT_EQ(10, loaded.loopCount) << "nothing else is read of what is no preset";
  EXPECT_EQ(E_POINTER, other->SaveSettings(nullptr));
  EXPECT_EQ(E_POINTER, other->LoadSettings(nullptr));
}

TEST_F(AlphaVideo, LoadedPathsAreTranslatedAndInitializedOnesAreNot) {
  const KivPropDecorator bag = KivCommon::CreateProperties(), none = KivCommon::CreateProperties();
  const std::wstring location = L"media://" + KivCommon::Char2WChar(folder.Path("i.png").c_str());
  bag->SetInt(KivKey::AlphaVideo::kAlphaVideo_PresetVideo, 1);
  bag->SetString(KivKey::AlphaVideo::kAlphaVideo_ImageFilepath, location.c_str());
  chain.node->LoadSettings(bag.Get());
  SetPath(record.imagePath, folder.Path("i.png"));
  AlphaVideoSettings read = Record();
  EXPECT_TRUE(std::equal(std::begin(record.imagePath), std::end(record.imagePath), read.imagePath));
  EXPECT_EQ(S_OK, chain.node->Initialize(bag.Reference(), none.Reference()));
  read = Record();
  EXPECT_TRUE(std::equal(location.begin(), location.end(), read.imagePath));
  bag->SetString(KivKey::AlphaVideo::kAlphaVideo_ImageFilepath, std::wstring(400, L'x').c_str());
  chain.node->Initialize(bag.Reference(), none.Reference());
  read = Record();
  EXPECT_EQ(u'x', read.imagePath[258]);
  EXPECT_EQ(u'\0', read.imagePath[259]);
}

TEST_F(AlphaVideo, InitializeReadsRateAndRangeAndKeepsWhatIsMissing) {
  const KivPropDecorator settings = KivCommon::CreateProperties(),
                         info = KivCommon::CreateProperties();
  const std::wstring rateKey = std::wstring(KivKey::Source::kSource_Framerate) + L".Video";
  const KivRational rate{50, 1};
  const KivRange range{0, 499};
  info->SetRational(rateKey.c_str(), &rate);
  info->SetRange(KivKey::Render::kRender_RangeFrameNumber, &range);
  settings->SetDouble(KivKey::AlphaVideo::kAlphaVideo_VideoPauseTime, 2);
  EXPECT_EQ(S_OK, chain.node->Initialize(settings.Reference(), info.Reference()));
  // 20 seconds at 50 a second: 5 of the preset, a pause of 15 from frame 99 on.
  for (const auto& [frame, shown] : {std::pair{99, 99}, {100, 99}, {850, 99}, {851, 100}}) {
    chain.node->Seek(frame, nullptr, 0);
    EXPECT_EQ(shown, chain.source->position) << frame;
  }
  chain.source->initializeResult = E_FAIL;
  EXPECT_EQ(E_FAIL, chain.node->Initialize(nullptr, nullptr));
  EXPECT_EQ(1, chain.node->GetPreset());
  chain.source->initializeResult = 5;
  SetPath(record.imagePath, "image.png");
  record.duration = 3;
  Apply();
  EXPECT_EQ(5, chain.node->Initialize(nullptr, nullptr));
  const AlphaVideoSettings read = Record();
  EXPECT_EQ(0, read.preset);
  EXPECT_EQ(0, read.pauseTime);
  EXPECT_EQ(5, read.duration);
  EXPECT_EQ(u'i', read.imagePath[0]) << "paths stay";
}

TEST_F(AlphaVideo, WhatIsMissingInAClipsSettingsStays) {
  SetPath(record.imagePath, "image.png");
  SetPath(record.fullHdDataPath, "mask.mp4");
  Apply();
  const KivPropDecorator bag = KivCommon::CreateProperties(), info = KivCommon::CreateProperties();
  bag->SetInt(KivKey::AlphaVideo::kAlphaVideo_LoopCount, 99);
  EXPECT_EQ(S_OK, chain.node->LoadSettings(bag.Get()));
  EXPECT_EQ(0, Record().loopCount) << "without a preset nothing is read";
  bag->SetInt(KivKey::AlphaVideo::kAlphaVideo_PresetVideo, 1);
  bag->SetString(KivKey::AlphaVideo::kAlphaVideo_ImageFilepath, L"");
  EXPECT_EQ(S_OK, chain.node->LoadSettings(bag.Get()));
  EXPECT_EQ(99, Record().loopCount);
  EXPECT_EQ(S_OK, chain.node->Initialize(bag.Reference(), info.Reference()));
  EXPECT_EQ(u'i', Record().imagePath[0]);
  EXPECT_EQ(u'm', Record().fullHdDataPath[0]);
}

}  // namespace
