// Colours, edges, orientation and alpha of converted pictures, against exact arithmetic.
#include "engine/media/PictureConverter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace {

struct FrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;

FramePtr MakePicture(AVPixelFormat format, int width, int height) {
  FramePtr frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  EXPECT_EQ(0, av_frame_get_buffer(frame.get(), 0));
  return frame;
}

int DepthOf(AVPixelFormat format) { return av_pix_fmt_desc_get(format)->comp[0].depth; }

void PutSample(AVFrame* frame, int component, int x, int y, int value) {
  const AVComponentDescriptor& c =
      av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format))->comp[component];
  uint8_t* const row = frame->data[c.plane] + y * frame->linesize[c.plane];
  if (c.depth > 8) {
    reinterpret_cast<uint16_t*>(row)[x * c.step / 2 + c.offset / 2] =
        static_cast<uint16_t>(value << c.shift);
  } else {
    row[x * c.step + c.offset] = static_cast<uint8_t>(value);
  }
}

void FillComponent(AVFrame* frame, int component, int value) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
  const bool chroma = component == 1 || component == 2;
  const int width = chroma ? AV_CEIL_RSHIFT(frame->width, format->log2_chroma_w) : frame->width;
  const int height = chroma ? AV_CEIL_RSHIFT(frame->height, format->log2_chroma_h) : frame->height;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) PutSample(frame, component, x, y, value);
  }
}

struct Bgra {
  double b, g, r;
};

// The definition in real numbers: codes to BGRA codes, clamped but not rounded.
Bgra Exact(double luma, double cb, double cr, double kr, double kb, bool full, int depth) {
  const double unit = std::ldexp(1.0, depth - 8);
  const double top = std::ldexp(1.0, depth) - 1;
  const double l = full ? luma / top : (luma - 16 * unit) / (219 * unit);
  const double span = full ? top : 224 * unit;
  const double pb = (cb - 128 * unit) / span;
  const double pr = (cr - 128 * unit) / span;
  const double red = l + 2 * (1 - kr) * pr;
  const double blue = l + 2 * (1 - kb) * pb;
  const double green = (l - kr * red - kb * blue) / (1 - kr - kb);
  const auto code = [](double v) { return std::clamp(v * 255, 0.0, 255.0); };
  return {code(blue), code(green), code(red)};
}

std::vector<uint8_t> Convert(const AVFrame& picture, int width, int height,
                             kiv::Orientation orientation = {}) {
  // Bytes behind the picture show a write past its end.
  std::vector<uint8_t> bgra(static_cast<size_t>(width * height * 4 + 64), 0xA5);
  kiv::PictureConverter converter;
  EXPECT_EQ(S_OK, converter.Convert(picture, orientation, {width, height}, bgra.data()));
  EXPECT_TRUE(std::all_of(bgra.end() - 64, bgra.end(), [](uint8_t v) { return v == 0xA5; }));
  bgra.resize(bgra.size() - 64);
  return bgra;
}

struct MatrixCase {
  const char* name;
  AVColorSpace tag;
  double kr, kb;
};

constexpr MatrixCase kMatrices[] = {
    {"601", AVCOL_SPC_SMPTE170M, 0.299, 0.114},
    {"709", AVCOL_SPC_BT709, 0.2126, 0.0722},
    {"2020", AVCOL_SPC_BT2020_NCL, 0.2627, 0.0593},
};

constexpr AVPixelFormat kYuvFormats[] = {
    AV_PIX_FMT_YUV420P,   AV_PIX_FMT_YUV422P,    AV_PIX_FMT_YUV444P,   AV_PIX_FMT_NV12,
    AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUV422P10,  AV_PIX_FMT_YUV444P12, AV_PIX_FMT_P010,
    AV_PIX_FMT_YUVA420P,  AV_PIX_FMT_YUVA444P10, AV_PIX_FMT_YUV411P,   AV_PIX_FMT_YUYV422,
    AV_PIX_FMT_UYVY422,   AV_PIX_FMT_YUV440P,    AV_PIX_FMT_YUV420P12,
};

double WorstFlatError(AVPixelFormat format, const MatrixCase& matrix, bool full, int outWidth,
                      int outHeight) {
  const int depth = DepthOf(format);
  const int unit = 1 << (depth - 8);
  double worst = 0;
  for (const int luma : {16, 41, 100, 126, 180, 235}) {
    for (const int cb : {16, 90, 128, 184, 240}) {
      for (const int cr : {16, 110, 128, 202, 240}) {
        FramePtr picture = MakePicture(format, 38, 10);
        picture->colorspace = matrix.tag;
        picture->color_range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
        FillComponent(picture.get(), 0, luma * unit);
        FillComponent(picture.get(), 1, cb * unit);
        FillComponent(picture.get(), 2, cr * unit);
        if (av_pix_fmt_desc_get(format)->nb_components == 4) {
          FillComponent(picture.get(), 3, (1 << depth) - 1);
        }
        const Bgra want =
            Exact(luma * unit, cb * unit, cr * unit, matrix.kr, matrix.kb, full, depth);
        const std::vector<uint8_t> got = Convert(*picture, outWidth, outHeight);
        for (size_t i = 0; i < got.size(); i += 4) {
          worst = std::max({worst, std::abs(got[i] - want.b), std::abs(got[i + 1] - want.g),
                            std::abs(got[i + 2] - want.r), std::abs(got[i + 3] - 255.0)});
        }
      }
    }
  }
  return worst;
}

TEST(PictureConverter, FlatColoursAreExactInEveryFormatMatrixAndRange) {
  for (const AVPixelFormat format : kYuvFormats) {
    for (const MatrixCase& matrix : kMatrices) {
      for (const bool full : {false, true}) {
        // Half a code is rounding itself; the rest is the arithmetic's own error.
        EXPECT_LT(WorstFlatError(format, matrix, full, 38, 10), 0.6)
            << av_get_pix_fmt_name(format) << ' ' << matrix.name << " full " << full;
      }
    }
  }
}

TEST(PictureConverter, FlatColoursSurviveScaling) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_YUV422P10}) {
    EXPECT_LT(WorstFlatError(format, kMatrices[1], false, 19, 5), 1.0) << format;
    EXPECT_LT(WorstFlatError(format, kMatrices[1], false, 101, 33), 1.0) << format;
  }
}

TEST(PictureConverter, UntaggedPicturesTakeTheMatrixOfTheirSize) {
  struct Case {
    int width, height;
    double kr, kb;
  };
  for (const Case& c : {Case{720, 576, 0.299, 0.114}, Case{1280, 720, 0.2126, 0.0722},
                        Case{720, 1280, 0.2126, 0.0722}}) {
    FramePtr picture = MakePicture(AV_PIX_FMT_YUV420P, c.width, c.height);
    FillComponent(picture.get(), 0, 81);
    FillComponent(picture.get(), 1, 90);
    FillComponent(picture.get(), 2, 240);
    const Bgra want = Exact(81, 90, 240, c.kr, c.kb, false, 8);
    const std::vector<uint8_t> got = Convert(*picture, c.width, c.height);
    EXPECT_NEAR(want.g, got[1], 0.6) << c.width << 'x' << c.height;
    EXPECT_NEAR(want.r, got[2], 0.6) << c.width << 'x' << c.height;
  }
}

// Every width from 1 on meets another tail; luma detail must come through pixel by pixel.
TEST(PictureConverter, EveryWidthConvertsEveryPixel) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P10, AV_PIX_FMT_GBRP}) {
    const int depth = DepthOf(format);
    for (int width = 1; width <= 70; ++width) {
      FramePtr picture = MakePicture(format, width, 3);
      picture->color_range = AVCOL_RANGE_JPEG;
      const auto pattern = [](int x, int y) { return (x * 37 + y * 91 + 5) % 256; };
      for (int component = 0; component < 3; ++component) {
        if (format != AV_PIX_FMT_GBRP && component > 0) {
          FillComponent(picture.get(), component, 128 << (depth - 8));
          continue;
        }
        for (int y = 0; y < 3; ++y) {
          for (int x = 0; x < width; ++x) {
            PutSample(picture.get(), component, x, y, pattern(x, y) << (depth - 8));
          }
        }
      }
      const std::vector<uint8_t> got = Convert(*picture, width, 3);
      for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < width; ++x) {
          const double want = depth == 8 ? pattern(x, y) : pattern(x, y) * 4 * 255.0 / 1023;
          for (int c = 0; c < 3; ++c) {
            ASSERT_NEAR(want, got[static_cast<size_t>((y * width + x) * 4 + c)], 0.6)
                << av_get_pix_fmt_name(format) << " width " << width << " at " << x << ',' << y;
          }
        }
      }
    }
  }
}

// Chroma lies on the left of its pair and between two lines: a ramp stays a ramp.
TEST(PictureConverter, ChromaIsInterpolatedWhereItLies) {
  FramePtr picture = MakePicture(AV_PIX_FMT_YUV420P, 64, 32);
  picture->colorspace = AVCOL_SPC_SMPTE170M;
  picture->color_range = AVCOL_RANGE_JPEG;
  FillComponent(picture.get(), 0, 128);
  FillComponent(picture.get(), 1, 128);
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 32; ++x) PutSample(picture.get(), 2, x, y, 96 + x + 2 * y);
  }
  const std::vector<uint8_t> got = Convert(*picture, 64, 32);
  for (int y = 1; y < 31; ++y) {
    for (int x = 0; x < 62; ++x) {
      const double cr = 96 + x / 2.0 + 2 * ((y - 0.5) / 2.0);
      ASSERT_NEAR(128 + 1.402 * (cr - 128), got[static_cast<size_t>((y * 64 + x) * 4 + 2)], 0.7)
          << x << ',' << y;
    }
  }
}

TEST(PictureConverter, OrientationMovesTheCorners) {
  // The top left pixel pair is white, the rest black.
  FramePtr picture = MakePicture(AV_PIX_FMT_YUV444P, 6, 4);
  picture->color_range = AVCOL_RANGE_JPEG;
  FillComponent(picture.get(), 0, 0);
  FillComponent(picture.get(), 1, 128);
  FillComponent(picture.get(), 2, 128);
  PutSample(picture.get(), 0, 0, 0, 255);
  PutSample(picture.get(), 0, 1, 0, 255);
  struct Case {
    kiv::Orientation orientation;
    int width, height, x1, y1, x2, y2;
  };
  const Case cases[] = {
      {{0, false}, 6, 4, 0, 0, 1, 0},   {{90, false}, 4, 6, 3, 0, 3, 1},
      {{180, false}, 6, 4, 5, 3, 4, 3}, {{270, false}, 4, 6, 0, 5, 0, 4},
      {{0, true}, 6, 4, 5, 0, 4, 0},    {{90, true}, 4, 6, 3, 5, 3, 4},
  };
  for (const Case& c : cases) {
    const std::vector<uint8_t> got = Convert(*picture, c.width, c.height, c.orientation);
    const auto light = [&](int x, int y) {
      return got[static_cast<size_t>((y * c.width + x) * 4)];
    };
    int white = 0;
    for (int y = 0; y < c.height; ++y) {
      for (int x = 0; x < c.width; ++x) white += light(x, y) == 255;
    }
    EXPECT_EQ(2, white);
    EXPECT_EQ(255, light(c.x1, c.y1)) << c.orientation.rotation << c.orientation.mirrored;
    EXPECT_EQ(255, light(c.x2, c.y2)) << c.orientation.rotation << c.orientation.mirrored;
  }
}

TEST(PictureConverter, AlphaIsKeptInEveryForm) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA444P10, AV_PIX_FMT_GBRAP, AV_PIX_FMT_RGBA}) {
    const int top = (1 << DepthOf(format)) - 1;
    FramePtr picture = MakePicture(format, 20, 4);
    for (int component = 0; component < 3; ++component) {
      FillComponent(picture.get(), component, top / 2 + 1);
    }
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 20; ++x) PutSample(picture.get(), 3, x, y, x * top / 19);
    }
    const std::vector<uint8_t> got = Convert(*picture, 20, 4);
    for (int x = 0; x < 20; ++x) {
      EXPECT_NEAR(x * 255.0 / 19, got[static_cast<size_t>(x * 4 + 3)], 1.0)
          << av_get_pix_fmt_name(format) << " at " << x;
    }
  }
}

TEST(PictureConverter, PalettesAndGreyComeOutAsTheirColours) {
  FramePtr indexed = MakePicture(AV_PIX_FMT_PAL8, 8, 2);
  FillComponent(indexed.get(), 0, 3);
  reinterpret_cast<uint32_t*>(indexed->data[1])[3] = 0xFF204060;
  const std::vector<uint8_t> colour = Convert(*indexed, 8, 2);
  EXPECT_EQ(0x60, colour[0]);
  EXPECT_EQ(0x40, colour[1]);
  EXPECT_EQ(0x20, colour[2]);

  FramePtr grey = MakePicture(AV_PIX_FMT_GRAY8, 33, 2);
  FillComponent(grey.get(), 0, 77);
  const std::vector<uint8_t> light = Convert(*grey, 33, 2);
  EXPECT_EQ(77, light[4 * 32]);
  EXPECT_EQ(77, light[4 * 32 + 2]);
}

TEST(PictureConverter, RefusesWhatItCannotConvert) {
  FramePtr picture = MakePicture(AV_PIX_FMT_YUV420P, 8, 8);
  uint8_t pixel[4];
  kiv::PictureConverter converter;
  EXPECT_EQ(E_INVALIDARG, converter.Convert(*picture, {}, {0, 8}, pixel));
  EXPECT_EQ(E_INVALIDARG, converter.Convert(*picture, {}, {8, 8}, nullptr));
}

}  // namespace
