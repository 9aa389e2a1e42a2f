#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include "kiv/StreamCommon/VideoStreamer.h"
#include "test/StreamCommon/MissingMediaFixture.h"
#include "test/support/FakeDecoder.h"
#include "test/support/Frames.h"
#include "test/support/NodeOnFake.h"

namespace {

using test::Calls;
using test::Send;

struct StreamerThreads : testing::Test {
  KivComPtr<test::FakeDecoder> decoder = test::FakeDecoder::Make();
  KivComPtr<CVideoStreamer> node{new CVideoStreamer(nullptr)};
};

TEST_F(StreamerThreads, ASeekWaitsForTheReadThatRuns) {
  Send(*node, CommandId::SetDecoder, decoder->AsUnknown());
  decoder->log.Take();
  test::Gate gate;
  decoder->log.On("ReadCurrentFrame", [&] { gate.Pass(); });
  std::thread reader([&] { node->GetCurrentFrame(nullptr); });
  gate.WaitForArrival();
  std::thread seeker([&] { node->Seek(5, nullptr, 0); });
  EXPECT_EQ(Calls{"ReadCurrentFrame"}, decoder->log.Calls());
  gate.Open();
  reader.join();
  seeker.join();
  EXPECT_EQ((Calls{"ReadCurrentFrame", "Seek 2000000 mode 0"}), decoder->log.Calls());
}

// What a frame cache's worker and a host do at the same time.
TEST_F(StreamerThreads, CommandsMayComeWhileFramesAreRead) {
  std::atomic<int> wrong{0};
  std::thread reader([&] {
    for (int32_t i = 0; i < 400; ++i) {
      node->Seek(i, nullptr, 1);
      const KivComPtr<IKivFrame> frame = node->GetCurrentFrame(nullptr);
      if (test::IndexOf(frame) != i) ++wrong;
      node->Skip(1, nullptr);
    }
  });
  const KivSize size{8, 4};
  Send(*node, CommandId::SetOutputSize, &size);
  for (int32_t i = 0; i < 400; ++i) {
    const KivRational scale{1 + i % 2, 2}, rate{25 + i % 3, 1};
    wchar_t path[16];
    Send(*node, CommandId::SetDecoder, i % 2 ? decoder->AsUnknown() : nullptr);
    Send(*node, CommandId::SetDecodeScale, &scale);
    Send(*node, CommandId::SetSourceFrameRate, &rate);
    Send(*node, CommandId::SetProxyPath, i % 2 ? L"a" : L"b");
    Send(*node, CommandId::SetProxyEnabled, i % 2);
    Send(*node, CommandId::GetProxyPath, path, 16);
  }
  reader.join();
  EXPECT_EQ(0, wrong);
}

struct MissingMediaThreads : test::MissingMediaFixture {};

TEST_F(MissingMediaThreads, TheFirstRequestsShareOneLookup) {
  paths_->value = WritePicture();
  constexpr size_t kThreads = 4;
  std::latch start(kThreads);
  std::vector<KivComPtr<IKivFrame>> seen(kThreads);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      seen[i] = MissingMediaImage();
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(seen[0]);
  for (const auto& image : seen) EXPECT_EQ(seen[0], image);
  // Once for the name, and once each to translate it and to see whether it is there.
  EXPECT_EQ((Calls{"GetNamedValue", "TranslateLocation", "TranslateLocation"}),
            paths_->log.Calls());
}

}  // namespace
