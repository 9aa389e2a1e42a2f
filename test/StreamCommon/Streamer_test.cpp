#include <climits>

#include "test/StreamCommon/StreamFixture.h"

namespace {

using test::Calls;
using test::Send;

struct Streamer : test::StreamFixture {
  KivSize ScaledSize() {
    KivSize size{-1, -1};
    EXPECT_EQ(S_OK, Send(*node, CommandId::GetScaledSize, &size));
    return size;
  }
};

TEST_F(Streamer, WorksOnThePositionAloneWithoutADecoder) {
  int64_t time = 5;
  EXPECT_EQ(0, node->GetPosition(&time));
  EXPECT_EQ(0, time);
  int32_t value = 0;
  EXPECT_EQ(S_OK, node->Skip(3, &value));
  EXPECT_EQ(3, value);
  EXPECT_EQ(3, node->GetPosition(nullptr));
  EXPECT_EQ(S_OK, node->Seek(50, &value, 1));
  EXPECT_EQ(50, value);
  EXPECT_EQ(50, node->GetPosition(&time));
  EXPECT_EQ(20'000'000, time);
}

TEST_F(Streamer, SeeksTheDecoderInTimeAndOnlyWhenItMoves) {
  Attach();
  decoder->log.Take();
  node->Seek(0, nullptr, 0);
  node->Seek(5, nullptr, 1);
  decoder->seekResult = E_FAIL;
  EXPECT_EQ(S_OK, node->Seek(5, nullptr, 0));
  EXPECT_EQ(S_OK, node->Seek(6, nullptr, 7));
  EXPECT_EQ(6, node->GetPosition(nullptr));
  EXPECT_EQ((Calls{"Seek 0 mode 0", "Seek 2000000 mode 1", "Seek 2400000 mode 7"}),
            decoder->log.Take());
  node->Flush();
  EXPECT_EQ(0, node->GetPosition(nullptr));
  EXPECT_EQ(Calls{}, decoder->log.Take());
  node->Seek(0, nullptr, 0);
  EXPECT_EQ(Calls{"Seek 0 mode 0"}, decoder->log.Take());
}

// Frames at 0, 10 and 900 ms: no grid leads to them.
struct UnevenDecoder : kiv::CountedObject<IKivMediaDecoder, IKivFrameSeek> {
  int64_t GetCurrentTime() override { return times[frame]; }
  HRESULT Seek(int64_t time, int32_t) override {
    for (frame = 0; frame < 2 && times[frame + 1] <= time;) ++frame;
    return S_OK;
  }
  HRESULT Skip(int32_t count, int32_t*) override { return frame += count, S_OK; }
  HRESULT SetProxyOff(bool) override { return S_OK; }
  HRESULT SetProxyPath(const wchar_t*) override { return S_OK; }
  HRESULT ReadCurrentFrame(KivComPtr<IKivFrame>*) override { return E_FAIL; }
  HRESULT SeekFrame(int32_t index, const KivRational* rate, int32_t) override {
    if (!SameValue(*rate, {10, 3})) return S_FALSE;
    return frame = index, S_OK;
  }
  const int64_t times[3] = {0, 100'000, 9'000'000};
  int frame = 0;
};

TEST_F(Streamer, AsksForAFrameByItsNumberWhereTheDecoderCountsSo) {
  const auto uneven = KivComPtr<UnevenDecoder>::Adopt(new UnevenDecoder);
  Send(*node, CommandId::SetDecoder,
       static_cast<IUnknown*>(static_cast<IKivMediaDecoder*>(uneven.Get())));
  UseRate({10, 3});
  for (const int frame : {2, 1, 0, 2}) {
    node->Seek(frame, nullptr, 0);
    EXPECT_EQ(frame, uneven->frame);
  }
  UseRate({100, 1});
  node->Seek(1, nullptr, 0);
  EXPECT_EQ(1, uneven->frame) << "at another rate a number is a time";
  node->Seek(89, nullptr, 0);
  EXPECT_EQ(1, uneven->frame);
  node->Seek(90, nullptr, 0);
  EXPECT_EQ(2, uneven->frame);
}

TEST_F(Streamer, SkipsTheDecoderAndAdvancesWhateverItAnswers) {
  Attach();
  decoder->log.Take();
  int32_t moved = 0;
  decoder->skipResult = E_FAIL;
  EXPECT_EQ(S_OK, node->Skip(3, &moved));
  EXPECT_EQ(3, moved);
  decoder->skipResult = S_FALSE;
  EXPECT_EQ(S_FALSE, node->Skip(2, nullptr));
  EXPECT_EQ(5, node->GetPosition(nullptr));
  EXPECT_EQ((Calls{"Skip 3", "Skip 2"}), decoder->log.Take());
  node->Skip(INT_MAX, nullptr);
  EXPECT_EQ(INT_MAX, node->GetPosition(nullptr));
}

// Slow motion played backwards asks for the frame before the first.
TEST_F(Streamer, BelowTheFirstFrameItCountsAsTheDecoderDoes) {
  Attach();
  node->Skip(0, nullptr);
  node->Skip(-1, nullptr);
  node->Skip(1, nullptr);
  EXPECT_EQ(0, node->GetPosition(nullptr));
  EXPECT_EQ(0, decoder->time);
  node->Seek(1, nullptr, 0);
  EXPECT_EQ(400000, decoder->time);
}

TEST_F(Streamer, AsksTheDecoderForTheTimeOnlyWhenItIsWanted) {
  Attach();
  decoder->log.Take();
  decoder->time = 123456;
  int64_t time = 0;
  node->GetPosition(nullptr);
  EXPECT_EQ(Calls{}, decoder->log.Take());
  EXPECT_EQ(0, node->GetPosition(&time));
  EXPECT_EQ(123456, time);
}

TEST_F(Streamer, WritesTheIndexIntoEveryFrame) {
  Attach();
  EXPECT_EQ(0, test::IndexOf(Pull()));
  decoder->readResult = S_FALSE;
  node->Seek(12, nullptr, 0);
  const KivComPtr<IKivFrame> frame = Pull();
  EXPECT_EQ(12, test::IndexOf(frame));
  EXPECT_EQ(12, test::NumberIn(frame));
  EXPECT_EQ(0, status);
}

// A new decoder, or the same one at another rate, shows the frame of the position at whatever comes
// first.
TEST_F(Streamer, ADecoderThatComesLateIsBroughtToThePosition) {
  const struct {
    void (*use)(Streamer&);
    int32_t shown;
  } kUses[] = {{[](Streamer& f) { f.Pull(); }, 9},
               {[](Streamer& f) { f.node->Skip(2, nullptr); }, 11},
               {[](Streamer& f) { f.node->Skip(-2, nullptr); }, 7},
               {[](Streamer& f) { f.node->Seek(9, nullptr, 0); }, 9},
               {[](Streamer& f) {
                  int64_t time = 0;
                  f.node->GetPosition(&time);
                  EXPECT_EQ(3'600'000, time);
                },
                9}};
  for (const auto& c : kUses) {
    node->Seek(9, nullptr, 0);
    decoder = test::FakeDecoder::Make();
    Attach();
    c.use(*this);
    EXPECT_EQ(c.shown, test::NumberIn(Pull()));
    EXPECT_EQ(c.shown, test::IndexOf(Pull()));
  }
  node->Seek(10, nullptr, 0);
  UseRate({50, 1});
  Pull();
  EXPECT_EQ(2'000'000, decoder->time);
}

TEST_F(Streamer, HoldsOneDecoderAndGivesItBack) {
  Attach();
  EXPECT_EQ(2u, decoder->References());
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetDecoder));
  EXPECT_EQ(1u, decoder->References());
  Attach();
  const auto other = test::FakeNode::Make();
  EXPECT_EQ(E_NOINTERFACE, Send(*node, CommandId::SetDecoder, static_cast<IUnknown*>(other.Get())));
  EXPECT_EQ(1u, decoder->References());
  EXPECT_EQ(1u, other->References());
  Attach();
  node.Reset();
  EXPECT_EQ(1u, decoder->References());
}

TEST_F(Streamer, FrameTimesAreTheTruncatedStart) {
  const struct {
    KivRational rate;
    int32_t index;
    int64_t time;
  } kCases[] = {{{25, 1}, -5, -2'000'000},
                {{30000, 1001}, 1, 333'666},
                {{30000, 1001}, 30, 10'010'000},
                {{24000, 1001}, 1, 417'083},
                {{1, INT64_MAX}, INT_MAX, INT64_MAX},
                {{1, INT64_MAX}, INT_MIN, INT64_MIN},
                {{25, 1}, 7, 2'800'000},
                {{0, 1}, 7, 2'800'000},  // no rates: the last one stays
                {{0, 0}, 7, 2'800'000},
                {{25, 0}, 7, 2'800'000},
                {{-50, 1}, 7, 2'800'000}};
  for (const auto& c : kCases) {
    UseRate(c.rate);
    EXPECT_EQ(c.time, node->FrameToTime(c.index)) << c.rate.ToDouble();
  }
}

TEST_F(Streamer, TellsANewDecoderPathSwitchAndSizeInThisOrder) {
  UseSize({1920, 1080});
  UseScale({1, 2});
  Attach();
  EXPECT_EQ((Calls{"SetProxyOff 1", "SetOutputSize 960x540"}), decoder->log.Take());
  Send(*node, CommandId::SetProxyPath, L"/p.mov");
  Send(*node, CommandId::SetProxyEnabled, 1);
  decoder->log.Take();
  Attach();
  EXPECT_EQ((Calls{"SetProxyPath /p.mov", "SetProxyOff 0", "SetOutputSize 960x540"}),
            decoder->log.Take());
  decoder->answersSize = false;
  Attach();
  EXPECT_EQ((Calls{"SetProxyPath /p.mov", "SetProxyOff 0"}), decoder->log.Take());
}

TEST_F(Streamer, ANewScaleReachesTheDecoderAtOnceAndANewSizeOrAnEqualScaleDoesNot) {
  Attach();
  decoder->log.Take();
  UseScale({1, 2});
  UseScale({2, 4});
  UseScale({1, 3});
  EXPECT_EQ((Calls{"SetOutputSize 640x360", "SetOutputSize 427x240"}), decoder->log.Take());
  UseSize({300, 30});
  EXPECT_EQ((KivSize{100, 10}), ScaledSize());
  EXPECT_EQ(Calls{}, decoder->log.Take());
}

TEST_F(Streamer, ANewSizeReachesTheDecoderWithTheNextFrame) {
  Attach();
  UseSize({300, 30});
  decoder->log.Take();
  Pull();
  Pull();
  EXPECT_EQ((Calls{"SetOutputSize 300x30", "ReadCurrentFrame", "ReadCurrentFrame"}),
            decoder->log.Take());
  UseSize({600, 60});
  UseScale({1, 2});
  Pull();
  EXPECT_EQ((Calls{"SetOutputSize 300x30", "ReadCurrentFrame"}), decoder->log.Take());
  // It is the next decoder's size that comes before it: the one it replaces never hears of it.
  const auto former = decoder;
  UseSize({64, 36});
  decoder = test::FakeDecoder::Make();
  Attach();
  Pull();
  EXPECT_EQ(Calls{}, former->log.Take());
  EXPECT_EQ((Calls{"SetProxyOff 1", "SetOutputSize 32x18", "ReadCurrentFrame"}),
            decoder->log.Take());
}

TEST_F(Streamer, SizesAreRoundedAndSaturated) {
  const struct {
    KivSize size;
    KivRational scale;
    KivSize scaled;
  } kCases[] = {
      {{1280, 720}, {0, 0}, {1280, 720}},  // 0/0 equals every scale: nothing changes
      {{1921, 3}, {1, 2}, {961, 2}},      {{1, -3}, {1, 3}, {0, 0}},
      {{-3, 0}, {1, 1}, {-2, 0}},  // truncation rounds these upwards
      {{1280, 0}, {1, 0}, {INT_MAX, 0}},  {{1280, -1}, {INT64_MAX, 1}, {INT_MAX, INT_MIN}},
      {{1280, 720}, {0, 1}, {0, 0}}};
  for (const auto& c : kCases) {
    UseSize(c.size);
    UseScale(c.scale);
    EXPECT_EQ(c.scaled, ScaledSize()) << c.size.width << " " << c.scale.ToDouble();
  }
}

TEST_F(Streamer, NullRecordsAreRefusedAndChangeNothing) {
  for (const CommandId id :
       {CommandId::SetProxyPath, CommandId::GetProxyPath, CommandId::GetProxyEnabled,
        CommandId::GetScaledSize, CommandId::SetOutputSize, CommandId::SetDecodeScale}) {
    EXPECT_EQ(E_POINTER, Send(*node, id, static_cast<void*>(nullptr), 10));
  }
  // A command that travels on answers with the upstream's result.
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetSourceFrameRate));
  EXPECT_EQ(E_POINTER, node->SaveSettings(nullptr));
  EXPECT_EQ(E_POINTER, node->LoadSettings(nullptr));
  EXPECT_EQ((KivSize{1280, 720}), ScaledSize());
}

}  // namespace
