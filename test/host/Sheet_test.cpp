// sheet: every frame of the result is there, in order and labelled.
#include <gtest/gtest.h>

#include <cstdint>
#include <set>

#include "kiv/platform/KivCommon.h"
#include "test/host/GreyClip.h"
#include "test/host/RunProgram.h"
#include "test/media/WriterReadBack.h"

namespace {

// 20 frames of 64x48 make 5 columns of 320x240 tiles over labels of 22 lines, 4 pixels apart.
constexpr int kColumns = 5;
constexpr int kTileStepX = 320 + 4;
constexpr int kTileStepY = 240 + 22 + 4;

class Sheet : public testing::Test {
 protected:
  void Make(const std::vector<std::string>& options) {
    WriteGreyClip(folder_.Path("clip.mkv"));
    std::vector<std::string> arguments{"sheet", folder_.Path("clip.mkv"), "-o",
                                       folder_.Path("sheet.png")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProgramResult result = RunKivclip(arguments);
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ("", result.out);
    const std::wstring path = KivCommon::Char2WChar(folder_.Path("sheet.png").c_str());
    sheet_ = KivCommon::ImageFunc::CreateBitmapFromFile(path.c_str());
    ASSERT_TRUE(sheet_);
  }
  uint32_t Pixel(int x, int y) const {
    const auto* const pixels = static_cast<const uint32_t*>(sheet_->GetPixels());
    return pixels[y * sheet_->GetWidth() + x];
  }
  int MiddleOfTile(int tile) const {
    const int x = 4 + tile % kColumns * kTileStepX + 160;
    const int y = 4 + tile / kColumns * kTileStepY + 120;
    return static_cast<int>(Pixel(x, y) & 255);
  }
  // The label's dots as one number.
  size_t InkOfLabel(int tile) const {
    size_t ink = 0;
    const int left = 4 + tile % kColumns * kTileStepX;
    const int top = 4 + tile / kColumns * kTileStepY + 240;
    for (int y = top; y < top + 22; ++y) {
      for (int x = left; x < left + 320; ++x) {
        if ((Pixel(x, y) & 255) > 128)
          ink = ink * 31 + static_cast<size_t>((y - top) * 320 + x - left);
      }
    }
    return ink;
  }

  TestFolder folder_;
  KivComPtr<IKivBitmap> sheet_;
};

TEST_F(Sheet, ShowsEveryFrameInOrderUnderItsOwnLabel) {
  ASSERT_NO_FATAL_FAILURE(Make({}));
  EXPECT_EQ(5 * kTileStepX + 4, sheet_->GetWidth());
  EXPECT_EQ(4 * kTileStepY + 4, sheet_->GetHeight());
  std::set<size_t> labels;
  for (int tile = 0; tile < 20; ++tile) {
    EXPECT_NEAR(GreyOf(tile), MiddleOfTile(tile), 3) << tile;
    EXPECT_NE(0u, InkOfLabel(tile)) << tile;
    labels.insert(InkOfLabel(tile));
  }
  EXPECT_EQ(20u, labels.size());
}

TEST_F(Sheet, KeepsToTheFramesAskedFor) {
  ASSERT_NO_FATAL_FAILURE(Make({"--frames", "7:7"}));
  EXPECT_EQ(480 + 8, sheet_->GetWidth());
  EXPECT_NEAR(GreyOf(7), static_cast<int>(Pixel(4 + 240, 4 + 180) & 255), 3);
}

}  // namespace
