// A host that does anything at any time, over every kind of chain. From time to time it sets a clip up
// properly again, which then has to show the right frames.
//
// KIV_SOAK_STEPS and KIV_SOAK_SEED make it longer and repeat a run.
#include <cstdlib>
#include <random>

#include "kiv/platform/KeyNames.h"
#include "test/cache/CacheFixture.h"
#include "test/component/FacadeFixture.h"
#include "test/speed/SpeedFixture.h"

namespace {

constexpr int kSteps = 4000;

uint64_t FromEnvironment(const char* name, uint64_t otherwise) {
  const char* const text = std::getenv(name);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

const std::vector<int32_t> kChains[] = {
    {0},          {0, 5},          {0, 6},          {0, 7},          {0, 2},
    {0, 2, 6},    {0, 2, 6, 7},    {0, 2, 5, 6, 7}, {0, 5, 6, 7},    {0, 1, 2, 6},
    {0, 7, 2, 6}, {0, 5, 2, 6, 7}, {0, 2, 2, 6},    {0, 4, 2, 6, 4}, {0, 1, 7, 5, 2, 6, 4},
    {0, 3, 2, 6}, {0, 2, 1, 6, 7}};

constexpr KivRational kSpeeds[] = {{1, 1}, {1, 2}, {2, 5},  {3, 1},  {25, 1},      {9, 10},
                                   {1, 0}, {0, 1}, {-1, 2}, {-3, 1}, {1, 1000000}, {0, 0}};
constexpr KivRational kRates[] = {{25, 1}, {30000, 1001}, {50, 1}, {0, 1}, {1, 0}, {-25, 1}};
constexpr int32_t kFar[] = {INT32_MAX, INT32_MIN, 2'000'000'000, -2'000'000'000, 5000, -5000};

class RandomHost {
 public:
  explicit RandomHost(uint64_t seed) : random_(seed) { Rebuild(); }

  void Step() {
    using Act = void (RandomHost::*)();
    static constexpr Act kOften[] = {&RandomHost::Seek, &RandomHost::Skip, &RandomHost::Skip,
                                     &RandomHost::Pull, &RandomHost::Pull, &RandomHost::Pull};
    static constexpr Act kSeldom[] = {
        &RandomHost::Rebuild, &RandomHost::Cleanup,   &RandomHost::Flush,
        &RandomHost::Speed,   &RandomHost::Speed,     &RandomHost::Rate,
        &RandomHost::Decoder, &RandomHost::Alpha,     &RandomHost::Ask,
        &RandomHost::Range,   &RandomHost::Settings,  &RandomHost::Bags,
        &RandomHost::Size,    &RandomHost::GoFarAway, &RandomHost::Reverse,
        &RandomHost::Probe,   &RandomHost::Probe,     &RandomHost::Initialize,
        &RandomHost::GetLast, &RandomHost::Position};
    const Act act = Any(4) != 0 ? Pick(kOften) : Pick(kSeldom);
    (this->*act)();
    // No call walks over the clip frame by frame, however far it goes.
    EXPECT_GT(50'000u, decoder_->log.Take().size());
    EXPECT_EQ(0, guard_->Collisions());
  }

 private:
  uint32_t Any(uint32_t count) { return static_cast<uint32_t>(random_() % count); }
  template <typename T, size_t kCount>
  const T& Pick(const T (&from)[kCount]) {
    return from[Any(kCount)];
  }
  void Send(CommandId id, const void* record) {
    render_->ProcessCommand(static_cast<uint32_t>(id), reinterpret_cast<uintptr_t>(record), 0);
  }
  void SendNumber(CommandId id, int32_t number) {
    render_->ProcessCommand(static_cast<uint32_t>(id), static_cast<uintptr_t>(intptr_t{number}), 0);
  }
  KivComPtr<IKivSourceBase> Tail() {
    KivComPtr<IKivSourceBase> tail;
    facade_->GetTailNode(&tail);
    return tail;
  }

  void Seek() { render_->Seek(static_cast<int32_t>(Any(120)) - 10, nullptr, 1); }
  void Skip() { render_->Skip(static_cast<int32_t>(Any(17)) - 8, nullptr); }
  void GoFarAway() {
    if (Any(2) == 0) {
      render_->Seek(Pick(kFar), nullptr, 1);
    } else {
      render_->Skip(Pick(kFar), nullptr);
    }
  }
  void Pull() { render_->GetFrame(&frame_); }
  void GetLast() {
    render_->GetFrame(&frame_);
    render_->GetLastFrame(&frame_);
  }
  void Position() { render_->GetPosition(); }
  void Cleanup() { render_->Cleanup(); }
  void Flush() { Tail()->Flush(); }
  void Rebuild() {
    chain_ = Pick(kChains);
    facade_->BuildChain(chain_.data(), static_cast<int32_t>(chain_.size()));
    if (Any(4) != 0) Decoder();
  }
  void Decoder() {
    if (Any(4) == 0) return void(facade_->SetDecoder(nullptr));
    if (Any(2) == 0) TakeNewDecoder();
    facade_->SetDecoder(decoder_->AsUnknown());
  }
  void TakeNewDecoder() {
    facade_->SetDecoder(nullptr);
    guard_.reset();
    decoder_ = test::FakeDecoder::Make();
    guard_ = std::make_unique<test::OneAtATime>(decoder_->log);
  }
  void Speed() {
    const KivRational& scale = Pick(kSpeeds);
    SpeedSettings speed{scale.numerator, scale.denominator, Any(3), 0, 99};
    speed.interpolationMode = Any(2);
    if (Any(5) == 0) speed.reverseEnd = Pick(kFar);
    Send(CommandId::SetSpeedSettings, &speed);
  }
  void Reverse() { SendNumber(CommandId::SetCacheReverse, static_cast<int32_t>(Any(2))); }
  void Rate() {
    const CommandId id =
        Any(2) == 0 ? CommandId::SetSourceFrameRate : CommandId::SetRenderFrameRate;
    Send(id, &Pick(kRates));
  }
  void Range() {
    const KivRange range{static_cast<int32_t>(Any(60)) - 20, static_cast<int32_t>(Any(200))};
    Send(Any(2) == 0 ? CommandId::SetCacheRange : CommandId::SetRenderRange, &range);
  }
  void Size() {
    const KivSize size{static_cast<int32_t>(Any(20)), static_cast<int32_t>(Any(20))};
    Send(CommandId::SetOutputSize, &size);
    Send(CommandId::SetDecodeScale, &Pick(kSpeeds));
  }
  void Alpha() {
    AlphaVideoSettings settings;
    settings.preset = static_cast<int32_t>(Any(2));
    settings.canChangeColour = static_cast<int32_t>(Any(2));
    settings.duration = 2;
    settings.pauseTime = Any(2);
    settings.loopCount = static_cast<int32_t>(Any(4));
    Send(CommandId::SetAlphaVideoSettings, &settings);
  }
  void Ask() {
    KivSize size;
    KivSizeF cropped;
    KivRectF region;
    SpeedSettings speed;
    AlphaVideoSettings alpha;
    Send(CommandId::GetScaledSize, &size);
    Send(CommandId::GetCroppedSize, &cropped);
    Send(CommandId::GetCropRegion, &region);
    Send(CommandId::GetSpeedSettings, &speed);
    Send(CommandId::GetAlphaVideoSettings, &alpha);
  }
  void Settings() {
    const KivPropDecorator bag = KivCommon::CreateProperties();
    facade_->SaveSettings(bag.Get());
    facade_->LoadSettings(bag.Get());
  }
  void Bags() {
    settings_ = KivCommon::CreateProperties();
    facts_ = KivCommon::CreateProperties();
    settings_->SetRational(KivKey::Speed::kScale, &Pick(kSpeeds));
    settings_->SetRational(KivKey::Render::kRender_Framerate, &Pick(kRates));
    settings_->SetInt(KivKey::Speed::kReverse, static_cast<int32_t>(Any(2)));
    settings_->SetInt(KivKey::Speed::kEnabled, static_cast<int32_t>(Any(2)));
    settings_->SetInt(KivKey::Render::kRender_CacheEnable, static_cast<int32_t>(Any(2)));
    settings_->SetInt(KivKey::Speed::kInterpolationMode, static_cast<int32_t>(Any(2)));
    facts_->SetRational(L"Source.FrameRate.Video", &Pick(kRates));
    facts_->SetInt(L"Source.TotalFrameCount.Video", static_cast<int32_t>(Any(200)));
    facts_->SetInt(KivKey::Speed::kReverse_FrameCacheCount, static_cast<int32_t>(Any(40)));
  }
  void Initialize() { Tail()->Initialize(settings_.Reference(), facts_.Reference()); }

  bool Has(int32_t node) const {
    return std::find(chain_.begin(), chain_.end(), node) != chain_.end();
  }
  // Of 100 frames at one rate and speed 1, forwards or backwards.
  void Probe() {
    const KivRational one{1, 1}, rate{25, 1};
    const KivRange all{0, 99};
    const AlphaVideoSettings noPreset;
    settings_ = KivCommon::CreateProperties();
    facts_ = KivCommon::CreateProperties();
    settings_->SetInt(KivKey::Speed::kEnabled, 1);
    settings_->SetInt(KivKey::Render::kRender_CacheEnable, static_cast<int32_t>(Any(2)));
    settings_->SetRational(KivKey::Render::kRender_Framerate, &rate);
    facts_->SetRational(L"Source.FrameRate.Video", &rate);
    render_->GetPosition();
    Initialize();
    Send(CommandId::SetSourceFrameRate, &rate);
    Send(CommandId::SetRenderFrameRate, &rate);
    Send(CommandId::SetDecodeScale, &one);
    Send(CommandId::SetAlphaVideoSettings, &noPreset);
    Send(CommandId::SetCacheRange, &all);
    facade_->SetDecoder(decoder_->AsUnknown());
    const bool reversed = Any(2) == 0;
    const SpeedSettings speed{1, 1, reversed ? 1U : 0U, 0, 99};
    Send(CommandId::SetSpeedSettings, &speed);
    const auto start = static_cast<int32_t>(Any(100));
    render_->Seek(start, nullptr, 1);
    for (int32_t frame = start; frame < std::min(start + 5, 100); ++frame) {
      if (frame > start) render_->Skip(1, nullptr);
      ASSERT_EQ(S_OK, render_->GetFrame(&frame_));
      ASSERT_EQ(reversed && Has(6) ? 99 - frame : frame, test::NumberIn(frame_))
          << testing::PrintToString(chain_) << (reversed ? " backwards from " : " from ") << start;
    }
  }

  std::mt19937_64 random_;
  test::FakeTween tween_;
  KivComPtr<test::FakeDecoder> decoder_ = test::FakeDecoder::Make();
  std::unique_ptr<test::OneAtATime> guard_ = std::make_unique<test::OneAtATime>(decoder_->log);
  KivPropDecorator settings_ = KivCommon::CreateProperties();
  KivPropDecorator facts_ = KivCommon::CreateProperties();
  test::FacadePtr facade_{new CKivVideoStreamProcess(nullptr, ComponentNodes())};
  KivComPtr<IKivRenderEx> render_ = facade_.As<IKivRenderEx>();
  KivComPtr<IKivFrame> frame_;
  std::vector<int32_t> chain_;
};

TEST(RandomHost, NeverCrashesHangsOrShowsAWrongFrame) {
  const uint64_t seed = FromEnvironment("KIV_SOAK_SEED", std::random_device()());
  const uint64_t steps = FromEnvironment("KIV_SOAK_STEPS", kSteps);
  SCOPED_TRACE(testing::Message() << "KIV_SOAK_SEED=" << seed);
  RandomHost host(seed);
  for (uint64_t i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
    SCOPED_TRACE(testing::Message() << "step " << i);
    host.Step();
  }
}

}  // namespace
