// Speed and frame rate over a decoder of real files, whose frames carry their numbers: every
// combination, to and fro, against the mapping in exact fractions.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/cache/VideoFrameCache.h"
#include "kiv/cache/VideoReverse.h"
#include "kiv/chain/VideoClipRender.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/Media.h"
#include "kiv/speed/VideoShifter.h"
#include "kiv/speed/VideoSlider.h"
#include "test/speed/SpeedFixture.h"
#include "test/support/NumberedClip.h"

namespace {

constexpr int kFrames = 60;
constexpr KivRational k25{25, 1};
constexpr KivRational kFilm{30000, 1001};

int64_t CeilOf(int64_t numerator, int64_t denominator) {
  return numerator > 0 ? (numerator + denominator - 1) / denominator : 0;
}

// How a clip is played. With a range it is reversed: frame 0 shows the range's last render frame.
struct Timing {
  KivRational from, to, speed;
  KivRange reversed{0, -1};
  int32_t cacheFrames = 0;  // 0: without a cache
  bool hasRateNode = true;

  bool IsReversed() const { return reversed.end >= reversed.start; }

  int64_t RenderFrames() const {
    if (IsReversed()) return reversed.end - reversed.start + 1;
    return int64_t{kFrames} * to.numerator * from.denominator / (from.numerator * to.denominator);
  }
  int32_t Total() const {
    return static_cast<int32_t>(RenderFrames() * speed.denominator / speed.numerator);
  }
  // In fast motion the frame at or before, in slow motion the one at or after.
  int64_t RenderFrame(int64_t frame) const {
    const int64_t scaled = frame * speed.numerator;
    return speed.numerator < speed.denominator ? CeilOf(scaled, speed.denominator)
                                               : scaled / speed.denominator;
  }
  // The first source frame that starts half a render frame before the wanted one or later.
  int32_t SourceFrame(int64_t frame) const {
    const int64_t mirrored = IsReversed() ? reversed.end - RenderFrame(frame) : RenderFrame(frame);
    const int64_t twice = 2 * mirrored - 1;
    const int64_t source =
        CeilOf(twice * to.denominator * from.numerator, 2 * to.numerator * from.denominator);
    return static_cast<int32_t>(std::min<int64_t>(source, kFrames - 1));
  }
};

constexpr NodeClass kNodes[] = {{NodeType::kSource, &MakeSource<CVideoStreamer>},
                                {NodeType::kFrameCache, &MakeNode<CVideoFrameCache>},
                                {NodeType::kFrameRate, &MakeNode<CVideoSlider>},
                                {NodeType::kReverse, &MakeNode<CVideoReverse>},
                                {NodeType::kSpeed, &MakeNode<CVideoShifter>}};

class Chain {
 public:
  explicit Chain(const Timing& timing) : timing_(timing) {
    std::vector<int32_t> ids{0, 2};
    if (timing.hasRateNode) ids.push_back(5);
    ids.insert(ids.end(), {6, 7});
    render_->BuildChain(ids.data(), static_cast<int32_t>(ids.size()));
    const KivSize size{64, 48};
    Send(CommandId::SetSourceFrameRate, &timing.from);
    Send(CommandId::SetRenderFrameRate, &timing.to);
    Send(CommandId::SetOutputSize, &size);
    Send(CommandId::SetDecoder, static_cast<IUnknown*>(Open(timing.from).Get()));
    render_->SetRenderFrameRate(&timing.to);
    KivComPtr<IKivFrame> none;
    render_->GetLastFrame(&none);  // initializes, with bags that say little
    Initialize();
  }
  void Seek(int32_t frame) { EXPECT_EQ(S_OK, render_->Seek(frame, nullptr, 1)); }
  void Skip(int32_t count) { EXPECT_EQ(S_OK, render_->Skip(count, nullptr)); }
  void Expect() {
    const int32_t frame = render_->GetPosition();
    KivComPtr<IKivFrame> shown;
    ASSERT_EQ(S_OK, render_->GetFrame(&shown));
    const auto* const pixels = static_cast<const uint8_t*>(shown->GetPixels());
    ASSERT_EQ(timing_.SourceFrame(frame), kivtest::ReadNumber(pixels, 64, 48)) << frame;
  }

 private:
  void Send(CommandId id, const void* record) {
    render_->ProcessCommand(static_cast<uint32_t>(id), reinterpret_cast<uintptr_t>(record), 0);
  }
  void Initialize() {
    const KivPropDecorator settings = KivCommon::CreateProperties();
    const KivPropDecorator facts = KivCommon::CreateProperties();
    // From 0 on, so that the range's last frame is frame 0 of the result.
    const KivRange mirrored{0, timing_.reversed.end};
    settings->SetRational(KivKey::Speed::kScale, &timing_.speed);
    settings->SetInt(KivKey::Speed::kReverse, timing_.IsReversed() ? 1 : 0);
    settings->SetRange(KivKey::Speed::kReverse_Range, &mirrored);
    settings->SetInt(KivKey::Render::kRender_CacheEnable, timing_.cacheFrames > 0 ? 1 : 0);
    facts->SetInt(KivKey::Speed::kReverse_FrameCacheCount, std::max(timing_.cacheFrames, 4));
    facts->SetInt(L"Source.TotalFrameCount.Video", kFrames);
    EXPECT_EQ(S_OK, render_->Tail()->Initialize(settings.Reference(), facts.Reference()));
    const KivRange cached{0, kFrames - 1};
    Send(CommandId::SetCacheRange, &cached);
  }
  static KivComPtr<IKivMediaDecoder> Open(const KivRational& rate) {
    const std::string path =
        kivtest::MakeClip({.size = {64, 48}, .rate = rate, .frames = kFrames, .gop = 4});
    KivComPtr<IKivMediaSource> file;
    KivCommon::GetFactory(nullptr)->OpenMediaFile(
        file.Put(), KivCommon::Char2WChar(path.c_str()).c_str(), nullptr);
    KivComPtr<IKivMediaDecoder> decoder;
    file->GetVideoStream(0, decoder.Put());
    return decoder;
  }

  const Timing timing_;
  KivComPtr<CVideoClipRender> render_{new CVideoClipRender(nullptr, kNodes)};
};

// From the first frame to the last and back, then anywhere by seeks and steps.
void ExpectPlays(const Timing& timing, int32_t pullEvery) {
  SCOPED_TRACE(testing::Message() << timing.from.numerator << " to " << timing.to.numerator
                                  << " at " << timing.speed.numerator << "/"
                                  << timing.speed.denominator << " reversed to "
                                  << timing.reversed.end << ", cache " << timing.cacheFrames
                                  << (timing.hasRateNode ? "" : ", no rate node"));
  Chain chain(timing);
  const int32_t total = timing.Total();
  chain.Seek(0);
  for (int32_t frame = 1; frame < total; ++frame) {
    chain.Skip(1);
    if (frame % pullEvery == 0) chain.Expect();
  }
  for (int32_t frame = total - 1; frame > 0; --frame) {
    chain.Skip(-1);
    if (frame % pullEvery == 1) chain.Expect();
  }
  // Past both ends and back, in strides that miss them.
  int32_t at = 0;
  for (const int32_t target :
       {3, -1, 0, 1, -4, 2, total - 1, total, total - 2, total + 5, total - 1, -7, total / 2}) {
    chain.Skip(target - at);
    at = target;
    if (at >= 0 && at < total) chain.Expect();
  }
  for (const int32_t stride : {1, -1}) {
    for (int32_t i = 0; i < total + 9; ++i) {
      chain.Skip(stride);
      at += stride;
      if (at >= 0 && at < total && i % pullEvery == 0) chain.Expect();
    }
  }
  // In 9 frames of any speed, steps have taken over from what the seek found.
  constexpr int32_t kPreRoll = 9;
  std::mt19937 random(7);
  std::uniform_int_distribution<int32_t> any(0, total - 1);
  for (int i = 0; i < 12; ++i) {
    const int32_t frame = std::min(any(random) + kPreRoll, total - 1);
    const int32_t start = std::max(frame - kPreRoll, 0);
    chain.Seek(start);
    chain.Skip(frame - start);
    chain.Expect();
    chain.Skip(any(random) - frame);
    chain.Expect();
  }
}

constexpr KivRational kSpeeds[] = {{1, 4}, {2, 5}, {1, 2}, {1, 1}, {3, 2}, {3, 1}, {7, 1}};

TEST(Mapping, EveryCombinationHoldsForwardsBackwardsAndAfterSeeks) {
  const test::NoTween none;
  for (const KivRational& from : {k25, kFilm}) {
    for (const int32_t to : {24, 25, 30, 60}) {
      for (const KivRational& speed : kSpeeds) {
        const Timing forwards{from, {to, 1}, speed};
        ExpectPlays(forwards, 1);
        const auto last = static_cast<int32_t>(forwards.RenderFrames() - 1);
        for (const KivRange& reversed : {KivRange{0, -1}, {0, last}, {last / 4, last / 2}}) {
          for (const int32_t cacheFrames : {0, 4, 20}) {
            const Timing timing{from, {to, 1}, speed, reversed, cacheFrames};
            ExpectPlays(timing, 7);
            if (testing::Test::HasFailure()) return;
          }
        }
      }
    }
  }
}

TEST(Mapping, EveryChainWithoutARateNodeHoldsAsWell) {
  const test::NoTween none;
  for (const KivRational& speed : kSpeeds) {
    for (const KivRange& reversed : {KivRange{0, -1}, {0, kFrames - 1}, {15, 30}}) {
      for (const int32_t cacheFrames : {0, 4, 20}) {
        ExpectPlays({k25, k25, speed, reversed, cacheFrames, false}, 1);
        if (testing::Test::HasFailure()) return;
      }
    }
  }
}

}  // namespace
