#include "kiv/keyframes/KeyFrameParam.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>

#include "kiv/keyframes/SixDecimals.h"
#include "test/support/Ledger.h"

namespace {

using Param = KivComPtr<CKivKeyFrameParam>;
using Doubles = std::vector<KeyFrameDouble>;

Param NewParam(const Doubles& frames = {}) {
  Param param(new CKivKeyFrameParam);
  for (const KeyFrameDouble& frame : frames) param->AddKeyFrame(&frame);
  param->ClearChanged();
  return param;
}

Doubles FramesOf(CKivKeyFrameParam& param) {
  Doubles frames;
  KeyFrameDouble frame;
  while (param.GetKeyFrameAt(static_cast<int32_t>(frames.size()), &frame)) frames.push_back(frame);
  return frames;
}

struct EditCase {
  const char* name;
  std::function<int32_t(CKivKeyFrameParam&)> edit;  // on 0: 0.5, 5: 1, 10: 2
  int32_t result;
  Doubles frames;
  bool changed;
};

auto Add(const KeyFrameDouble& frame) {
  return [frame](CKivKeyFrameParam& param) { return param.AddKeyFrame(&frame), 0; };
}
auto SetAt(int32_t position, const KeyFrameDouble& frame) {
  return [=](CKivKeyFrameParam& param) { return param.SetKeyFrameAt(position, &frame); };
}
auto RemoveAt(int32_t position) {
  return [=](CKivKeyFrameParam& param) { return param.RemoveKeyFrameAt(position), 0; };
}
auto Remove(int32_t index) {
  return [=](CKivKeyFrameParam& param) { return param.RemoveKeyFrame(index), 0; };
}

int32_t RemoveAll(CKivKeyFrameParam& param) { return param.RemoveAllKeyFrames(), 0; }

TEST(KeyFrameParam, EditsKeepTheOrderTheyPromise) {
  const Doubles kStart = {{0, 0.5}, {5, 1}, {10, 2}};
  const EditCase kCases[] = {
      {"add between", Add({7, 3}), 0, {{0, 0.5}, {5, 1}, {7, 3}, {10, 2}}, true},
      {"add before", Add({-9, 3}), 0, {{-9, 3}, {0, 0.5}, {5, 1}, {10, 2}}, true},
      {"add replaces", Add({5, 3}), 0, {{0, 0.5}, {5, 3}, {10, 2}}, true},
      {"remove all", RemoveAll, 0, {}, true},
      {"set moves in place", SetAt(0, {20, 3}), 1, {{20, 3}, {5, 1}, {10, 2}}, true},
      {"set beyond", SetAt(7, {20, 3}), 0, kStart, false},
      {"set below", SetAt(-1, {20, 3}), 0, kStart, false},
      {"remove at", RemoveAt(1), 0, {{0, 0.5}, {10, 2}}, true},
      {"remove beyond", RemoveAt(3), 0, kStart, false},
      {"remove", Remove(10), 0, {{0, 0.5}, {5, 1}}, true},
      {"remove none", Remove(9), 0, kStart, false}};
  for (const EditCase& c : kCases) {
    const Param param = NewParam(kStart);
    EXPECT_EQ(c.result, c.edit(*param)) << c.name;
    EXPECT_EQ(c.frames, FramesOf(*param)) << c.name;
    EXPECT_EQ(c.changed, param->IsChanged()) << c.name;
  }
}

TEST(KeyFrameParam, FindsTheFirstKeyframeOfAnIndexAndOfItsOwnKindOnly) {
  const Param param = NewParam({{3, 1}, {4, 2}, {5, 3}});
  const KeyFrameDouble twin{3, 9};
  param->SetKeyFrameAt(2, &twin);
  KeyFrameDouble number;
  EXPECT_EQ(1, param->GetKeyFrame(3, &number));
  EXPECT_EQ(0, param->GetKeyFrame(5, &number));
  KeyFrameRectF region{77, {1, 2, 3, 4}};
  EXPECT_EQ(0, param->GetKeyFrame(3, &region));
  EXPECT_EQ(0, param->GetKeyFrameAt(0, &region));
  EXPECT_FALSE(param->GetValueAt(3, &region.value));
  EXPECT_EQ((KeyFrameRectF{77, {1, 2, 3, 4}}), region);
  EXPECT_EQ((KeyFrameDouble{3, 1}), number);
}

struct ValueCase {
  Doubles frames;  // set one after the other, in this order
  int32_t at;
  double value;
};

TEST(KeyFrameParam, GoesStraightFromKeyframeToKeyframe) {
  const Doubles kRise = {{0, 0}, {10, 1}};
  const ValueCase kCases[] = {
      {kRise, 5, 0.5},
      {kRise, -3, 0},
      {kRise, 20, 1},
      {kRise, 10, 1},
      {kRise, 1, 0.1},
      {{{0, 0}, {3, 1}}, 1, 0.333333},
      {{{0, 0}, {3, -2}}, 1, -0.666667},
      {{{7, 4.25}}, -100, 4.25},
      {{{-10, 1}, {-6, 3}}, -9, 1.5},
      {{{INT_MIN, 0}, {INT_MAX, 4294967295.0}}, 0, 2147483648.0},
      {{{0, 0}, {2, 3e18}}, 1, 1.5e18},
      // Out of order: the last one below from the front, the first one above.
      {{{10, 1}, {0, 0}}, 5, 0.5},
      {{{10, 1}, {0, 0}}, 20, 0},
      {{{10, 1}, {0, 0}}, -20, 1},
      {{{10, 1}, {4, 0}, {6, 8}}, 8, 4.5},
      {{{10, 1}, {4, 0}, {20, 8}}, 8, 0.666667},
      {{{5, 1}, {5, 2}, {0, 3}}, 5, 1}};
  for (const ValueCase& c : kCases) {
    Doubles ascending;
    for (size_t i = 0; i < c.frames.size(); ++i) ascending.push_back({static_cast<int>(i), 0});
    const Param param = NewParam(ascending);
    for (size_t i = 0; i < c.frames.size(); ++i) {
      ASSERT_EQ(1, param->SetKeyFrameAt(static_cast<int32_t>(i), &c.frames[i]));
    }
    double value = 99;
    EXPECT_TRUE(param->GetValueAt(c.at, &value));
    EXPECT_EQ(c.value, value) << "of " << c.frames.size() << " at " << c.at;
  }
}

TEST(KeyFrameParam, RectanglesChangeSideBySide) {
  const Param param(new CKivKeyFrameParam);
  for (const KeyFrameRectF& frame : {KeyFrameRectF{4, {40, 20, 60, 100}}, {0, {0, 0, 100, 100}}}) {
    param->AddKeyFrame(&frame);
  }
  KivRectF value;
  EXPECT_TRUE(param->GetValueAt(1, &value));
  EXPECT_EQ((KivRectF{10, 5, 90, 100}), value);
}

TEST(KeyFrameParam, HasNoValueWithoutKeyframesOrBetweenKinds) {
  const Param param = NewParam();
  double value = 99;
  EXPECT_FALSE(param->GetValueAt(0, &value));
  const KeyFrameDouble first{0, 1}, second{10, 2};
  const KeyFrameRectF region{10, {}};
  param->AddKeyFrame(&first);
  param->AddKeyFrame(&second);
  // Also when there is no such position, the kind is taken over.
  EXPECT_EQ(0, param->SetKeyFrameAt(2, &region));
  EXPECT_FALSE(param->GetValueAt(5, &value));
  EXPECT_FALSE(param->GetValueAt(5, static_cast<double*>(nullptr)));
  EXPECT_EQ(99, value);
  EXPECT_TRUE(param->GetValueAt(10, &value));
  EXPECT_EQ(2, value);
}

TEST(KeyFrameParam, AnswersItsTwoIdentitiesAndKeepsItsSpline) {
  const Param param = NewParam({{0, 0}, {2, 1}});
  EXPECT_TRUE(param.As<IKivKeyFrameParam>());
  EXPECT_TRUE(param.As<IUnknown>());
  EXPECT_FALSE(param.As<IKivProperties>());
  const KeyFrameSpline spline{3, 2};
  param->SetSpline(&spline);
  EXPECT_EQ(3u, param->GetSpline()->degree);
  EXPECT_EQ(2u, param->GetSpline()->type);
  double value = 0;
  EXPECT_TRUE(param->GetValueAt(1, &value));
  EXPECT_EQ(0.5, value);
}

// The C library's own way through the text.
double ThroughPrintf(double value) {
  char text[400];
  std::snprintf(text, sizeof text, "%f", value);
  return std::strtod(text, nullptr);
}

TEST(SixDecimals, AreThoseOfTheText) {
  // Ties that a double holds exactly go to the even digit; the others only look like ties.
  EXPECT_EQ(0.007812, kiv::ToSixDecimals(0.0078125));
  EXPECT_EQ(0.023438, kiv::ToSixDecimals(0.0234375));
  EXPECT_TRUE(std::signbit(kiv::ToSixDecimals(-1e-9)));
  EXPECT_TRUE(std::isnan(kiv::ToSixDecimals(NAN)));
  const unsigned seed = std::random_device()();
  std::mt19937_64 random(seed);
  for (int i = 0; i < 200000; ++i) {
    const int exponent = static_cast<int>(random() % 80) - 40;
    const auto digits = static_cast<double>(static_cast<int64_t>(random()));
    const double any = std::ldexp(digits, exponent - 40);
    const double tie = (std::floor(any) + 0.5) / 1e6;
    ASSERT_EQ(ThroughPrintf(any), kiv::ToSixDecimals(any)) << "seed " << seed;
    ASSERT_EQ(ThroughPrintf(tie), kiv::ToSixDecimals(tie)) << "seed " << seed;
  }
}

}  // namespace
