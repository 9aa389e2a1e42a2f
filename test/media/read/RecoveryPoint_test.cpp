// Which packets of H.264 begin a renewal by parts.
#include "engine/media/read/RecoveryPoint.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// A message unit's bytes: kind 6, two bytes long. 0x2C.. counts 4 pictures, 0xC0.. none.
constexpr uint8_t kMessage = 0x06;
constexpr uint8_t kSlice = 0x41;

TEST(RecoveryPoint, IsGradualWhenItCountsPictures) {
  const struct {
    const char* name;
    Bytes packet;
    int lengthBytes;
    bool gradual;
  } cases[] = {
      {"start codes", {0, 0, 0, 1, kMessage, 6, 2, 0x2C, 0x40, 0x80, 0, 0, 1, kSlice, 9}, 0, true},
      {"none to wait for", {0, 0, 1, kMessage, 6, 1, 0xC4, 0x80, 0, 0, 1, kSlice, 9}, 0, false},
      {"lengths", {0, 0, 0, 6, kMessage, 6, 2, 0x2C, 0x40, 0x80, 0, 0, 0, 2, kSlice, 9}, 4, true},
      {"short lengths", {0, 6, kMessage, 6, 2, 0x2C, 0x40, 0x80, 0, 2, kSlice, 9}, 2, true},
      {"behind another message", {0, 0, 1, kMessage, 5, 2, 7, 7, 6, 2, 0x2C, 0x40, 0x80}, 0, true},
      {"behind escaped zeros",
       {0, 0, 1, kMessage, 5, 3, 0, 0, 3, 1, 6, 2, 0x2C, 0x40, 0x80, 0, 0, 1, kSlice},
       0,
       true},
      {"behind the slice",
       {0, 0, 1, kSlice, 9, 0, 0, 1, kMessage, 6, 2, 0x2C, 0x40, 0x80},
       0,
       false},
      {"in the next unit only",
       {0, 0, 1, kMessage, 5, 1, 7, 0x80, 0, 0, 1, kSlice, 6, 2, 0x2C},
       0,
       false},
      {"cut off", {0, 0, 1, kMessage, 6, 2}, 0, false},
      {"a length beyond the end", {0xFF, 0xFF, 0xFF, 0xFF, kMessage, 5, 255, 255}, 4, false},
      {"nothing", {}, 4, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.gradual, kiv::RecoversGradually(c.packet, c.lengthBytes)) << c.name;
  }
}

TEST(RecoveryPoint, APacketMayEndAnywhere) {
  const Bytes whole{0, 0, 0, 9, kMessage, 5, 200, 7, 6, 2, 0x2C, 0x40, 0x80};
  const Bytes last{0, 0, 1, kMessage, 5, 2, 7, 7, 6, 255, 0x2C};
  for (size_t length = 0; length <= whole.size(); ++length) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
    EXPECT_FALSE(kiv::RecoversGradually(cut, 4)) << length;
  }
  for (size_t length = 0; length <= last.size(); ++length) {
    const Bytes cut(last.begin(), last.begin() + static_cast<ptrdiff_t>(length));
    EXPECT_FALSE(kiv::RecoversGradually(cut, 0)) << length;
  }
}

TEST(RecoveryPoint, ReadsTheBytesOfALengthFromTheStreamsHeader) {
  EXPECT_EQ(4, kiv::UnitLengthBytes(Bytes{1, 100, 0, 13, 0xFF, 0xE1, 0}));
  EXPECT_EQ(2, kiv::UnitLengthBytes(Bytes{1, 100, 0, 13, 0xFD, 0xE1, 0}));
  EXPECT_EQ(0, kiv::UnitLengthBytes(Bytes{0, 0, 0, 1, 0x67, 100, 0}));
  EXPECT_EQ(0, kiv::UnitLengthBytes({}));
}

}  // namespace
