#include "engine/motion/CameraPath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "engine/motion/PathSmoothing.h"

namespace {

using kiv::Correction;
using kiv::CorrectionsFor;
using kiv::NeededZoom;

constexpr KivSize kFrame{1920, 1080};

std::vector<StabMotion> Shaking(size_t count, const StabMotion& pan, double strength) {
  std::mt19937 random(5);
  std::normal_distribution<double> normal(0, strength);
  std::vector<StabMotion> motions(count);
  StabMotion last;
  for (StabMotion& m : motions) {
    // Positions are independent of each other, so that the path stays where the pan leads.
    const StabMotion at{normal(random), normal(random), normal(random) / 40};
    m = {pan.dx + at.dx - last.dx, pan.dy + at.dy - last.dy, pan.da + at.da - last.da};
    last = at;
  }
  motions[0] = {};
  return motions;
}

TEST(CameraPath, NeededZoomIsExact) {
  // By hand, half sides 50 and 25: 50 / (50 - 5), 25 / (25 - 5), (25 cos 1 + 50 sin 1) / 25.
  const std::pair<Correction, double> kCases[] = {
      {{0, 0, 0}, 1}, {{-5, 0, 0}, 1.111111}, {{5, 5, 0}, 1.25}, {{0, 0, 1}, 1.034753}};
  for (const auto& [correction, zoom] : kCases) {
    EXPECT_NEAR(zoom, NeededZoom(correction, {101, 51}), 3e-6);
  }
}

TEST(CameraPath, SteadyPansAreLeftAloneUpToBothEnds) {
  for (const int32_t level : {1, 10, 100}) {
    const std::vector<StabMotion> motions(200, {7, -3, 0});
    for (const Correction& c : CorrectionsFor(motions, kFrame, level)) {
      EXPECT_NEAR(0, c.dx, 1e-4);
      EXPECT_NEAR(0, c.dy, 1e-4);
      EXPECT_NEAR(1, c.zoom, 1e-5);
    }
  }
}

TEST(CameraPath, ShakeGoesAndThePanStaysWithoutLagOrDrift) {
  const std::vector<StabMotion> motions = Shaking(300, {5, 2, 0}, 2);
  const std::vector<Correction> corrections = CorrectionsFor(motions, kFrame, 10);
  double x = 0, before = 0, left = 0, last = 0, lastStep = 0;
  for (size_t i = 0; i < motions.size(); ++i) {
    x += motions[i].dx;
    const double corrected = x + corrections[i].dx;
    const double step = corrected - last;
    if (i > 1) {
      before += std::pow(motions[i].dx - motions[i - 1].dx, 2);
      left += std::pow(step - lastStep, 2);
    }
    // The path itself is the pan and at most a few pixels.
    EXPECT_NEAR(5.0 * static_cast<double>(i), corrected, 4) << i;
    last = corrected;
    lastStep = step;
  }
  EXPECT_LT(left, 0.01 * before);
}

struct WildCase {
  const char* name;
  std::vector<StabMotion> motions;
};

TEST(CameraPath, NoBorderShowsAndTheZoomKeepsItsLimit) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  std::vector<StabMotion> leap(60), turn(60), broken(60, {kNan, 1e300, -kNan});
  leap[30] = {900, -700, 0};
  turn[20] = {0, 0, 170};
  const WildCase kCases[] = {{"slight", Shaking(90, {}, 1)},
                             {"strong", Shaking(90, {}, 60)},
                             {"leap", leap},
                             {"turn", turn},
                             {"broken", broken},
                             {"single", {{3, 3, 3}}},
                             {"pair", {{}, {9, 9, 1}}},
                             {"none", {}}};
  for (const WildCase& c : kCases) {
    for (const int32_t level : {1, 10, 100, 5000}) {
      for (const KivSize size : {kFrame, KivSize{320, 568}, KivSize{2, 2}, KivSize{1, 1}}) {
        SCOPED_TRACE(testing::Message() << c.name << " level " << level << " " << size.width);
        const auto corrections = CorrectionsFor(c.motions, size, level);
        ASSERT_EQ(c.motions.size(), corrections.size());
        for (const Correction& k : corrections) {
          ASSERT_LE(NeededZoom(k, size), k.zoom + 1e-5);
          ASSERT_LE(k.zoom, kiv::MostZoom(std::min(level, kStabLevelMax)) + 1e-12);
          ASSERT_EQ(corrections[0].zoom, k.zoom);
        }
      }
    }
  }
}

TEST(CameraPath, LevelsBelowOneCorrectNothing) {
  for (const int32_t level : {0, -1, INT32_MIN}) {
    for (const Correction& c : CorrectionsFor(Shaking(20, {}, 9), kFrame, level)) {
      EXPECT_EQ(1, c.zoom);
      EXPECT_EQ(0, c.dx);
    }
  }
}

TEST(CameraPath, ShotsDoNotReachAcrossACut) {
  const std::vector<StabMotion> first = Shaking(50, {20, 0, 0}, 8), second = Shaking(60, {}, 2);
  std::vector<StabMotion> both = first;
  both.insert(both.end(), second.begin(), second.end());
  both[first.size()] = {0, 0, kStabCutAngle};
  const auto together = CorrectionsFor(both, kFrame, 10);
  const auto alone = CorrectionsFor(second, kFrame, 10);
  for (size_t i = 0; i < second.size(); ++i) {
    EXPECT_EQ(alone[i].dx, together[first.size() + i].dx);
    EXPECT_EQ(alone[i].zoom, together[first.size() + i].zoom);
  }
  EXPECT_NE(together.front().zoom, together.back().zoom);
}

// A step and a turn that have to share the room: both give way, and the room is used up.
TEST(PathSmoothing, KeepsWithinTheRoomAndUsesIt) {
  std::vector<kiv::PathPoint> step(60, kiv::PathPoint{});
  for (size_t i = 30; i < 60; ++i) step[i] = {10, 0, 6};
  const kiv::PathRoom room{4, 4, 0.5, 0.5};
  const auto free = kiv::SmoothPath(step, 1e5);
  const auto held = kiv::SmoothPathWithin(step, room, 1e5);
  EXPECT_GT(free[29][0], 4.5);
  double most = 0, before = 0, left = 0;
  for (size_t i = 0; i < 60; ++i) {
    const double aside = std::abs(held[i][0] - step[i][0]) + std::abs(held[i][2] - step[i][2]) / 2;
    most = std::max(most, aside);
    EXPECT_EQ(0, held[i][1]);
    if (i < 2) continue;
    for (const size_t axis : {0, 2}) {
      before += std::pow(step[i][axis] - 2 * step[i - 1][axis] + step[i - 2][axis], 2);
      left += std::pow(held[i][axis] - 2 * held[i - 1][axis] + held[i - 2][axis], 2);
    }
  }
  EXPECT_NEAR(4, most, 1e-9);
  EXPECT_LT(left, 0.2 * before);
}

// Worked out by hand: |x| + |turn| / 2 <= 3 and |y| + |turn| <= 2.
TEST(PathSmoothing, TheNearestWithinTheRoom) {
  const struct {
    kiv::PathPoint aside, nearest;
  } kCases[] = {{{1, -1, 0.5}, {1, -1, 0.5}}, {{-5, 0, 0}, {-3, 0, 0}},
                {{0, 0, 9}, {0, 0, 2}},       {{3, 0, -1.25}, {2.5, 0, -1}},
                {{0, 2, 1}, {0, 1.5, 0.5}},   {{3, -2, 2.25}, {2.5, -1, 1}}};
  for (const auto& c : kCases) {
    const kiv::PathPoint found = kiv::NearestWithin(c.aside, {3, 2, 0.5, 1});
    for (const size_t axis : {0, 1, 2}) EXPECT_NEAR(c.nearest[axis], found[axis], 1e-12) << axis;
  }
}

}  // namespace
