// What the alpha video node makes of small drawn pictures, pixel by pixel.
#include <cstring>
#include <limits>

#include "engine/write/Writer.h"
#include "test/effects/AlphaFixture.h"

namespace {

using test::Calls;
using test::Send;
using Pixels = std::vector<uint32_t>;

// Alpha, red, green, blue.
const Pixels kDrawn = {0xFF102030, 0x80405060, 0x00708090, 0x01A0B0C0};

KivComPtr<IKivFrame> FrameOf(const Pixels& pixels, KivSize size) {
  auto frame = test::MakeFrame(0, size);
  std::memcpy(frame->GetPixels(), pixels.data(), pixels.size() * 4);
  return frame;
}

Pixels PixelsOf(const KivComPtr<IKivFrame>& frame) {
  const auto* const pixels = static_cast<const uint32_t*>(frame->GetPixels());
  return {pixels, pixels + test::SizeOf(frame).width * test::SizeOf(frame).height};
}

struct AlphaPictures : AlphaVideo {
  AlphaPictures() {
    chain.source->frame = FrameOf(kDrawn, {4, 1});
    chain.source->frame.As<IKivVideoFrame>()->SetFrameIndex(12);
  }
  ~AlphaPictures() override {
    EXPECT_EQ(kDrawn, PixelsOf(chain.source->frame)) << "the source's frame is not ours";
  }
  Pixels Shown() {
    int32_t status = -1;
    const auto frame = chain.node->GetCurrentFrame(&status);
    EXPECT_EQ(0, status);
    return frame ? PixelsOf(frame) : Pixels{};
  }
  // A picture file, under the name.
  std::string Draw(const std::string& name, const Pixels& pixels, KivSize size) const {
    std::unique_ptr<kiv::Writer> writer;
    kiv::OutputPlan plan;
    EXPECT_FALSE(kiv::PlanOutput({folder.Path(name), "", ""}, &plan));
    EXPECT_FALSE(kiv::OpenWriter(plan, {size}, nullptr, &writer));
    EXPECT_FALSE(writer->Write(reinterpret_cast<const uint8_t*>(pixels.data())));
    EXPECT_FALSE(writer->Finish());
    return folder.Path(name);
  }
  void FillWith(const std::string& image) {
    SetPath(record.imagePath, image);
    Apply();
    Send(*chain.node, CommandId::SetAlphaImageFill, 1);
  }
};

TEST_F(AlphaPictures, ColourTakesTheCoverageOfTheAlphaOrTheGreen) {
  record.canChangeColour = 1;
  record.singleColour = 0xFF8000;
  Apply();
  EXPECT_EQ((Pixels{0xFFFF8000, 0x80FF8000, 0x00FF8000, 0x01FF8000}), Shown());
  record.fullHd = 1;
  Apply();
  EXPECT_EQ((Pixels{0x20FF8000, 0x50FF8000, 0x80FF8000, 0xB0FF8000}), Shown());
  record.fillType = 1;
  record.gradientColour1 = 0x000000;
  record.gradientColour2 = 0xFF8040;
  Apply();  // middles of pixels: an eighth of the way, three, five and seven
  EXPECT_EQ((Pixels{0x20201008, 0x50603018, 0x809F5028, 0xB0DF7038}), Shown());
}

TEST_F(AlphaPictures, AnOutputIsOneRefilledFrameWithTheClipsTime) {
  record.canChangeColour = 1;
  Apply();
  chain.node->Seek(130, nullptr, 0);
  const auto first = chain.node->GetCurrentFrame(nullptr);
  int64_t time = 0, duration = 0;
  first->GetTime(&time, &duration);
  EXPECT_EQ(52'000'000, time);
  EXPECT_EQ(400'000, duration);
  EXPECT_EQ(12, test::IndexOf(first));
  EXPECT_EQ(first, chain.node->GetCurrentFrame(nullptr));
}

TEST_F(AlphaPictures, WithoutAFillTheSourcesFrameIsHandedOn) {
  chain.node->Seek(0, nullptr, 0);
  EXPECT_EQ(chain.source->frame, chain.node->GetCurrentFrame(nullptr));
  chain.node->Seek(130, nullptr, 0);
  const auto later = chain.node->GetCurrentFrame(nullptr);
  EXPECT_NE(chain.source->frame, later) << "it is shown at another time than its own";
  EXPECT_EQ(kDrawn, PixelsOf(later));
  const auto drawn = std::exchange(chain.source->frame, test::MakeEmptyFrame());
  EXPECT_EQ(chain.source->frame, chain.node->GetCurrentFrame(nullptr));
  chain.source->frame = drawn;
}

TEST_F(AlphaPictures, AnImageReplacesThePictureMultipliedByItsAlpha) {
  FillWith(Draw("a.png", {0xFF0A141E, 0x80FF8001, 0x00FFFFFF, 0xFFFFFFFF}, {4, 1}));
  const Pixels multiplied = {0xFF0A141E, 0x80804001, 0x00000000, 0xFFFFFFFF};
  EXPECT_EQ(multiplied, Shown());
  std::filesystem::remove(folder.Path("a.png"));
  EXPECT_EQ(multiplied, Shown()) << "it is read once";
  record.canChangeColour = record.fullHd = 1;
  record.singleColour = 0x0000FF;
  Apply();
  EXPECT_EQ((Pixels{0xFF0000FF, 0x800000FF, 0x000000FF, 0xFF0000FF}), Shown())
      << "its own alpha is the coverage";
}

TEST_F(AlphaPictures, AnImageIsResizedToTheFrame) {
  FillWith(Draw("wide.png", Pixels(16, 0xFF336699), {8, 2}));
  EXPECT_EQ(Pixels(4, 0xFF336699), Shown());
  chain.source->frame = FrameOf(Pixels(6, 1), {3, 2});
  EXPECT_EQ(Pixels(6, 0xFF336699), Shown()) << "also when frames change their size";
  chain.source->frame = FrameOf(kDrawn, {4, 1});
}

TEST_F(AlphaPictures, AnImageThatIsNotThereLeavesTheOneBeforeAndADamagedOneNothing) {
  FillWith(folder.Path("none.png"));
  EXPECT_EQ(kDrawn, Shown());
  FillWith(Draw("a.png", Pixels(4, 0xFF336699), {4, 1}));
  EXPECT_EQ(Pixels(4, 0xFF336699), Shown());
  FillWith(std::string(259, 'x'));
  EXPECT_EQ(Pixels(4, 0xFF336699), Shown());
  const std::string huge(
      "BM\x3A\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\xFF\xFF\xFF\x7F\xFF\xFF\xFF\x7F"
      "\1\0\x20\0",
      30);
  for (const std::string& bytes : {std::string("no picture"), std::string(), huge}) {
    WriteBytes(folder.Path(std::to_string(bytes.size())), bytes);
    FillWith(folder.Path(std::to_string(bytes.size())));
    EXPECT_EQ(Pixels(4, 0), Shown()) << bytes.size();
  }
}

struct AlphaMask : AlphaPictures {
  AlphaMask() {
    WriteBytes(folder.Path("mask"), "it has to be there");
    LoadMask(folder.Path("mask"));
    mask->decoder->frame = FrameOf({0xFF00FF00, 0xFF998877, 0xFF000000, 0x00010203}, {4, 1});
  }
  Calls MaskCalls() { return mask->decoder->log.Take(); }

  const KivComPtr<test::FakeMediaSource> mask = test::FakeMediaSource::Make();
  const test::SwappedClass swapped{kMediaSourceClassId, static_cast<IKivMediaSource*>(mask.Get())};
};

TEST_F(AlphaMask, ItsGreenIsTheCoverage) {
  EXPECT_EQ((Pixels{0xFF102030, 0x88405060, 0x00708090, 0x02A0B0C0}), Shown());
  EXPECT_EQ((Calls{"Open " + folder.Path("mask"), "GetVideoStream 0"}), mask->log.Take());
  mask->decoder->frame = FrameOf(Pixels(2, 0xFF008000), {2, 1});
  EXPECT_EQ((Pixels{0x80102030, 0x80405060, 0x80708090, 0x80A0B0C0}), Shown()) << "scaled";
  EXPECT_EQ((Calls{"Seek 0 mode 1", "ReadCurrentFrame", "ReadCurrentFrame", "SetOutputSize 4x1",
                   "ReadCurrentFrame"}),
            MaskCalls());
  mask->decoder->readResult = E_FAIL;
  EXPECT_EQ(kDrawn, Shown()) << "without a mask the preset's own coverage stands";
}

TEST_F(AlphaMask, ItsFramesStayBesideThePresets) {
  record.pauseTime = 2;
  Apply();
  chain.node->Seek(47, nullptr, 0);
  EXPECT_EQ((Calls{"Seek 18800000 mode 1", "Seek 18800000 mode 0"}), MaskCalls());
  EXPECT_EQ((Calls{"Seek 47", "Seek 47"}), Taken()) << "opening puts both at the same place";
  const Calls kSkipped = {"Skip 1", "GetCurrentTime"}, kNone;
  for (const Calls& expected : {kSkipped, kSkipped, kNone, kNone}) {
    chain.node->Skip(1, nullptr);
    EXPECT_EQ(expected, MaskCalls());
  }
  chain.node->Skip(125, nullptr);
  EXPECT_EQ((Calls{"Seek 20000000 mode 1"}), MaskCalls());
  mask->decoder->time = 20'200'000;  // one of 50 frames a second, where a skip leads half as far
  chain.node->Skip(1, nullptr);
  EXPECT_EQ((Calls{"Skip 1", "GetCurrentTime", "Seek 20400000 mode 1"}), MaskCalls());
}

TEST_F(AlphaMask, OneThatIsNotShownIsNotMoved) {
  struct {
    int32_t fullHd, canChangeColour;
    Calls opened;
  } const kCases[] = {
      {0, 0, {"Seek 12000000 mode 1"}}, {2, 0, {"Seek 12000000 mode 1"}}, {1, 1, {}}};
  record.pauseTime = 2;
  for (const auto& c : kCases) {
    chain.node->Flush();
    record.fullHd = c.fullHd;
    record.canChangeColour = c.canChangeColour;
    Apply();
    chain.node->Seek(30, nullptr, 0);
    chain.node->Skip(1, nullptr);
    EXPECT_EQ(c.opened, MaskCalls()) << c.fullHd;
    EXPECT_EQ(c.opened.size() * 2, mask->log.Take().size()) << c.fullHd;
    EXPECT_EQ(c.canChangeColour == 0, Shown() == kDrawn);
    EXPECT_EQ(Calls{}, MaskCalls());
  }
}

TEST_F(AlphaMask, StaysBesideAPresetWhoseRateIsNotKnown) {
  const KivPropDecorator settings = KivCommon::CreateProperties(),
                         info = KivCommon::CreateProperties();
  const KivRational none{0, 1};
  info->SetRational((std::wstring(KivKey::Source::kSource_Framerate) + L".Video").c_str(), &none);
  EXPECT_EQ(S_OK, chain.node->Initialize(settings.Reference(), info.Reference()));
  const KivRange shorterThanThePreset{0, 10};
  Send(*chain.node, CommandId::SetRenderRange, &shorterThanThePreset);
  chain.node->Seek(0, nullptr, 0);
  MaskCalls();
  mask->decoder->time = 400'000;
  chain.node->Skip(-1, nullptr);
  // At the 25 frames a second that it had.
  EXPECT_EQ((Calls{"Skip -1", "GetCurrentTime", "Seek -400000 mode 1"}), MaskCalls());
}

// A path alone does not make it ready: only a clip's settings look whether the file is there.
TEST_F(AlphaPictures, AMaskIsUsedOnceSettingsWereLoaded) {
  const auto mask = test::FakeMediaSource::Make();
  const test::SwappedClass swapped{kMediaSourceClassId, static_cast<IKivMediaSource*>(mask.Get())};
  WriteBytes(folder.Path("mask"), "it has to be there");
  record.fullHd = 1;
  SetPath(record.fullHdDataPath, folder.Path("mask"));
  Apply();
  EXPECT_EQ(kDrawn, Shown());
  const KivPropDecorator bag = KivCommon::CreateProperties();
  chain.node->SaveSettings(bag.Get());
  chain.node->Initialize(bag.Reference(), bag.Reference());
  EXPECT_EQ(kDrawn, Shown());
  EXPECT_EQ(Calls{}, mask->log.Take());
  LoadMask(folder.Path("none"));
  EXPECT_EQ(kDrawn, Shown());
  EXPECT_EQ(Calls{}, mask->log.Take()) << "no file";
  LoadMask(folder.Path("mask"));
  Shown();
  EXPECT_EQ("Open " + folder.Path("mask"), mask->log.Take().at(0));
}

TEST_F(AlphaMask, OneThatCannotBeOpenedIsNotTriedForEveryFrame) {
  mask->openResult = E_UNSUPPORTED;
  EXPECT_EQ(kDrawn, Shown());
  EXPECT_EQ(kDrawn, Shown());
  EXPECT_EQ((Calls{"Open " + folder.Path("mask")}), mask->log.Take());
  chain.node->Flush();
  mask->openResult = S_OK;
  mask->decoder.Reset();
  EXPECT_EQ(kDrawn, Shown());
  EXPECT_EQ((Calls{"Open " + folder.Path("mask"), "GetVideoStream 0"}), mask->log.Take());
  mask->decoder = test::FakeDecoder::Make();
}

TEST_F(AlphaMask, FlushAndCleanupDropAllWorkingObjects) {
  const std::string image = Draw("a.png", Pixels(4, 0xFF336699), {4, 1});
  const KivPropDecorator cleanup = KivCommon::CreateProperties(),
                         none = KivCommon::CreateProperties();
  cleanup->SetInt(L"CLIP.CMD.CLEANUP", 1);
  const auto useAll = [&] {
    Send(*chain.node, CommandId::SetAlphaImageFill, 0);
    Shown();  // green filter, output, mask source and decoder
    FillWith(image);
    Shown();
    record.canChangeColour = 1;
    Apply();
    Shown();
    record.canChangeColour = 0;
    Apply();
  };
  const int64_t before = kiv::LiveObjectCount();
  const uint32_t references = mask->decoder->References();
  for (const bool flushes : {true, false}) {
    useAll();
    EXPECT_LT(before + 10, kiv::LiveObjectCount());
    EXPECT_LT(references, mask->decoder->References());
    flushes ? chain.node->Flush() : chain.node->Initialize(cleanup.Reference(), none.Reference());
    EXPECT_EQ(before, kiv::LiveObjectCount()) << flushes;
    EXPECT_EQ(references, mask->decoder->References());
  }
}

// What the node asks a filter: parameters first, the whole of both pictures, then the result.
TEST_F(AlphaPictures, AFilterIsToldItsParametersOnEveryFrame) {
  namespace Key = KivKey::Filter::Property;
  const auto filter = test::FakeFilter::Make();
  const auto manager = test::FakeFilterManager::Make();
  manager->filter = filter;
  const test::SwappedClass swapped(kiv::kFilterManagerClassId, manager.Get());
  const KivPropDecorator all = KivCommon::CreateProperties();
  std::vector<KivPropDecorator> bags;
  for (const wchar_t* name :
       {L"mode", L"theta", L"channelChoose", L"r0", L"g0", L"b0", L"r1", L"g1", L"b1"}) {
    bags.push_back(KivPropDecorator(KivCommon::CreateProperties()));
    bags.back()->SetString(Key::kFriendName, name);
    all->SetObject(Key::kParamsArray[bags.size() - 1], bags.back().Get());
  }
  all->SetInt(Key::kCount, static_cast<int32_t>(bags.size()));
  filter->bag = all.Reference();
  const auto real = [&bags](size_t index) {
    double value = -1;
    bags[index]->GetDouble(Key::kValue_Current, &value);
    return value;
  };
  record.canChangeColour = 1;
  record.singleColour = 0xFF8000;
  record.gradientAngle = 30;
  Apply();
  chain.source->frame = test::MakeFrame(5);
  Shown();
  EXPECT_EQ((Calls{"CommitParameters", "SetRects", "SetRunMode 0", "SetInputCount 1",
                   "SetFirstInput 5", "SetSecondInput null", "Run 4x2", "ReadOutput"}),
            filter->log.Take());
  EXPECT_EQ((KivRectF{0, 0, 1, 1}), filter->firstRect);
  EXPECT_EQ(filter->firstRect, filter->secondRect);
  int32_t mode = -1, channel = -1;
  bags[0]->GetInt(Key::kValue_Current, &mode);
  bags[2]->GetInt(Key::kValue_Current, &channel);
  EXPECT_EQ(0, mode);
  EXPECT_EQ(3, channel);
  // To the six places of a value's text.
  EXPECT_EQ((std::vector<double>{30, 1, 0.501961, 0, -1, -1, -1}),
            (std::vector<double>{real(1), real(3), real(4), real(5), real(6), real(7), real(8)}));
  filter->runResult = E_FAIL;
  EXPECT_EQ(Pixels(8, 5), Shown()) << "a picture all the same";
  chain.source->frame = FrameOf(kDrawn, {4, 1});
  manager->filter.Reset();
  chain.node->Flush();
  EXPECT_EQ(kDrawn, Shown());
  EXPECT_EQ(kDrawn, Shown());
}

}  // namespace
