// Backwards through the whole chain, on clips whose frames carry their numbers.
#include <random>
#include <string>

#include "kiv/platform/KeyNames.h"
#include "test/component/FacadeFixture.h"
#include "test/support/NumberedClip.h"

namespace {

using test::Send;

constexpr int32_t kSource = 0;
constexpr int32_t kCache = 2;
constexpr int32_t kReverse = 6;

struct ReverseChain : testing::Test {
  void Open(const kivtest::ClipRecipe& recipe, int32_t spanSize) {
    facade = test::FacadePtr(new CKivVideoStreamProcess(nullptr, ComponentNodes()));
    render = facade.As<IKivRenderEx>();
    test::Build(*facade, {kSource, kCache, kReverse});
    KivComPtr<IKivMediaSource> file;
    KivComPtr<IKivMediaDecoder> decoder;
    const std::wstring path = KivCommon::Char2WChar(kivtest::MakeClip(recipe).c_str());
    KivCommon::GetFactory(nullptr)->OpenMediaFile(file.Put(), path.c_str(), nullptr);
    file->GetVideoStream(0, decoder.Put());
    facade->SetSourceFrameRate(&recipe.rate);
    facade->SetDecoder(decoder.Get());
    Initialize(recipe, spanSize);
  }
  void Initialize(const kivtest::ClipRecipe& recipe, int32_t spanSize) {
    KivComPtr<IKivFrame> none;
    render->GetLastFrame(&none);
    const std::wstring video = L".Video";
    const KivPropDecorator settings = KivCommon::CreateProperties();
    const KivPropDecorator info = KivCommon::CreateProperties();
    settings->SetRational(KivKey::Render::kRender_Framerate, &recipe.rate);
    info->SetInt((KivKey::Source::kSource_TotalFrameCount + video).c_str(), recipe.frames);
    info->SetRational((KivKey::Source::kSource_Framerate + video).c_str(), &recipe.rate);
    info->SetInt(KivKey::Speed::kReverse_FrameCacheCount, spanSize);
    KivComPtr<IKivSourceBase> tail;
    facade->GetTailNode(&tail);
    tail->Initialize(settings.Reference(), info.Reference());
  }
  void Reverse(uint32_t on, KivRange range) {
    SpeedSettings speed;
    speed.reverse = on;
    speed.reverseStart = range.start;
    speed.reverseEnd = range.end;
    facade->SetSpeedSettings(&speed);
  }
  int32_t Shown() {
    render->GetFrame(&frame);
    const KivSize size = test::SizeOf(frame);
    const auto* pixels = frame ? static_cast<const uint8_t*>(frame->GetPixels()) : nullptr;
    return pixels ? kivtest::ReadNumber(pixels, size.width, size.height) : -1;
  }
  int32_t ShownAt(int32_t index) {
    render->Seek(index, nullptr, 1);
    return Shown();
  }

  test::FacadePtr facade;
  KivComPtr<IKivRenderEx> render;
  KivComPtr<IKivFrame> frame;
};

constexpr KivRange kRanges[] = {{0, 59}, {10, 40}, {59, 59}, {0, 25}};
constexpr int32_t kSpanSizes[] = {0, 2, 3, 20, 200, INT32_MAX, -1};

// Long groups with B-frames, open groups, and every frame a group of its own.
kivtest::ClipRecipe Recipe(int kind) {
  kivtest::ClipRecipe recipe;
  recipe.gop = kind == 2 ? 1 : 60 / (kind + 1);
  recipe.bFrames = kind == 2 ? 0 : 2;
  recipe.openGop = kind == 1;
  recipe.rate = kind == 1 ? KivRational{30000, 1001} : KivRational{25, 1};
  return recipe;
}

TEST_F(ReverseChain, EveryStepAndSeekShowsTheMirroredFrame) {
  const unsigned seed = std::random_device()();
  std::minstd_rand random(seed);
  for (const int32_t spanSize : kSpanSizes) {
    for (int kind = 0; kind < 3; ++kind) {
      Open(Recipe(kind), spanSize);
      for (const KivRange& range : kRanges) {
        SCOPED_TRACE(testing::Message() << "span " << spanSize << " clip " << kind << " range "
                                        << range.start << " seed " << seed);
        Reverse(1, range);
        const int32_t length = range.end - range.start + 1;
        ASSERT_EQ(range.end, ShownAt(range.start));
        for (int32_t k = 1; k < length; ++k) {
          render->Skip(1, nullptr);
          ASSERT_EQ(range.end - k, Shown());
          ASSERT_EQ(range.start + k, render->GetPosition());
        }
        for (int seek = 0; seek < 12; ++seek) {
          const auto k = static_cast<int32_t>(random() % static_cast<unsigned>(length));
          ASSERT_EQ(range.end - k, ShownAt(range.start + k));
          if (k < 3) continue;
          render->Skip(-3, nullptr);
          ASSERT_EQ(range.end - k + 3, Shown());
        }
        Reverse(0, range);
        ASSERT_EQ(33, ShownAt(33));
        ASSERT_EQ(34, (render->Skip(1, nullptr), Shown()));
      }
    }
  }
}

TEST_F(ReverseChain, TimesGrowFromOneFrameOn) {
  Open(Recipe(0), 20);
  Reverse(1, {0, 59});
  for (const auto& [index, time] :
       {std::pair<int32_t, int64_t>{0, 400'000}, {1, 800'000}, {59, 24'000'000}}) {
    ShownAt(index);
    int64_t shownTime = 0, duration = 0;
    frame->GetTime(&shownTime, &duration);
    EXPECT_EQ(time, shownTime);
    EXPECT_EQ(400'000, duration);
  }
}

TEST_F(ReverseChain, RebuildingAndCleaningUpInMidFillLosesNothing) {
  Open(Recipe(0), 20);
  Reverse(1, {0, 59});
  EXPECT_EQ(59, ShownAt(0));
  render->Seek(20, nullptr, 1);
  EXPECT_EQ(S_OK, render->Cleanup());
  EXPECT_EQ(39, ShownAt(20));
  render->Seek(40, nullptr, 1);
  test::Build(*facade, {kSource, kCache, kReverse});
  Reverse(1, {0, 59});
  render->Seek(3, nullptr, 1);
}

}  // namespace
