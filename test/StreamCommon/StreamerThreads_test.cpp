#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "test/StreamCommon/StreamFixture.h"

namespace {

using test::Send;

struct StreamerThreads : test::MissingMediaFixture {};

// What a frame cache's worker and a host do at the same time.
TEST_F(StreamerThreads, CommandsMayComeWhileFramesAreRead) {
  std::atomic<int> wrong{0};
  UseSize({8, 4});
  std::thread reader([&] {
    for (int32_t i = 0; i < 400; ++i) {
      node->Seek(i, nullptr, 1);
      if (test::IndexOf(node->GetCurrentFrame(nullptr)) != i) ++wrong;
      node->Skip(1, nullptr);
    }
  });
  for (int32_t i = 0; i < 400; ++i) {
    wchar_t path[16];
    Send(*node, CommandId::SetDecoder, i % 2 ? decoder->AsUnknown() : nullptr);
    UseScale({1 + i % 2, 2});
    UseRate({25 + i % 3, 1});
    Send(*node, CommandId::SetProxyPath, i % 2 ? L"a" : L"b");
    Send(*node, CommandId::SetProxyEnabled, i % 2);
    Send(*node, CommandId::GetProxyPath, path, 16);
  }
  reader.join();
  EXPECT_EQ(0, wrong);
}

TEST_F(StreamerThreads, TheFirstRequestsForTheMissingMediaPictureShareOneLookup) {
  HavePicture();
  KivComPtr<IKivFrame> seen;
  paths->log.On("GetNamedValue",
                [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); });
  std::thread other([&] { seen = MissingMediaImage(); });
  const KivComPtr<IKivFrame> image = MissingMediaImage();
  other.join();
  EXPECT_TRUE(image && image == seen);
  EXPECT_EQ(test::Calls{"GetNamedValue"}, paths->log.Take());
}

}  // namespace
