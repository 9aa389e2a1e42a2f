#include "engine/motion/MotionAnalyser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "test/motion/Scene.h"

namespace {

using kiv::MotionAnalyser;
using test::Render;
using test::Scene;
using test::View;

constexpr KivSize kSize{480, 270};

void ExpectMotion(const StabMotion& expected, const StabMotion& found, double pixels) {
  EXPECT_NEAR(expected.dx, found.dx, pixels);
  EXPECT_NEAR(expected.dy, found.dy, pixels);
  EXPECT_NEAR(expected.da, found.da, 0.01);
}

struct MotionCase {
  KivSize size;
  KivSize source;  // shifts count in these pixels
  View view;
  StabMotion expected;
};

TEST(MotionAnalyser, RecoversKnownMotion) {
  const MotionCase kCases[] = {
      {kSize, kSize, {3.25, -1.5, 0}, {3.25, -1.5, 0}},
      {kSize, kSize, {0, 0, 0.4}, {0, 0, 0.4}},
      {kSize, kSize, {-12.3, 7.7, -0.25}, {-12.3, 7.7, -0.25}},
      {kSize, kSize, {24, 0.5, 0}, {24, 0.5, 0}},
      {kSize, {960, 810}, {2, -1, 0}, {4, -3, 0}},
      {{2240, 700}, {2240, 700}, {5.5, 2.25, 0.1}, {5.5, 2.25, 0.1}},
      {{131, 67}, {131, 67}, {1.5, 0.5, 0}, {1.5, 0.5, 0}},
  };
  const Scene scene(1);
  for (const MotionCase& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.size.width << " " << c.view.x << " " << c.view.y);
    MotionAnalyser analyser(c.source);
    analyser.Add(Render(scene, c.size, {}).data(), c.size);
    analyser.Add(Render(scene, c.size, c.view).data(), c.size);
    // A repeated frame stands still.
    analyser.Add(Render(scene, c.size, c.view).data(), c.size);
    ASSERT_EQ(3U, analyser.Motions().size());
    EXPECT_EQ(StabMotion{}, analyser.Motions()[0]);
    ExpectMotion(c.expected, analyser.Motions()[1], 0.07);
    ExpectMotion({}, analyser.Motions()[2], 1e-5);
  }
}

TEST(MotionAnalyser, AThirdOfThePictureDoesNotDragTheRest) {
  const Scene background(1), object(2);
  MotionAnalyser analyser(kSize);
  for (int i = 0; i < 4; ++i) {
    auto frame = Render(background, kSize, {1.5 * i, -0.75 * i, 0});
    const auto passing = Render(object, kSize, {-9.0 * i, 4.0 * i, 0});
    const size_t row = 4 * kSize.width;
    for (size_t y = 0; y < kSize.height; ++y) {
      std::copy_n(passing.begin() + static_cast<ptrdiff_t>(y * row + row / 3), row / 3,
                  frame.begin() + static_cast<ptrdiff_t>(y * row + row / 3));
    }
    analyser.Add(frame.data(), kSize);
  }
  for (size_t i = 1; i < 4; ++i) ExpectMotion({1.5, -0.75, 0}, analyser.Motions()[i], 0.1);
}

// One letter a frame: a and b are shots that move by (2, 1) each frame, . is flat grey, * a flash
// (white), - no picture. Motions: 0 none, 1 to 9 that many frames' worth, | a new shot.
struct SequenceCase {
  const char* frames;
  const char* motions;
};

TEST(MotionAnalyser, KeepsItsHeadOverFlashesCutsAndEmptyFrames) {
  const SequenceCase kCases[] = {
      {"aaaa", "0111"},
      {"....", "0000"},
      {"aa*aa", "01021"},
      {"aa**aa", "010031"},
      {"aa-aa", "01021"},
      {"aa..aa", "010031"},
      {"aaabbb", "011|11"},
      {"aaabbbbbbbbbaaa", "011|11111111|11"},
      {"aabbaa", "010031"},
      {"..aaa", "00|11"},
      {"aa..........bbb",
       "01000000000"
       "0|11"},
  };
  const Scene a(1), b(2);
  for (const SequenceCase& c : kCases) {
    MotionAnalyser analyser(kSize);
    double moved = 0;
    for (const char* frame = c.frames; *frame; ++frame, ++moved) {
      const std::vector<uint8_t> flat(4UL * kSize.width * kSize.height, *frame == '*' ? 255 : 128);
      const View view{2 * moved, moved, 0};
      if (*frame == '-') {
        analyser.AddNothing();
      } else {
        const bool scene = *frame == 'a' || *frame == 'b';
        analyser.Add(scene ? Render(*frame == 'a' ? a : b, kSize, view).data() : flat.data(),
                     kSize);
      }
    }
    std::string found;
    for (const StabMotion& m : analyser.Motions()) {
      found += IsStabCut(m) ? '|' : static_cast<char>('0' + std::lround(m.dx / 2));
      EXPECT_NEAR(m.dx / 2, m.dy, 0.05) << c.frames;
    }
    EXPECT_EQ(c.motions, found) << c.frames;
  }
}

// Frames of the sizes in turn, three of each: motion is measured between like sizes only, and in the
// same pixels of the source whatever the size. Too small a frame shows none.
struct SizesCase {
  std::vector<KivSize> sizes;
  std::string motions;
};

TEST(MotionAnalyser, AnySizeAndChangesOfSize) {
  const SizesCase kCases[] = {
      {{{1, 1}}, "000"},
      {{{1, 400}, {400, 1}}, "000000"},
      {{{16, 16}, {15, 17}}, "000000"},
      {{kSize, {240, 135}}, "022|22"},
      {{{240, 135}, {16, 9}, kSize}, "022000|22"},
  };
  const Scene scene(1);
  for (const SizesCase& c : kCases) {
    MotionAnalyser analyser(kSize);
    for (const KivSize& size : c.sizes) {
      for (int i = 0; i < 3; ++i) {
        const double moved = 2.0 * i * size.width / kSize.width;
        analyser.Add(Render(scene, size, {moved, 0, 0}).data(), size);
      }
    }
    std::string found;
    for (const StabMotion& m : analyser.Motions()) {
      found += IsStabCut(m) ? '|' : static_cast<char>('0' + std::lround(m.dx));
    }
    EXPECT_EQ(c.motions, found);
  }
}

TEST(MotionAnalyser, NoiseAloneIsNoMotion) {
  std::mt19937 random(3);
  MotionAnalyser analyser(kSize);
  for (int i = 0; i < 6; ++i) {
    std::vector<uint8_t> frame(4UL * kSize.width * kSize.height);
    std::generate(frame.begin(), frame.end(), [&] { return static_cast<uint8_t>(random()); });
    analyser.Add(frame.data(), kSize);
  }
  for (const StabMotion& m : analyser.Motions()) EXPECT_EQ(StabMotion{}, m);
}

}  // namespace
