#include "engine/tween/TweenAlgorithm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "test/support/LogCapture.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Scene = std::function<double(double x, double y)>;

// Waves of several lengths, so that every place looks different.
double Texture(double x, double y) {
  return 128 + 40 * std::sin(x / 5.3 + y / 17) + 30 * std::sin(y / 4.1 - x / 23) +
         25 * std::sin((x + y) / 9.7);
}

Bytes Paint(const KivSize& size, const Scene& scene) {
  Bytes pixels;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const auto grey = static_cast<uint8_t>(std::lround(scene(x, y)));
      pixels.insert(pixels.end(), {grey, grey, grey, 255});
    }
  }
  return pixels;
}

double Psnr(const Bytes& a, const Bytes& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]) / 0.75;
  return 10 * std::log10(255 * 255 * static_cast<double>(a.size()) / std::max(sum, 1e-9));
}

class Tween {
 public:
  explicit Tween(int count = 1, uint32_t mode = 0, int threads = 2) : pool_(threads) {
    params_.inBetweenCount = count;
    params_.interpolationMode = mode;
    algorithm_->Parameters()->SetKeyValue(kFrameInterpolationParamsKey, XTuple(&params_));
    algorithm_->Commit();
  }
  ~Tween() { algorithm_->Destroy(1); }
  int32_t Push(const KivSize& size, const Bytes& pixels) {
    size_ = size;
    return algorithm_->Push(pixels.data(), size.width, size.height, 4, 0, 0);
  }
  Bytes Read(int32_t index) {
    Bytes out(static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height) * 4, 7);
    result = algorithm_->Read(out.data(), size_.width, size_.height, 4, index, 0, 0);
    return out;
  }
  CVAlgorithm* operator->() { return algorithm_; }
  int32_t result = -1;

 private:
  kiv::tween::RowPool pool_;
  FrameInterpolationParams params_;
  CVAlgorithm* algorithm_ = new kiv::tween::TweenAlgorithm(pool_);
  KivSize size_;
};

constexpr KivSize kSize{160, 120};

double Pan(double time, double x, double y) { return Texture(x - 6 * time, y + 3 * time); }
double Turn(double time, double x, double y) {
  const double angle = 0.04 * time, u = x - 80, v = y - 60;
  return Texture(80 + u * std::cos(angle) - v * std::sin(angle),
                 60 + u * std::sin(angle) + v * std::cos(angle));
}
// A square that passes in front of a background at rest.
double Square(double time, double x, double y) {
  const double left = 40 + 8 * time;
  const bool inside = x >= left && x < left + 40 && y >= 40 && y < 80;
  return inside ? Texture(x - left + 300, y + 200) * 0.5 + 120 : Texture(x, y);
}

const struct {
  const char* name;
  double (*scene)(double, double, double);
  double least;
} kMotions[] = {{"pan", Pan, 44}, {"turn", Turn, 52}, {"square", Square, 38}};

TEST(Tween, GeneratedPicturesComeNearTheRealOnes) {
  for (const auto& c : kMotions) {
    const auto at = [&](double time) {
      return Paint(kSize, [&](double x, double y) { return c.scene(time, x, y); });
    };
    Tween tween(3);
    tween.Push(kSize, at(0));
    tween.Push(kSize, at(1));
    for (int index : {1, 2, 3}) {
      EXPECT_LT(c.least, Psnr(tween.Read(index), at(index / 4.0))) << c.name << ' ' << index;
    }
  }
}

// What comes into the picture is known from one key frame only.
TEST(Tween, BordersDoNotDrag) {
  constexpr int kBorder = 8;
  const auto at = [](double time) {
    return Paint(kSize, [&](double x, double y) { return Pan(time, x, y); });
  };
  Tween tween;
  tween.Push(kSize, at(0));
  tween.Push(kSize, at(1));
  const Bytes made = tween.Read(1), real = at(0.5);
  Bytes madeEdge, realEdge;
  for (int y = 0; y < kSize.height; ++y) {
    for (int x = 0; x < kSize.width; ++x) {
      const bool inner =
          x >= kBorder && x < kSize.width - kBorder && y >= kBorder && y < kSize.height - kBorder;
      if (inner) continue;
      const auto pixel = static_cast<size_t>(4 * (y * kSize.width + x));
      for (size_t i = pixel; i < pixel + 4; ++i) {
        madeEdge.push_back(made[i]);
        realEdge.push_back(real[i]);
      }
    }
  }
  EXPECT_LT(37, Psnr(madeEdge, realEdge));
}

TEST(Tween, ThreadsDoNotChangeAByte) {
  // The smaller one gets the wide window in any mode.
  for (const KivSize& size : {KivSize{211, 133}, {1301, 73}}) {
    const Bytes older = Paint(size, [](double x, double y) { return Turn(0, x, y); });
    const Bytes newer = Paint(size, [](double x, double y) { return Turn(1, x, y); });
    Bytes first;
    for (int threads : {1, 2, 5}) {
      Tween tween(2, 0, threads);
      tween.Push(size, older);
      tween.Push(size, newer);
      const Bytes made = tween.Read(1);
      if (first.empty()) first = made;
      EXPECT_EQ(first, made) << threads;
    }
  }
}

// A shift by an odd number of halves, in a picture whose motion is looked for at half its size.
TEST(Tween, FineTextureStaysSharpBetweenPixels) {
  const KivSize size{1200, 64};
  const auto at = [&](double time) {
    return Paint(size, [&](double x, double y) {
      return 128 + 60 * std::sin((x - 3 * time) / 1.1) + 40 * std::sin(y / 1.3 + x / 40);
    });
  };
  for (uint32_t mode : {0, 2}) {
    Tween tween(1, mode);
    tween.Push(size, at(0));
    tween.Push(size, at(1));
    EXPECT_LT(42, Psnr(tween.Read(1), at(0.5))) << mode;
  }
}

TEST(Tween, WhatStandsStillStaysAsItIs) {
  // A pan below a title that does not move.
  const auto at = [](double time) {
    return Paint(kSize, [&](double x, double y) {
      return y < 48 ? 255.0 * (static_cast<int>(x / 3) % 2) : Pan(time, x, y);
    });
  };
  Tween tween;
  tween.Push(kSize, at(0));
  tween.Push(kSize, at(1));
  const Bytes made = tween.Read(1), real = at(0);
  int worst = 0;
  for (size_t i = 0; i < size_t{160} * 32 * 4; ++i) {
    worst = std::max(worst, std::abs(made[i] - real[i]));
  }
  EXPECT_LE(worst, 1);
}

TEST(Tween, ACutRepeatsTheNearerKeyFrame) {
  const Bytes older = Paint(kSize, Texture);
  const Bytes newer = Paint(
      kSize, [](double x, double y) { return 60 + 50 * std::sin(x * y / 300) * std::cos(x / 3); });
  Tween tween(3);
  tween.Push(kSize, older);
  tween.Push(kSize, newer);
  EXPECT_EQ(older, tween.Read(1));
  EXPECT_EQ(newer, tween.Read(3));
}

TEST(Tween, AnySizeIsTaken) {
  for (const KivSize& size :
       {KivSize{1, 1}, {3, 40}, {15, 15}, {16, 16}, {17, 31}, {640, 16}, {9000, 16}, {1283, 45}}) {
    Tween tween;
    const Bytes grey = Paint(size, [](double, double) { return 90.0; });
    tween.Push(size, grey);
    tween.Push(size, grey);
    EXPECT_EQ(grey, tween.Read(1)) << size.width << 'x' << size.height;
  }
}

TEST(Tween, KeepsTheContractOfItsCalls) {
  Tween tween;
  const Bytes dark = Paint(kSize, [](double, double) { return 20.0; });
  const Bytes light = Paint(kSize, [](double, double) { return 30.0; });
  EXPECT_TRUE(tween->WantsInput());
  EXPECT_NE(0, tween->Push(nullptr, 4, 4, 4, 0, 0));
  EXPECT_NE(0, tween->Push(dark.data(), 0, 4, 4, 0, 0));
  EXPECT_NE(0, tween->Push(dark.data(), INT32_MAX, INT32_MAX, 4, 0, 0));
  tween.Push(kSize, dark);
  EXPECT_EQ(7, tween.Read(0)[0]);
  EXPECT_NE(0, tween.result);
  tween.Push(kSize, light);
  EXPECT_FALSE(tween->WantsInput());
  EXPECT_EQ(dark, tween.Read(0));
  EXPECT_EQ(light, tween.Read(2));
  EXPECT_TRUE(tween->WantsInput());
  for (int32_t index : {-1, 3, INT32_MAX}) {
    EXPECT_EQ(7, tween.Read(index)[0]);
    EXPECT_NE(0, tween.result) << index;
  }
  // Another size replaces both.
  const KivSize other{40, 30};
  tween.Push(other, Paint(other, Texture));
  EXPECT_TRUE(tween->WantsInput());
  EXPECT_NE(0, (tween.Read(0), tween.result));
}

// Odd widths leave pixels over after the last full vector.
TEST(Tween, PlainMixingIsExact) {
  for (const int width : {1, 7, 33, 211}) {
    const KivSize size{width, 5};
    const Bytes older = Paint(size, [](double x, double y) { return std::fmod(37 * x + y, 256); });
    const Bytes newer = Paint(size, [](double x, double y) { return std::fmod(91 * y + x, 256); });
    Tween tween(3, 1);
    tween.Push(size, older);
    tween.Push(size, newer);
    const Bytes made = tween.Read(1);
    for (size_t i = 0; i < made.size(); ++i) {
      ASSERT_EQ((3 * older[i] + newer[i] + 2) / 4, made[i]) << width << ' ' << i;
    }
  }
}

TEST(Tween, ModesAreKnownAndOthersTheDefault) {
  const auto made = [](uint32_t mode) {
    Tween tween(1, mode);
    tween.Push(kSize, Paint(kSize, [](double x, double y) { return Pan(0, x, y); }));
    tween.Push(kSize, Paint(kSize, [](double x, double y) { return Pan(1, x, y); }));
    return tween.Read(1);
  };
  const test::LogCapture log;
  EXPECT_NE(made(0), made(1));
  EXPECT_NE(made(1), made(2));
  EXPECT_EQ(0u, log.lines.size());
  EXPECT_EQ(made(0), made(77));
  EXPECT_EQ(1u, log.lines.size());
}

}  // namespace
