#include "engine/media/ImageFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "engine/common/PathService.h"
#include "engine/logger/Logger.h"
#include "kiv/platform/KivCommon.h"
#include "test/common/TemporaryFolder.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace kiv {
namespace {

using Pixels = std::vector<uint32_t>;

void AppendLittle(std::string& bytes, uint32_t value, int count) {
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(value >> (8 * i));
}

// 32-bit bottom-up BMP without a colour mask, or 24-bit with `bits` 24.
std::string Bmp(int32_t width, int32_t height, uint32_t bits, const Pixels& rows) {
  std::string bytes = "BM";
  for (const uint32_t field :
       {0U, 0U, 54U, 40U, static_cast<uint32_t>(width), static_cast<uint32_t>(height),
        1U | bits << 16, 0U, 0U, 0U, 0U, 0U, 0U}) {
    AppendLittle(bytes, field, 4);
  }
  for (size_t row = rows.size() / static_cast<size_t>(width); row-- > 0;) {
    const size_t start = bytes.size();
    for (size_t x = 0; x < static_cast<size_t>(width); ++x) {
      AppendLittle(bytes, rows[row * static_cast<size_t>(width) + x], static_cast<int>(bits / 8));
    }
    while ((bytes.size() - start) % 4 != 0) bytes += '\0';
  }
  std::string size;
  AppendLittle(size, static_cast<uint32_t>(bytes.size()), 4);
  return bytes.replace(2, 4, size);
}

std::string Targa(uint16_t width, uint16_t height, const Pixels& rows) {
  std::string bytes("\0\0\2\0\0\0\0\0\0\0\0\0", 12);
  AppendLittle(bytes, width, 2);
  AppendLittle(bytes, height, 2);
  bytes += {32, 0x28};  // bits, top row first with 8 bits of alpha
  for (const uint32_t pixel : rows) AppendLittle(bytes, pixel, 4);
  return bytes;
}

// The first `split` columns take the first value of each plane, the others the second.
std::string Encode(AVCodecID id, AVPixelFormat format, int width, int height, int split,
                   const std::vector<std::pair<uint8_t, uint8_t>>& planes) {
  AVCodecContext* codec = avcodec_alloc_context3(avcodec_find_encoder(id));
  codec->width = width;
  codec->height = height;
  codec->pix_fmt = format;
  codec->time_base = {1, 25};
  codec->flags |= AV_CODEC_FLAG_QSCALE;
  codec->global_quality = FF_QP2LAMBDA * 2;
  EXPECT_GE(avcodec_open2(codec, nullptr, nullptr), 0);
  AVFrame* picture = av_frame_alloc();
  picture->width = width;
  picture->height = height;
  picture->format = format;
  picture->quality = codec->global_quality;
  av_frame_get_buffer(picture, 0);
  const auto stepBytes = static_cast<int>(planes.size()) == 1 ? 4 : 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width * stepBytes; ++x) {
      for (size_t plane = 0; plane < planes.size(); ++plane) {
        picture->data[plane][y * picture->linesize[plane] + x] =
            x / stepBytes < split ? planes[plane].first : planes[plane].second;
      }
    }
  }
  AVPacket* packet = av_packet_alloc();
  avcodec_send_frame(codec, picture);
  avcodec_send_frame(codec, nullptr);
  EXPECT_EQ(0, avcodec_receive_packet(codec, packet));
  std::string bytes(reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size));
  av_packet_free(&packet);
  av_frame_free(&picture);
  avcodec_free_context(&codec);
  return bytes;
}

std::string Jpeg(int split, uint8_t left, uint8_t right) {
  return Encode(AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P, 16, 8, split,
                {{left, right}, {128, 128}, {128, 128}});
}

std::string Png(uint8_t value) {
  return Encode(AV_CODEC_ID_PNG, AV_PIX_FMT_RGBA, 16, 8, 16, {{value, value}});
}

class ImageFile : public testing::Test {
 protected:
  void SetUp() override {
    SetLogCallback([](LogLevel, const char*) {});
  }
  void TearDown() override { SetLogCallback(nullptr); }

  KivComPtr<IKivBitmap> Load(const std::string& name, const std::string& bytes) {
    return KivCommon::ImageFunc::CreateBitmapFromFile(folder_.Write(name, bytes).c_str());
  }
  static Pixels PixelsOf(const KivComPtr<IKivBitmap>& bitmap) {
    if (!bitmap) return {};
    const auto* const pixels = static_cast<const uint32_t*>(bitmap->GetPixels());
    return {pixels, pixels + bitmap->GetWidth() * bitmap->GetHeight()};
  }

  TemporaryFolder folder_;
};

const Pixels kSix = {0xFF0000FF, 0xFF00FF00, 0xFFFF0000, 0xFF102030, 0xFFFFFFFF, 0xFF000000};

TEST_F(ImageFile, ReadsTheFormatsByTheirContent) {
  EXPECT_EQ(kSix, PixelsOf(Load("a.bmp", Bmp(3, 2, 24, kSix))));
  EXPECT_EQ(kSix, PixelsOf(Load("wrong.jpg", Bmp(3, 2, 24, kSix))));
  const std::string ppm("P6\n2 1 255\n\x10\x20\x30\xFF\x80\x01", 17);
  EXPECT_EQ((Pixels{0xFF102030, 0xFFFF8001}), PixelsOf(Load("noextension", ppm)));
  EXPECT_EQ(Pixels(16 * 8, 0x64646464), PixelsOf(Load("a.png", Png(100))));
}

TEST_F(ImageFile, TargaIsToldByItsName) {
  const Pixels pixels = {0x80102030, 0xFF000001};
  EXPECT_EQ(pixels, PixelsOf(Load("a.TGA", Targa(1, 2, pixels))));
}

TEST_F(ImageFile, JpegsUseTheWholeRange) {
  const Pixels dark = PixelsOf(Load("a.jpg", Jpeg(16, 16, 16)));
  const Pixels light = PixelsOf(Load("b.jpg", Jpeg(16, 235, 235)));
  ASSERT_EQ(128U, dark.size());
  ASSERT_EQ(128U, light.size());
  EXPECT_NEAR(16, dark[60] & 0xFF, 1);
  EXPECT_NEAR(235, light[60] & 0xFF, 1);
}

TEST_F(ImageFile, ACameraHeldUprightGivesAnUprightPicture) {
  // A big-endian Exif block with the one tag 0x0112 (orientation) = 6: rotate a quarter clockwise.
  const std::string exif(
      "\xFF\xE1\0\x22"
      "Exif\0\0MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01"
      "\0\x06\0\0\0\0\0\0",
      36);
  std::string bytes = Jpeg(8, 0, 255);
  bytes.insert(2, exif);
  const auto bitmap = Load("a.jpg", bytes);
  ASSERT_TRUE(bitmap);
  EXPECT_EQ(8, bitmap->GetWidth());
  EXPECT_EQ(16, bitmap->GetHeight());
  const Pixels pixels = PixelsOf(bitmap);
  EXPECT_LT(pixels[3] & 0xFF, 20U);            // the left side is on top now
  EXPECT_GT(pixels[15 * 8 + 3] & 0xFF, 235U);  // and the right side below
}

TEST_F(ImageFile, AFrameIsReadTheSameWay) {
  const std::wstring path = folder_.Write("a.bmp", Bmp(3, 2, 24, kSix));
  const auto frame = KivCommon::Dbg::LoadVideoFrameFromBmpFile(path.c_str());
  ASSERT_TRUE(frame);
  EXPECT_EQ(kSix, PixelsOf(KivComPtr<IKivBitmap>(frame->GetBitmap())));
}

TEST_F(ImageFile, MediaLocationsAndOddNamesAreFilesOnly) {
  folder_.Write("pictures/frame%03d.bmp", Bmp(1, 1, 24, {0xFF000007}));
  folder_.Write("pictures/frame001.bmp", Bmp(1, 1, 24, {0xFF000001}));
  SetMediaRoot((folder_ / "pictures").wstring());
  EXPECT_EQ((Pixels{0xFF000007}),
            PixelsOf(KivCommon::ImageFunc::CreateBitmapFromFile(L"media://frame%03d.bmp")));
  SetMediaRoot(L"");
}

TEST_F(ImageFile, WhatIsNoPictureIsRefused) {
  const std::wstring picture = folder_.Write("a.png", Png(9));
  mkfifo((folder_ / "pipe.png").c_str(), 0600);
  EXPECT_FALSE(Load("empty.png", ""));
  EXPECT_FALSE(Load("text.png", "no picture at all\n"));
  EXPECT_FALSE(Load("list.ffconcat", "ffconcat version 1.0\nfile 'a.png'\nduration 1\n"));
  EXPECT_FALSE(Load("list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\na.png\n"));
  for (const std::wstring& path :
       {(folder_ / "").wstring(), (folder_ / "none.png").wstring(), L"file:" + picture,
        (folder_ / "pipe.png").wstring(), std::wstring(L"/dev/zero"),
        std::wstring(L"http://localhost/a.png"), L"concat:" + picture, std::wstring()}) {
    EXPECT_FALSE(KivCommon::ImageFunc::CreateBitmapFromFile(path.c_str()));
  }
  EXPECT_FALSE(KivCommon::ImageFunc::CreateBitmapFromFile(nullptr));
  EXPECT_FALSE(KivCommon::Dbg::LoadVideoFrameFromBmpFile(nullptr));
}

TEST_F(ImageFile, AnnouncedSizesBeyondTheLimitsAreRefused) {
  EXPECT_FALSE(Load("wide.bmp", Bmp(40000, 1, 24, {})));
  EXPECT_FALSE(Load("huge.bmp", Bmp(0x7FFFFFFF, 0x7FFFFFFF, 24, {})));
  EXPECT_FALSE(Load("large.bmp", Bmp(32767, 32767, 32, {})));
  const Pixels line(40000, 0xFF112233);
  EXPECT_FALSE(Load("line.bmp", Bmp(40000, 1, 24, line)));
}

TEST_F(ImageFile, DamagedFilesGiveAPictureOrNothing) {
  constexpr uint32_t kSeed = 20240611;
  std::mt19937 random(kSeed);
  const std::vector<std::string> originals = {Bmp(3, 2, 24, kSix), Png(100), Jpeg(8, 10, 200),
                                              Targa(2, 3, kSix)};
  int refused = 0;
  for (int round = 0; round < 400; ++round) {
    std::string bytes = originals[static_cast<size_t>(round) % originals.size()];
    for (uint32_t flips = 1 + random() % 8; flips > 0; --flips) {
      bytes[random() % bytes.size()] ^= static_cast<char>(1U << random() % 8);
    }
    if (random() % 3 == 0) bytes.resize(random() % bytes.size());
    const auto bitmap = Load(round % 4 == 3 ? "m.tga" : "m", bytes);
    refused += !bitmap;
    if (bitmap) {
      EXPECT_NE(nullptr, bitmap->GetPixels()) << "seed " << kSeed;
    }
  }
  EXPECT_GT(refused, 20);
  EXPECT_LT(refused, 400);
}

}  // namespace
}  // namespace kiv
