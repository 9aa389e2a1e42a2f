#include "engine/logger/Logger.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "engine/logger/LineLimiter.h"
#include "engine/registry/ClassRegistry.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

namespace kiv {
namespace {

using Lines = std::vector<std::pair<LogLevel, std::string>>;

class Logger : public testing::Test {
 protected:
  void SetUp() override {
    SetLogCallback([this](LogLevel level, const char* text) { lines_.emplace_back(level, text); });
  }
  void TearDown() override {
    SetLogCallback(nullptr);
    SetLogLevel(LogLevel::kFailure);
  }

  Lines lines_;
};

TEST_F(Logger, TheCallbackReceivesLevelTextFileAndLine) {
  KivGetDefaultLogger()->Write(LogLevel::kFilter, L"%ls is %d, %.1f", L"gr\u00FCn", 42, 0.5);
  KIV_LOG_AT(LogLevel::kCreation, 101, L"hr %08x", 0x80004005U);
  EXPECT_EQ((Lines{{LogLevel::kFilter, "gr\xC3\xBCn is 42, 0.5"},
                   {LogLevel::kCreation, "hr 80004005  [Logger_test.cpp, 101]"}}),
            lines_);
}

TEST_F(Logger, LevelsBelowTheThresholdAreOff) {
  IKivLogger* const logger = KivGetDefaultLogger();
  SetLogLevel(LogLevel::kFilter);
  EXPECT_FALSE(logger->IsEnabled(LogLevel::kFailure));
  EXPECT_TRUE(logger->IsEnabled(LogLevel::kFilter));
  EXPECT_TRUE(logger->IsEnabled(LogLevel::kCreation));
  logger->Write(LogLevel::kFailure, L"unheard");
  SetLogLevel(kLogNothing);
  logger->Write(LogLevel::kCreation, L"unheard");
  EXPECT_TRUE(lines_.empty());
}

TEST_F(Logger, ATextIsOneShortLineThatCannotSteerATerminal) {
  const std::wstring endless(100000, L'x');
  for (const wchar_t* text : {L"a\nb\r\tc\n", L"\x1B[31mred", L"\x9B{}%n", L"", endless.c_str()}) {
    KivGetDefaultLogger()->Write(LogLevel::kFailure, L"%ls", text);
  }
  const auto line = [](const std::string& text) { return std::pair(LogLevel::kFailure, text); };
  EXPECT_EQ((Lines{line("a b  c"), line(" [31mred"), line(" {}%n"), line(""),
                   line(std::string(4096, 'x'))}),
            lines_);
}

TEST_F(Logger, ACallbackMayLogThrowAndReplaceItself) {
  int calls = 0;
  SetLogCallback([&](LogLevel, const char*) {
    ++calls;
    KivGetDefaultLogger()->Write(LogLevel::kFailure, L"nested");
    SetLogCallback([this](LogLevel level, const char* text) { lines_.emplace_back(level, text); });
    throw std::runtime_error("host");
  });
  KivGetDefaultLogger()->Write(LogLevel::kFailure, L"one");
  KivGetDefaultLogger()->Write(LogLevel::kFailure, L"two");
  EXPECT_EQ(1, calls);
  ASSERT_EQ(1U, lines_.size());
  EXPECT_EQ("two", lines_[0].second);
}

TEST_F(Logger, ARemovedCallbackIsNotCalledAnyMore) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&stop] {
      while (!stop) KivGetDefaultLogger()->Write(LogLevel::kFailure, L"busy");
    });
  }
  int late = 0;
  for (int round = 0; round < 200; ++round) {
    std::atomic<bool> removed{false};
    SetLogCallback([&removed, &late](LogLevel, const char*) { late += removed; });
    SetLogCallback([](LogLevel, const char*) {});
    removed = true;
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, late);
}

TEST_F(Logger, FfmpegSpeaksThroughItAndCannotFlood) {
  ClassRegistry::Shared();
  av_log(nullptr, AV_LOG_ERROR, "broken ");
  av_log(nullptr, AV_LOG_ERROR, "stream\x1B 7\n");
  av_log(nullptr, AV_LOG_INFO, "small talk\n");
  EXPECT_EQ((Lines{{LogLevel::kFailure, "FFmpeg: broken stream  7"}}), lines_);
  for (int i = 0; i < 10000; ++i) av_log(nullptr, AV_LOG_ERROR, "bad reference %d\n", i);
  EXPECT_EQ(4U, lines_.size());
}

// What two decoders, one of them with a second thread, say after a seek into an open group.
TEST_F(Logger, WhatASeekLeavesBehindIsADetailTheFirstTimeOnly) {
  ClassRegistry::Shared();
  int streams[2] = {};
  AVCodecContext* contexts[] = {avcodec_alloc_context3(nullptr), avcodec_alloc_context3(nullptr),
                                avcodec_alloc_context3(nullptr)};
  contexts[0]->opaque = contexts[1]->opaque = &streams[0];
  contexts[2]->opaque = &streams[1];
  const auto seek = [&] {
    for (AVCodecContext* context : contexts) {
      av_log(context, AV_LOG_ERROR, "mmco: unref short failure\n");
      av_log(context, AV_LOG_ERROR, "co located POCs unavailable\n");
    }
  };
  seek();
  EXPECT_TRUE(lines_.empty());
  SetLogLevel(LogLevel::kDetail);
  for (int i = 0; i < 100; ++i) seek();
  const std::string kOf = "FFmpeg: [NULL] ";
  const std::pair mmco(LogLevel::kDetail, kOf + "mmco: unref short failure");
  const std::pair pocs(LogLevel::kDetail, kOf + "co located POCs unavailable");
  EXPECT_EQ((Lines{mmco, pocs, mmco, pocs}), lines_);
  for (AVCodecContext*& context : contexts) avcodec_free_context(&context);
}

TEST(DefaultSink, IsStandardErrorAndNeverStandardOutput) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  KivGetDefaultLogger()->Write(LogLevel::kFilter, L"trouble");
  EXPECT_EQ("kiv error: trouble\n", testing::internal::GetCapturedStderr());
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

// How many of the lines are written; `make` gives each its text.
template <typename Make>
int WrittenOf(LineLimiter& limiter, int64_t now, Make make) {
  int written = 0;
  for (int i = 0; i < 1000; ++i) written += limiter.Judge(make(i), now).write;
  return written;
}

TEST(LineLimiter, OneComplaintIsWrittenThreeTimesAWindow) {
  LineLimiter limiter;
  const auto numbered = [](int i) { return "error at MB " + std::to_string(i); };
  EXPECT_EQ(3, WrittenOf(limiter, 0, numbered)) << "numbers do not make it new";
  EXPECT_FALSE(limiter.Judge("error at MB 7", 9999).write);
  EXPECT_TRUE(limiter.Judge("another error", 9999).write);
  EXPECT_EQ(3, WrittenOf(limiter, 10000, numbered));
  EXPECT_EQ(997, limiter.Judge("another error", 20000).leftOut);
  EXPECT_EQ(0, limiter.Judge("another error", 20000).leftOut) << "told once";
}

TEST(LineLimiter, ManyDifferentComplaintsAreBoundedTogether) {
  LineLimiter limiter;
  EXPECT_EQ(30, WrittenOf(limiter, 5, [](int i) { return std::string(size_t(i), 'x'); }));
}

}  // namespace
}  // namespace kiv
