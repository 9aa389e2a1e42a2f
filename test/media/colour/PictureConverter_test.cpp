// Colours, edges, orientation and alpha of converted pictures, against exact arithmetic.
#include "engine/media/colour/PictureConverter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
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

FramePtr MakePicture(AVPixelFormat format, int width, int height, const std::vector<int>& codes,
                     AVColorRange range = AVCOL_RANGE_UNSPECIFIED) {
  FramePtr frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  frame->color_range = range;
  EXPECT_EQ(0, av_frame_get_buffer(frame.get(), 0));
  for (size_t i = 0; i < codes.size(); ++i)
    FillComponent(frame.get(), static_cast<int>(i), codes[i]);
  return frame;
}

// Samples of 0 to 255 that differ from their neighbours.
FramePtr MakePattern(AVPixelFormat format, int width, int height) {
  FramePtr frame = MakePicture(format, width, height, {});
  const AVPixFmtDescriptor& form = *av_pix_fmt_desc_get(format);
  for (int component = 0; component < form.nb_components; ++component) {
    const bool chroma = component == 1 || component == 2;
    for (int y = 0; y < (chroma ? AV_CEIL_RSHIFT(height, form.log2_chroma_h) : height); ++y) {
      for (int x = 0; x < (chroma ? AV_CEIL_RSHIFT(width, form.log2_chroma_w) : width); ++x) {
        PutSample(frame.get(), component, x, y, (x * 7 + y * 13 + component * 50) & 255);
      }
    }
  }
  return frame;
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

std::vector<uint8_t> Convert(const AVFrame& picture, int width, int height) {
  // Bytes after the picture show a write past its end.
  std::vector<uint8_t> bgra(static_cast<size_t>(width * height * 4 + 64), 0xA5);
  kiv::PictureConverter converter;
  EXPECT_EQ(S_OK, converter.Convert(picture, {}, {width, height}, bgra.data()));
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

// Half of the pictures are scaled.
double WorstFlatError(AVPixelFormat format, const MatrixCase& matrix, bool full) {
  const int depth = DepthOf(format);
  const int unit = 1 << (depth - 8);
  double worst = 0;
  for (const int luma : {16, 41, 100, 126, 180, 235}) {
    for (const int cb : {16, 90, 128, 184, 240}) {
      for (const int cr : {16, 110, 128, 202, 240}) {
        std::vector<int> codes{luma * unit, cb * unit, cr * unit};
        if (av_pix_fmt_desc_get(format)->nb_components == 4) codes.push_back((1 << depth) - 1);
        const FramePtr picture =
            MakePicture(format, 38, 10, codes, full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG);
        picture->colorspace = matrix.tag;
        const Bgra want =
            Exact(luma * unit, cb * unit, cr * unit, matrix.kr, matrix.kb, full, depth);
        const std::vector<uint8_t> got =
            Convert(*picture, luma > 100 ? 38 : 101, luma > 100 ? 10 : 33);
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
        EXPECT_LT(WorstFlatError(format, matrix, full), 0.6)
            << av_get_pix_fmt_name(format) << ' ' << matrix.name << " full " << full;
      }
    }
  }
}

TEST(PictureConverter, UntaggedPicturesTakeTheMatrixOfTheirSize) {
  const KivSize sizes[] = {{720, 576}, {1280, 720}, {720, 1280}};
  for (const KivSize size : sizes) {
    const MatrixCase& matrix = kMatrices[size.width == 720 && size.height == 576 ? 0 : 1];
    const FramePtr picture =
        MakePicture(AV_PIX_FMT_YUV420P, size.width, size.height, {81, 90, 240});
    const Bgra want = Exact(81, 90, 240, matrix.kr, matrix.kb, false, 8);
    const std::vector<uint8_t> got = Convert(*picture, size.width, size.height);
    EXPECT_NEAR(want.g, got[1], 0.6) << size.width << 'x' << size.height;
    EXPECT_NEAR(want.r, got[2], 0.6) << size.width << 'x' << size.height;
  }
}

// The undefined-behaviour sanitizer refuses an enumeration that holds any other number.
TEST(PictureConverter, TagsThatNothingDefinesCountAsNone) {
  const auto untagged = MakePicture(AV_PIX_FMT_YUV420P, 32, 16, {81, 90, 240});
  const auto damaged = MakePicture(AV_PIX_FMT_YUV420P, 32, 16, {81, 90, 240});
  const int undefined = 77;
  std::memcpy(&damaged->chroma_location, &undefined, sizeof(undefined));
  std::memcpy(&damaged->colorspace, &undefined, sizeof(undefined));
  std::memcpy(&damaged->color_range, &undefined, sizeof(undefined));
  EXPECT_EQ(Convert(*untagged, 32, 16), Convert(*damaged, 32, 16));
}

// Every width from 1 on meets another tail; luma detail must come through pixel by pixel.
TEST(PictureConverter, EveryWidthConvertsEveryPixel) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P10, AV_PIX_FMT_GBRP}) {
    const int depth = DepthOf(format);
    for (int width = 1; width <= 70; ++width) {
      const int neutral = 128 << (depth - 8);
      const FramePtr picture =
          MakePicture(format, width, 3, {0, neutral, neutral}, AVCOL_RANGE_JPEG);
      const auto pattern = [](int at) { return (at * 37 + at / 64 * 91 + 5) % 256; };
      for (int i = 0; i < 3 * width; ++i) {
        for (int component = 0; component < (format == AV_PIX_FMT_GBRP ? 3 : 1); ++component) {
          PutSample(picture.get(), component, i % width, i / width, pattern(i) << (depth - 8));
        }
      }
      const std::vector<uint8_t> got = Convert(*picture, width, 3);
      for (int i = 0; i < 12 * width; ++i) {
        if (i % 4 == 3) continue;
        const double want = depth == 8 ? pattern(i / 4) : pattern(i / 4) * 4 * 255.0 / 1023;
        ASSERT_NEAR(want, got[static_cast<size_t>(i)], 0.6)
            << av_get_pix_fmt_name(format) << " width " << width << " at byte " << i;
      }
    }
  }
}

// Chroma lies on the left of its pair and between two lines: a ramp stays a ramp.
TEST(PictureConverter, ChromaIsInterpolatedWhereItLies) {
  const FramePtr picture = MakePicture(AV_PIX_FMT_YUV420P, 64, 32, {128, 128}, AVCOL_RANGE_JPEG);
  picture->colorspace = AVCOL_SPC_SMPTE170M;
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

// A stream's header may cut off columns, so that rows begin anywhere.
TEST(PictureConverter, RowsMayBeginAnywhere) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV420P10LE,
        AV_PIX_FMT_NV12, AV_PIX_FMT_P010LE, AV_PIX_FMT_GRAY8, AV_PIX_FMT_GBRP, AV_PIX_FMT_YUVA420P,
        AV_PIX_FMT_YUV440P, AV_PIX_FMT_YUV411P, AV_PIX_FMT_YUV444P16LE, AV_PIX_FMT_RGB24}) {
    for (const size_t left : {size_t{4}, size_t{12}, size_t{20}, size_t{36}}) {
      SCOPED_TRACE(av_get_pix_fmt_name(format) + (" " + std::to_string(left)));
      const FramePtr cut = MakePattern(format, 136, 24);
      cut->crop_left = left;
      ASSERT_EQ(0, av_frame_apply_cropping(cut.get(), AV_FRAME_CROP_UNALIGNED));
      const FramePtr copy = MakePicture(format, cut->width, cut->height, {});
      ASSERT_EQ(0, av_frame_copy(copy.get(), cut.get()));
      EXPECT_EQ(Convert(*copy, copy->width, 24), Convert(*cut, copy->width, 24));
      EXPECT_EQ(Convert(*copy, 50, 11), Convert(*cut, 50, 11));
    }
  }
}

TEST(PictureConverter, PalettesComeOutAsTheirColours) {
  FramePtr indexed = MakePicture(AV_PIX_FMT_PAL8, 8, 2, {3});
  reinterpret_cast<uint32_t*>(indexed->data[1])[3] = 0xFF204060;
  const std::vector<uint8_t> colour = Convert(*indexed, 8, 2);
  EXPECT_EQ((std::vector<uint8_t>{0x60, 0x40, 0x20, 0xFF}),
            std::vector<uint8_t>(colour.begin(), colour.begin() + 4));
}

}  // namespace
