// The order of display, the key packet of a picture, and the recognition of packets.
#include "engine/media/read/PacketTable.h"

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

TEST(PacketTable, NumbersFramesInTheOrderOfDisplayAndFindsTheirKeys) {
  PacketTable table = OpenGroups();
  table.Settle(PacketTable::Extent::kComplete);
  const int32_t packets[] = {0, 2, 3, 1, 5, 6, 4, 7};
  const int32_t keys[] = {0, 0, 0, 0, 4, 0, 0, 4};  // by packet: leading pictures need the first
  ASSERT_EQ(8, table.FrameCount());
  for (int32_t frame = 0; frame < 8; ++frame) {
    EXPECT_EQ(packets[frame], table.PacketOf(frame));
    EXPECT_EQ(frame, table.FrameOf(packets[frame]));
    EXPECT_EQ(keys[frame], table.KeyFor(frame));
  }
}

TEST(PacketTable, StartsTwoRenewalsBeforeOneByParts) {
  PacketTable inOrder;
  PacketTable reordered;
  for (int32_t number = 0; number < 500; ++number) {
    FramePacket packet = Packet(number, number, number % 10 == 0);
    packet.gradual = packet.key && number != 0 && number != 150;
    inOrder.Append(packet);
    packet.pts += number % 2 == 0 ? 2 : 0;
    reordered.Append(packet);
  }
  const struct {
    int32_t key, inOrder, reordered;
  } cases[] = {{0, 0, 0},       {10, 0, 0},      {20, 0, 0},      {30, 10, 0},    {150, 150, 150},
               {160, 150, 150}, {170, 150, 150}, {180, 160, 150}, {490, 470, 190}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.inOrder, inOrder.StartFor(c.key)) << c.key;
    EXPECT_EQ(c.reordered, reordered.StartFor(c.key)) << c.key;
  }
}

// The same groups twice, one after the other, as their pictures come out.
TEST(PacketTable, TakesTheOrderThatItIsGivenWhereStampsBeginAnew) {
  PacketTable table = OpenGroups();
  table.Settle(PacketTable::Extent::kComplete);
  EXPECT_TRUE(table.HasSoundStamps(1000));
  EXPECT_FALSE(table.HasSoundStamps(0)) << "every step is too long";
  for (int32_t packet = 0; packet < 8; ++packet) table.Append(FramePacket(table.Packet(packet)));
  table.Settle(PacketTable::Extent::kComplete);
  EXPECT_FALSE(table.HasSoundStamps(1000));
  const int32_t order[] = {0, 2, 3, 1, 5, 6, 4, 7, 8, 10, 11, 9, 13, 14, 12, 15};
  const int32_t keys[] = {0, 0, 0, 0, 4, 0, 0, 4, 8, 8, 8, 8, 12, 8, 8, 12};
  table.SettleAs(order, {1, 1, 1000});
  ASSERT_EQ(16, table.FrameCount());
  for (int32_t frame = 0; frame < 16; ++frame) {
    EXPECT_EQ(order[frame], table.PacketOf(frame));
    EXPECT_EQ(frame, table.StampOf(frame));
    EXPECT_EQ(keys[frame], table.KeyFor(frame));
  }
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
