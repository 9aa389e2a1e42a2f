#include "engine/media/ImageFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "engine/logger/Logger.h"
#include "engine/registry/PathService.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/Base64.h"
#include "test/support/TemporaryFolder.h"

namespace kiv {
namespace {

using Pixels = std::vector<uint32_t>;

std::string Bytes(const char* base64) {
  std::string bytes(Base64DecodedCapacity(std::strlen(base64)), '\0');
  bytes.resize(Base64Decode(reinterpret_cast<uint8_t*>(bytes.data()), base64));
  return bytes;
}

// 3 x 2, the pixels of kSix.
const std::string kBmp = Bytes(
    "Qk1OAAAAAAAAADYAAAAoAAAAAwAAAAIAAAABABgAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAMCAQ////"
    "AAAAAAAA/wAAAP8AAAD/AAAA");
// 2 x 1 with alpha.
const std::string kPng = Bytes(
    "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAYAAAD0In+KAAAAEUlEQVR42mPgEpH7r2FkkwIACKYCNnfm"
    "628AAAAASUVORK5CYII=");
// 1 x 2 with alpha.
const std::string kTarga = Bytes("AAACAAAAAAAAAAAAAQACACAoMCAQgAEAAP8=");
// 16 x 8, three full planes of one table: the left half has a brightness of 16, the right of 235.
const std::string kJpeg = Bytes(
    "/9j/2wBDAAEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEB"
    "AQEBAQEBAQEBAQH/wAARCAAIABADAREAAhEAAxEA/8QAKAABAQEAAAAAAAAAAAAAAAAAAAoLEAEAAAAA"
    "AAAAAAAAAAAAAAAA/9oADAMBAAIAAwAAPwCH8G2wD//Z");

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
  EXPECT_EQ(kSix, PixelsOf(Load("wrong.jpg", kBmp)));
  const std::string ppm("P6\n2 1 255\n\x10\x20\x30\xFF\x80\x01", 17);
  EXPECT_EQ((Pixels{0xFF102030, 0xFFFF8001}), PixelsOf(Load("noextension", ppm)));
  EXPECT_EQ((Pixels{0xFF0A141E, 0x6428323C}), PixelsOf(Load("a.png", kPng)));
  const Pixels two = {0x80102030, 0xFF000001};
  EXPECT_EQ(two, PixelsOf(Load("a.TGA", kTarga))) << "told by its name";
  const Pixels jpeg = PixelsOf(Load("a.jpg", kJpeg));
  ASSERT_EQ(128U, jpeg.size());
  EXPECT_NEAR(16, jpeg[66] & 0xFF, 1) << "the whole range";
  EXPECT_NEAR(235, jpeg[76] & 0xFF, 1);
  const auto frame =
      KivCommon::Dbg::LoadVideoFrameFromBmpFile(folder_.Write("a.bmp", kBmp).c_str());
  ASSERT_TRUE(frame);
  EXPECT_EQ(kSix, PixelsOf(KivComPtr<IKivBitmap>(frame->GetBitmap())));
}

TEST_F(ImageFile, ACameraHeldUprightGivesAnUprightPicture) {
  // A big-endian Exif block with the one tag 0x0112 (orientation) = 6: rotate a quarter clockwise.
  const std::string exif(
      "\xFF\xE1\0\x22"
      "Exif\0\0MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01"
      "\0\x06\0\0\0\0\0\0",
      36);
  const auto bitmap = Load("a.jpg", std::string(kJpeg).insert(2, exif));
  ASSERT_TRUE(bitmap);
  EXPECT_EQ(8, bitmap->GetWidth());
  EXPECT_EQ(16, bitmap->GetHeight());
  const Pixels pixels = PixelsOf(bitmap);
  EXPECT_NEAR(16, pixels[3] & 0xFF, 1) << "the left side is on top";
  EXPECT_NEAR(235, pixels[15 * 8 + 3] & 0xFF, 1);
}

TEST_F(ImageFile, MediaLocationsAndOddNamesAreFilesOnly) {
  folder_.Write("pictures/frame%03d.bmp", kBmp);
  folder_.Write("pictures/frame001.bmp", kPng);
  SetMediaRoot((folder_ / "pictures").wstring());
  EXPECT_EQ(kSix, PixelsOf(KivCommon::ImageFunc::CreateBitmapFromFile(L"media://frame%03d.bmp")));
  SetMediaRoot(L"");
}

TEST_F(ImageFile, WhatIsNoPictureIsRefused) {
  const std::wstring picture = folder_.Write("a.png", kPng);
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
  EXPECT_FALSE(Load("huge.ppm", "P6\n2147483647 2147483647 255\n"));
  EXPECT_FALSE(Load("large.ppm", "P6\n32767 32767 255\n"));
  EXPECT_FALSE(Load("line.ppm", "P6\n40000 1 255\n" + std::string(120000, '\1')));
}

TEST_F(ImageFile, DamagedFilesGiveAPictureOrNothing) {
  std::mt19937 random(20240611);
  const std::string* const originals[] = {&kBmp, &kPng, &kJpeg, &kTarga};
  int refused = 0;
  for (int round = 0; round < 400; ++round) {
    std::string bytes = *originals[round % 4];
    for (uint32_t flips = 1 + random() % 8; flips > 0; --flips) {
      bytes[random() % bytes.size()] ^= static_cast<char>(1U << random() % 8);
    }
    if (random() % 3 == 0) bytes.resize(random() % bytes.size());
    refused += PixelsOf(Load(round % 4 == 3 ? "m.tga" : "m", bytes)).empty();
  }
  EXPECT_GT(refused, 20);
  EXPECT_LT(refused, 400);
}

}  // namespace
}  // namespace kiv
