// Speed and frame rate over a decoder of real files, whose frames carry their numbers: every
// combination, to and fro, against the mapping in exact fractions.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/chain/VideoClipRender.h"
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

struct Timing {
  KivRational from, to, speed;

  int64_t RenderFrames() const {
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
    const int64_t twice = 2 * RenderFrame(frame) - 1;
    const int64_t source =
        CeilOf(twice * to.denominator * from.numerator, 2 * to.numerator * from.denominator);
    return static_cast<int32_t>(std::min<int64_t>(source, kFrames - 1));
  }
};

constexpr NodeClass kNodes[] = {{NodeType::kSource, &MakeSource<CVideoStreamer>},
                                {NodeType::kFrameRate, &MakeNode<CVideoSlider>},
                                {NodeType::kSpeed, &MakeNode<CVideoShifter>}};

class Chain {
 public:
  explicit Chain(const Timing& timing) : timing_(timing) {
    const int32_t ids[] = {0, 5, 7};
    render_->BuildChain(ids, 3);
    const KivSize size{64, 48};
    Send(CommandId::SetSourceFrameRate, &timing.from);
    Send(CommandId::SetRenderFrameRate, &timing.to);
    Send(CommandId::SetOutputSize, &size);
    Send(CommandId::SetDecoder, static_cast<IUnknown*>(Open(timing.from).Get()));
    const SpeedSettings speed{timing.speed.numerator, timing.speed.denominator};
    Send(CommandId::SetSpeedSettings, &speed);
    render_->SetRenderFrameRate(&timing.to);
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

TEST(Mapping, TheReferenceAgreesWithTablesMadeByHand) {
  const struct {
    Timing timing;
    test::Frames shown;
  } cases[] = {{{k25, {60, 1}, {1, 2}}, {0, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 3}},
               {{k25, {24, 1}, {3, 1}}, {0, 3, 6, 9, 12, 16, 19, 22, 25, 28, 31, 34}},
               {{kFilm, k25, {2, 5}}, {0, 1, 1, 2, 2, 2, 3, 3, 5, 5, 5, 6}},
               {{kFilm, {60, 1}, {1, 4}}, {0, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2}},
               {{k25, {30, 1}, {3, 2}}, {0, 1, 3, 3, 5, 6, 8, 8, 10, 11, 13, 13}},
               {{kFilm, {24, 1}, {7, 1}}, {0, 9, 17, 26, 35, 44, 52}}};
  for (const auto& c : cases) {
    for (size_t frame = 0; frame < c.shown.size(); ++frame) {
      EXPECT_EQ(c.shown[frame], c.timing.SourceFrame(static_cast<int64_t>(frame)));
    }
  }
}

TEST(Mapping, EveryCombinationHoldsForwardsBackwardsAndAfterSeeks) {
  const test::NoTween none;
  std::mt19937 random(7);
  for (const KivRational& from : {k25, kFilm}) {
    for (const int32_t to : {24, 25, 30, 60}) {
      for (const KivRational& speed :
           {KivRational{1, 4}, {2, 5}, {1, 2}, {1, 1}, {3, 2}, {3, 1}, {7, 1}}) {
        const Timing timing{from, {to, 1}, speed};
        SCOPED_TRACE(testing::Message() << from.numerator << " to " << to << " at "
                                        << speed.numerator << "/" << speed.denominator);
        Chain chain(timing);
        const int32_t total = timing.Total();
        chain.Seek(0);
        chain.Expect();
        for (int32_t frame = 1; frame < total; ++frame) {
          chain.Skip(1);
          chain.Expect();
        }
        for (int32_t frame = total - 1; frame > 0; --frame) {
          chain.Skip(-1);
          if (frame % 3 == 0) chain.Expect();
        }
        std::uniform_int_distribution<int32_t> any(0, total - 1);
        for (int i = 0; i < 20; ++i) {
          const int32_t frame = any(random);
          chain.Seek(std::max(frame - 9, 0));
          chain.Skip(frame - std::max(frame - 9, 0));
          if (frame > 0) chain.Expect();
          const int32_t other = any(random);
          chain.Skip(other - frame);
          if (other < frame || other > frame + 9) chain.Expect();
        }
        if (testing::Test::HasFailure()) return;
      }
    }
  }
}

}  // namespace
