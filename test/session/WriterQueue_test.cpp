#include "session/WriterQueue.h"

#include <gtest/gtest.h>

#include "session/SessionError.h"
#include "test/support/Frames.h"
#include "test/support/ThreadRefusal.h"
#include "test/write/WriterReadBack.h"

namespace {

constexpr KivSize kSize{64, 48};
constexpr int kPictures = 12;

KivComPtr<IKivFrame> Grey(int number) {
  return test::MakeFrame(static_cast<int32_t>(0xff000000 | GreyOf(number) * 0x010101u), kSize);
}

TEST(WriterQueue, WritesEveryFrameWhereTheSystemRefusesThreads) {
  for (const char* name : {"x.mp4", "x.mov", "x.mkv"}) {
    SCOPED_TRACE(name);
    const TestFolder folder;
    const std::string codec = std::string(name) == "x.mkv" ? "ffv1" : "";
    kiv::OutputPlan plan;
    ASSERT_EQ(std::nullopt,
              kiv::PlanOutput({folder.Path(name), "", codec, kiv::kQualityUnset}, &plan));
    std::atomic<bool> cancelled{false};
    int ticks = 0;
    {
      const test::ThreadRefusal refusal;
      std::unique_ptr<kiv::Writer> writer;
      ASSERT_EQ(std::nullopt, kiv::OpenWriter(plan, {kSize}, &cancelled, &writer));
      kiv::session::WriterQueue queue(std::move(writer), &cancelled, [&ticks] { ++ticks; });
      for (int i = 0; i < kPictures; ++i) queue.Push(Grey(i));
      queue.Finish();
      EXPECT_LE(1, refusal.Count());
    }
    EXPECT_LE(kPictures, ticks) << "an interrupt goes unnoticed";
    const ReadBack back = ReadVideo(folder.Path(name));
    ASSERT_EQ(static_cast<size_t>(kPictures), back.pixels.size());
    for (int i = 0; i < kPictures; ++i) {
      EXPECT_NEAR(GreyOf(i), back.pixels[static_cast<size_t>(i)][0], 3) << i;
    }
  }
}

TEST(WriterQueue, SaysWhenTheEncoderSwallowsEveryFrame) {
  const TestFolder folder;
  kiv::OutputPlan plan;
  ASSERT_EQ(std::nullopt,
            kiv::PlanOutput({folder.Path("x.webm"), "", "", kiv::kQualityUnset}, &plan));
  std::atomic<bool> cancelled{false};
  const test::ThreadRefusal refusal;
  std::unique_ptr<kiv::Writer> writer;
  ASSERT_EQ(std::nullopt, kiv::OpenWriter(plan, {kSize}, &cancelled, &writer));
  kiv::session::WriterQueue queue(std::move(writer), &cancelled, [] {});
  const auto writeAll = [&queue] {
    for (int i = 0; i < kPictures; ++i) queue.Push(Grey(i));
    queue.Finish();
  };
  EXPECT_THROW(writeAll(), kiv::session::SessionError);
}

}  // namespace
