// Packing gives back every bit, whatever the form and the contents.
#include "engine/media/keep/PackedPicture.h"

#include <gtest/gtest.h>

#include <random>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

using kiv::AvPtr;

enum class Contents { kFlat, kSlope, kGrain, kNoise };

uint8_t ByteOf(Contents contents, int x, int y, uint_fast32_t random) {
  if (contents == Contents::kFlat) return 77;
  if (contents == Contents::kSlope) return static_cast<uint8_t>(x / 3 + 2 * y);
  if (contents == Contents::kGrain) return static_cast<uint8_t>(100 + random % 7 + x / 8);
  return static_cast<uint8_t>(random);
}

AvPtr<AVFrame> Draw(AVPixelFormat format, int width, int height, Contents contents) {
  AvPtr<AVFrame> picture = kiv::NewFrame();
  picture->format = format;
  picture->width = width;
  picture->height = height;
  EXPECT_EQ(0, av_frame_get_buffer(picture.get(), 0));
  std::mt19937 random(7);
  for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
    const bool chroma = plane == 1 || plane == 2;
    const int rows =
        chroma ? AV_CEIL_RSHIFT(height, av_pix_fmt_desc_get(format)->log2_chroma_h) : height;
    const int bytes = av_image_get_linesize(format, width, plane);
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < bytes; ++x) {
        picture->data[plane][y * picture->linesize[plane] + x] = ByteOf(contents, x, y, random());
      }
    }
  }
  return picture;
}

std::vector<uint8_t> BytesOf(const AVFrame& picture) {
  const auto format = static_cast<AVPixelFormat>(picture.format);
  const int size = av_image_get_buffer_size(format, picture.width, picture.height, 1);
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  av_image_copy_to_buffer(bytes.data(), size, picture.data, picture.linesize, format, picture.width,
                          picture.height, 1);
  return bytes;
}

TEST(PackedPicture, GivesBackEveryBit) {
  const auto unpacked = kiv::NewFrame();  // one for all, as a decoder does
  kiv::PackScratch scratch;
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVA444P, AV_PIX_FMT_NV12,
        AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24, AV_PIX_FMT_BGRA, AV_PIX_FMT_GBRP,
        AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE, AV_PIX_FMT_YUV444P12LE, AV_PIX_FMT_RGB48LE}) {
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 3}, {64, 4}, {131, 19}, {640, 37}}) {
      for (const Contents contents :
           {Contents::kFlat, Contents::kSlope, Contents::kGrain, Contents::kNoise}) {
        SCOPED_TRACE(av_get_pix_fmt_name(format) + (" " + std::to_string(width)) + "x" +
                     std::to_string(height) + " " + std::to_string(static_cast<int>(contents)));
        const auto picture = Draw(format, width, height, contents);
        picture->pts = 42;
        picture->color_range = AVCOL_RANGE_JPEG;
        const auto packed = kiv::PackedPicture::Pack(*picture, &scratch);
        ASSERT_NE(nullptr, packed);
        ASSERT_EQ(0, packed->Unpack(unpacked.get()));
        ASSERT_EQ(BytesOf(*picture), BytesOf(*unpacked));
        EXPECT_EQ(42, unpacked->pts);
        EXPECT_EQ(AVCOL_RANGE_JPEG, unpacked->color_range);
      }
    }
  }
}

TEST(PackedPicture, TakesLittleMoreThanHalfForGrain) {
  kiv::PackScratch scratch;
  const auto bytesFor = [&](Contents contents) {
    const auto picture = Draw(AV_PIX_FMT_YUV420P, 1920, 1080, contents);
    return static_cast<double>(kiv::PackedPicture::Pack(*picture, &scratch)->Bytes()) /
           (1920 * 1080 * 1.5);
  };
  EXPECT_LT(bytesFor(Contents::kFlat), 0.1);
  EXPECT_LT(bytesFor(Contents::kGrain), 0.6);
  EXPECT_LT(bytesFor(Contents::kNoise), 1.15);
}

TEST(PackedPicture, LeavesOtherFormsAlone) {
  kiv::PackScratch scratch;
  for (const AVPixelFormat format : {AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK, AV_PIX_FMT_GBRPF32LE}) {
    const auto picture = Draw(format, 32, 8, Contents::kFlat);
    EXPECT_EQ(nullptr, kiv::PackedPicture::Pack(*picture, &scratch));
  }
}

}  // namespace
