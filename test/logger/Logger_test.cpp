#include "engine/logger/Logger.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "engine/common/ClassRegistry.h"

extern "C" {
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

TEST_F(Logger, TheCallbackReceivesLevelAndUtf8Text) {
  KivGetDefaultLogger()->Write(LogLevel::kFilter, L"%ls is %d, %.1f", L"gr\u00FCn", 42, 0.5);
  EXPECT_EQ((Lines{{LogLevel::kFilter, "gr\xC3\xBCn is 42, 0.5"}}), lines_);
}

TEST_F(Logger, TheMacroAddsFileAndLine) {
  KIV_LOG_AT(LogLevel::kCreation, 101, L"hr %08x", 0x80004005U);
  EXPECT_EQ((Lines{{LogLevel::kCreation, "hr 80004005  [Logger_test.cpp, 101]"}}), lines_);
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

struct TextCase {
  const wchar_t* text;
  const char* expected;
};

class LogText : public Logger, public testing::WithParamInterface<TextCase> {};

TEST_P(LogText, IsOneLineThatCannotSteerATerminal) {
  KivGetDefaultLogger()->Write(LogLevel::kFailure, L"%ls", GetParam().text);
  ASSERT_EQ(1U, lines_.size());
  EXPECT_EQ(GetParam().expected, lines_[0].second);
}

INSTANTIATE_TEST_SUITE_P(Texts, LogText,
                         testing::Values(TextCase{L"a\nb\r\tc\n", "a b  c"},
                                         TextCase{L"\x1B[31mred", " [31mred"},
                                         TextCase{L"\x9B"
                                                  L"31m{}%n",
                                                  " 31m{}%n"},
                                         TextCase{L"", ""}));

TEST_F(Logger, ALongMessageIsCut) {
  const std::wstring text(100000, L'x');
  KivGetDefaultLogger()->Write(LogLevel::kFailure, L"%ls", text.c_str());
  ASSERT_EQ(1U, lines_.size());
  EXPECT_EQ(4096U, lines_[0].second.size());
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

TEST_F(Logger, FfmpegSpeaksThroughIt) {
  ClassRegistry::Shared();
  av_log(nullptr, AV_LOG_ERROR, "broken ");
  av_log(nullptr, AV_LOG_ERROR, "stream\x1B 7\n");
  av_log(nullptr, AV_LOG_INFO, "small talk\n");
  EXPECT_EQ((Lines{{LogLevel::kFailure, "FFmpeg: broken stream  7"}}), lines_);
}

TEST_F(Logger, FfmpegCannotFlood) {
  ClassRegistry::Shared();
  for (int i = 0; i < 10000; ++i) av_log(nullptr, AV_LOG_ERROR, "bad reference %d\n", i);
  EXPECT_EQ(3U, lines_.size());
}

TEST(DefaultSink, IsStandardErrorAndNeverStandardOutput) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  KivGetDefaultLogger()->Write(LogLevel::kFilter, L"trouble");
  EXPECT_EQ("kiv error: trouble\n", testing::internal::GetCapturedStderr());
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

}  // namespace
}  // namespace kiv
