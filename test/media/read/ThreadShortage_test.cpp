// Pictures are read where the system refuses every thread.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

#include "test/media/Clips.h"

namespace {

std::atomic<bool> threadsAreRefused{false};
std::atomic<int> refusals{0};

using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

// Stands before the C library's for the whole program.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* how,
                                                                     void* (*run)(void*),
                                                                     void* argument) {
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  if (!threadsAreRefused) return create(thread, how, run, argument);
  ++refusals;
  return EAGAIN;
}

namespace {

struct Decoded {
  kivtest::ClipRecipe recipe;
};

void PrintTo(const Decoded& value, std::ostream* out) { *out << value.recipe.codec; }

class ThreadShortage : public testing::TestWithParam<Decoded> {
 protected:
  void SetUp() override {
    MakeClip(GetParam().recipe);
    refusals = 0;
    threadsAreRefused = true;
    decoder_ = kivtest::OpenClip(GetParam().recipe, 4);
  }
  void TearDown() override {
    decoder_.Reset();
    threadsAreRefused = false;
  }

  KivComPtr<IKivMediaDecoder> decoder_;
};

TEST_P(ThreadShortage, EveryPictureIsStillRead) {
  for (int frame = 0; frame < 60; ++frame) {
    ASSERT_EQ(frame, kivtest::CurrentNumber(decoder_));
    decoder_->Skip(1, nullptr);
  }
  EXPECT_LE(1, refusals) << "the decoder asked for threads";
  const int before = refusals;
  for (int frame = 59; frame >= 0; --frame) {
    decoder_->Skip(-1, nullptr);
    ASSERT_EQ(frame, kivtest::CurrentNumber(decoder_));
  }
  EXPECT_EQ(before + 1, refusals) << "the cache asked for one, once";
  EXPECT_EQ(0, kivtest::StatsOf(decoder_).picturesReplaced);
}

INSTANTIATE_TEST_SUITE_P(Decoders, ThreadShortage,
                         testing::Values(Decoded{{.bFrames = 2}}, Decoded{{.codec = "libx265"}},
                                         Decoded{{.codec = "mpeg2video", .container = "ts"}},
                                         Decoded{{.codec = "prores_ks",
                                                  .container = "mov",
                                                  .pixelFormat = "yuv422p10le"}}),
                         [](const auto& clip) { return clip.param.recipe.codec; });

}  // namespace
