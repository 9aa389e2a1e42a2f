// The order of display, the key packet of a picture, and the recognition of packets.
#include "engine/media/PacketTable.h"

#include <gtest/gtest.h>

namespace {

using kiv::FramePacket;
using kiv::PacketTable;

FramePacket Packet(int64_t pts, int64_t dts, bool key = false) {
  FramePacket packet;
  packet.pts = pts;
  packet.dts = dts;
  packet.position = 100 * dts + 1000;
  packet.size = 50;
  packet.key = key;
  return packet;
}

// Two groups: I0 P3 b1 b2, then I6 with its leading pictures b4 b5, then P7.
PacketTable OpenGroups() {
  PacketTable table;
  for (const FramePacket& packet : {Packet(0, -1, true), Packet(3, 0), Packet(1, 1), Packet(2, 2),
                                    Packet(6, 3, true), Packet(4, 4), Packet(5, 5), Packet(7, 6)}) {
    table.Append(packet);
  }
  return table;
}

TEST(PacketTable, NumbersFramesInTheOrderOfDisplay) {
  PacketTable table = OpenGroups();
  table.Settle(PacketTable::Extent::kComplete);
  const int32_t packets[] = {0, 2, 3, 1, 5, 6, 4, 7};
  ASSERT_EQ(8, table.FrameCount());
  for (int32_t frame = 0; frame < 8; ++frame) {
    EXPECT_EQ(packets[frame], table.PacketOf(frame));
    EXPECT_EQ(frame, table.FrameOf(packets[frame]));
  }
}

TEST(PacketTable, HoldsBackFramesThatALaterPacketMayPrecede) {
  PacketTable table = OpenGroups();
  table.Settle(PacketTable::Extent::kMoreFollow);
  EXPECT_EQ(7, table.FrameCount()) << "frame 7 is shown after the last time of decoding";
  table.Append(Packet(9, 7));
  table.Append(Packet(8, 8));
  table.Settle(PacketTable::Extent::kComplete);
  EXPECT_EQ(10, table.FrameCount());
  EXPECT_EQ(9, table.PacketOf(8));
}

TEST(PacketTable, LeadingPicturesAreDecodedFromTheGroupBefore) {
  PacketTable table = OpenGroups();
  table.Settle(PacketTable::Extent::kComplete);
  const int32_t keys[] = {0, 0, 0, 0, 4, 0, 0, 4};  // by packet
  for (int32_t packet = 0; packet < 8; ++packet) EXPECT_EQ(keys[packet], table.KeyFor(packet));
  EXPECT_EQ(0, table.KeyBefore(4));
  EXPECT_EQ(4, table.KeyBefore(7));
  EXPECT_EQ(0, table.KeyBefore(0));
}

TEST(PacketTable, HiddenPacketsHaveNoNumber) {
  PacketTable table;
  FramePacket hidden = Packet(0, 0, true);
  hidden.hidden = true;
  table.Append(hidden);
  table.Append(Packet(1, 1));
  table.Append(Packet(2, 2));
  table.Settle(PacketTable::Extent::kComplete);
  EXPECT_EQ(2, table.FrameCount());
  EXPECT_EQ(-1, table.FrameOf(0));
  EXPECT_EQ(0, table.KeyFor(table.PacketOf(0)));
}

TEST(PacketTable, HidesWhatComesBeforeTheFirstDecodablePicture) {
  PacketTable table;
  for (const FramePacket& packet : {Packet(2, 0, true), Packet(0, 1), Packet(1, 2), Packet(3, 3)}) {
    table.Append(packet);
  }
  table.Settle(PacketTable::Extent::kComplete);
  EXPECT_TRUE(table.StartsInsideGroup());
  table.HideBefore(0);
  EXPECT_FALSE(table.StartsInsideGroup());
  ASSERT_EQ(2, table.FrameCount());
  EXPECT_EQ(0, table.PacketOf(0));
  EXPECT_EQ(3, table.PacketOf(1));
  EXPECT_EQ(-1, table.FrameOf(1));
}

TEST(PacketTable, FindsPacketsByWhereTheyLieAndHowLongTheyAre) {
  PacketTable table = OpenGroups();
  FramePacket wanted = Packet(6, 3);
  EXPECT_EQ(4, table.Find(wanted));
  wanted.pts = wanted.dts = kiv::kNoStamp;
  EXPECT_EQ(4, table.Find(wanted)) << "stamps may be missing";
  wanted.size = 20;
  EXPECT_EQ(std::nullopt, table.Find(wanted)) << "the rest of a packet is another packet";
  wanted = Packet(6, 3);
  wanted.position = 7;
  EXPECT_EQ(std::nullopt, table.Find(wanted));
}

TEST(PacketTable, TellsPacketsOfOnePlaceApartByTheirStamps) {
  PacketTable table;
  for (int64_t stamp : {10, 20, 30}) {
    FramePacket packet = Packet(stamp, stamp, true);
    packet.position = -1;
    table.Append(packet);
  }
  FramePacket wanted = Packet(20, 20);
  wanted.position = -1;
  EXPECT_EQ(1, table.Find(wanted));
  wanted.pts = wanted.dts = kiv::kNoStamp;
  EXPECT_EQ(std::nullopt, table.Find(wanted)) << "could be any of them";
}

}  // namespace
