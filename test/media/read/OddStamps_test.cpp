// Streams whose time stamps jitter, repeat or jump back: frame N is the N-th picture that decoding
// the whole stream gives, whichever way it is asked for.
#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "test/media/Clips.h"
#include "test/support/Remux.h"
#include "test/support/TestFolder.h"

namespace {

using kivtest::ClipRecipe;
using kivtest::CurrentNumber;
using kivtest::MakeClip;
using kivtest::TemporaryPath;

struct OddClip {
  const char* name;
  std::function<std::string()> make;
  // The rate that every frame keeps to; 0/1 where their times are uneven.
  KivRational rate{0, 1};
};

void PrintTo(const OddClip& value, std::ostream* out) { *out << value.name; }

std::string Restamped(const ClipRecipe& recipe, const std::string& name,
                      const std::function<int64_t(int, int64_t)>& change) {
  const std::string path = TemporaryPath(name);
  kivtest::Restamp(MakeClip(recipe), path, change);
  return path;
}

std::string Joined(const std::string& name, const std::string& first, const std::string& second) {
  const std::string path = TemporaryPath(name);
  WriteBytes(path, ReadBytes(first) + ReadBytes(second));
  return path;
}

std::string Twice(const ClipRecipe& recipe) {
  const std::string clip = MakeClip(recipe);
  return Joined("twice." + recipe.container, clip, clip);
}

// Up to 15 ms off, in order all the same.
std::vector<int64_t> Jittered(int frames) {
  std::mt19937 random(7);
  std::vector<int64_t> times;
  for (int i = 0; i < frames; ++i) times.push_back(i * 40 + 15 + random() % 31 - 15);
  return times;
}

const OddClip kClips[] = {
    {"vp9_jitter",
     [] {
       return MakeClip({.codec = "libvpx-vp9",
                        .container = "mkv",
                        .frames = 100,
                        .gop = 30,
                        .times = Jittered(100)});
     }},
    {"h264_jitter",
     [] {
       return MakeClip({.container = "mkv", .frames = 100, .bFrames = 3, .times = Jittered(100)});
     }},
    {"vp9_duplicates",
     [] {
       return Restamped({.codec = "libvpx-vp9", .container = "webm", .frames = 100, .gop = 30},
                        "vp9_duplicates.mkv", [](int number, int64_t time) {
                          return number % 7 == 3 ? time - 40 : time;
                        });
     }},
    {"vp9_backwards",
     [] {
       return Restamped({.codec = "libvpx-vp9", .container = "webm", .frames = 100, .gop = 30},
                        "vp9_backwards.mkv", [](int number, int64_t time) {
                          return number % 9 == 5 ? time - 90 : time;
                        });
     }},
    {"h264_duplicates",
     [] {
       return Restamped({.container = "mkv", .frames = 100, .gop = 25, .bFrames = 3},
                        "h264_duplicates.mkv",
                        [](int, int64_t time) { return time / 40 % 7 == 3 ? time - 40 : time; });
     }},
    {"h264_pairs",
     [] {
       return Restamped({.container = "mkv", .frames = 100, .gop = 25, .bFrames = 3},
                        "h264_pairs.mkv", [](int, int64_t time) { return time - time % 80; });
     }},
    // The second half claims to be shown 126,000 years later.
    {"h264_leap",
     [] {
       return Restamped(
           {.container = "mkv", .frames = 100, .gop = 25, .bFrames = 3}, "h264_leap.mkv",
           [](int, int64_t time) { return time >= 2000 ? time + 4'000'000'000'000'000 : time; });
     },
     {25, 1}},
    {"hevc_pairs",
     [] {
       return Restamped({.codec = "libx265", .container = "mkv", .gop = 20, .bFrames = 3},
                        "hevc_pairs.mkv", [](int, int64_t time) { return time - time % 80; });
     }},
    {"mpeg2_pairs",
     [] {
       return Restamped({.codec = "mpeg2video", .container = "mkv", .bFrames = 2},
                        "mpeg2_pairs.mkv", [](int, int64_t time) { return time - time % 80; });
     }},
    // Stamps that a raw stream's packets got as they came: they rise, the pictures do not.
    {"h264_as_decoded",
     [] {
       return MakeClip({.container = "mkv",
                        .frames = 100,
                        .gop = 25,
                        .bFrames = 3,
                        .packetFilter = "setts=ts=N"});
     },
     {25, 1}},
    {"h264_as_decoded_mp4",
     [] {
       return MakeClip({.frames = 100, .gop = 25, .bFrames = 3, .packetFilter = "setts=pts=DTS"});
     },
     {25, 1}},
    {"hevc_as_decoded",
     [] {
       return MakeClip({.codec = "libx265",
                        .container = "mkv",
                        .gop = 20,
                        .bFrames = 3,
                        .packetFilter = "setts=ts=N"});
     },
     {25, 1}},
    {"h264_ts_twice", [] { return Twice({.container = "ts", .bFrames = 3}); }, {25, 1}},
    {"h264_ts_twice_23976",
     [] {
       return Twice({.container = "ts", .rate = {24000, 1001}, .bFrames = 2});
     },
     {24000, 1001}},
    {"h264_ts_few_frames_twice",
     [] { return Twice({.container = "ts", .frames = 5, .gop = 5}); },
     {25, 1}},
    {"mpeg2_ps_twice",
     [] { return Twice({.codec = "mpeg2video", .container = "mpg", .bFrames = 2}); },
     {25, 1}},
    {"h264_ts_earlier_stamps",
     [] {
       return Joined("earlier.ts",
                     MakeClip({.container = "ts", .bFrames = 2, .startMilliseconds = 100'000}),
                     MakeClip({.container = "ts", .bFrames = 2}));
     },
     {25, 1}},
    {"h264_ts_other_size",
     [] {
       return Joined("sizes.ts", MakeClip({.container = "ts", .bFrames = 3}),
                     MakeClip({.container = "ts", .size = {256, 144}, .bFrames = 3}));
     },
     {25, 1}},
};

class OddStamps : public testing::TestWithParam<OddClip> {
 protected:
  void ExpectAt(const KivComPtr<IKivMediaDecoder>& decoder, int64_t frame, const char* way) {
    EXPECT_EQ(expected_[static_cast<size_t>(frame)], CurrentNumber(decoder)) << way << " " << frame;
  }
  KivComPtr<IKivMediaDecoder> Open() const { return kivtest::OpenDecoder(path_); }

  const std::string path_ = GetParam().make();
  const std::vector<int> expected_ = kivtest::NumbersInOrder(path_);
  const int frames_ = static_cast<int>(expected_.size());
};

TEST_P(OddStamps, EveryWayToAFrameShowsTheSamePicture) {
  const auto forwards = Open();
  ASSERT_TRUE(forwards);
  ASSERT_EQ(frames_, kivtest::InfoOf(forwards).frameCount);
  for (int frame = 0; frame < frames_; ++frame, forwards->Skip(1, nullptr)) {
    ExpectAt(forwards, frame, "forwards");
  }
  const auto backwards = Open();
  backwards->Skip(frames_, nullptr);
  for (int frame = frames_ - 1; frame >= 0; --frame) {
    backwards->Skip(-1, nullptr);
    ExpectAt(backwards, frame, "backwards");
  }
  const auto fresh = Open();
  fresh->Skip(frames_ - 1, nullptr);
  ExpectAt(fresh, frames_ - 1, "at once");
  EXPECT_GT(frames_, kivtest::StatsOf(fresh).picturesDecoded) << "there are keys on the way";
  EXPECT_EQ(0, kivtest::StatsOf(forwards).picturesReplaced);
  EXPECT_EQ(0, kivtest::StatsOf(backwards).picturesReplaced);
}

TEST_P(OddStamps, FramesAreFoundByTheirTimes) {
  const auto info = Open().As<IKivStreamInfo>();
  std::vector<int> order(expected_.size());
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(3));
  const auto decoder = Open();
  for (const int frame : order) {
    int64_t time = 0, duration = 0, next = 0;
    ASSERT_EQ(S_OK, info->GetFrameTime(frame, &time, &duration, nullptr));
    EXPECT_GT(duration, 0) << frame;
    if (frame + 1 < frames_) {
      info->GetFrameTime(frame + 1, &next, nullptr, nullptr);
      EXPECT_EQ(next, time + duration) << frame;
    }
    const auto fresh = frame % 10 == 0 ? Open() : decoder;
    fresh->Seek(time, 0);
    ExpectAt(fresh, frame, "by time");
    fresh->Seek(time + duration - 2, 0);
    ExpectAt(fresh, frame, "at the end of");
  }
}

// As a chain's source seeks: by number where the clip's own rate is the chain's.
TEST_P(OddStamps, FramesAreFoundByTheirNumbers) {
  const auto decoder = Open();
  const auto byNumber = decoder.As<IKivFrameSeek>();
  const KivRational rate = kivtest::InfoOf(decoder).frameRate;
  for (int i = 0; i < frames_; ++i) {
    const int frame = (i * 37 + 11) % frames_;
    ASSERT_EQ(S_OK, byNumber->SeekFrame(frame, &rate, 0));
    ExpectAt(decoder, frame, "by number");
  }
  const KivRational other{rate.numerator * 2, rate.denominator};
  EXPECT_EQ(S_FALSE, byNumber->SeekFrame(0, &other, 0));
}

TEST_P(OddStamps, TimesGoOnWhereStampsBeginAnew) {
  const KivStreamInfo info = kivtest::InfoOf(Open());
  const KivRational& rate = GetParam().rate;
  EXPECT_EQ(rate.numerator > 0 ? 1 : 0, info.constantRate);
  if (rate.numerator == 0) return;
  EXPECT_EQ(rate, info.frameRate);
  EXPECT_NEAR(frames_ / rate.ToDouble(), static_cast<double>(info.duration) / 1e7, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Clips, OddStamps, testing::ValuesIn(kClips),
                         [](const auto& clip) { return std::string(clip.param.name); });

}  // namespace
