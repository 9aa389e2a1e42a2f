#include "cli/ProgressLine.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

#include "cli/Messages.h"
#include "kiv/values/Saturate.h"

namespace cli {
namespace {

constexpr std::chrono::milliseconds kInterval{100};
constexpr int kBarWidth = 30;

ProgressForm Resolve(ProgressForm form) {
  if (IsQuiet()) return ProgressForm::kNone;
  if (form != ProgressForm::kAutomatic) return form;
  return isatty(STDERR_FILENO) != 0 ? ProgressForm::kBar : ProgressForm::kNone;
}

void Print(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace

Pace PaceOf(int32_t done, int32_t frames, double seconds) {
  if (done <= 0 || seconds <= 0) return {};
  const double rate = done / seconds;
  return {rate, (frames - done) / rate};
}

ProgressLine::ProgressLine(ProgressForm form, int32_t frames, const char* stage)
    : form_(Resolve(form)), frames_(frames), stage_(stage) {}

ProgressLine::~ProgressLine() {
  if (barVisible_) Print("\r\033[K");
}

void ProgressLine::Update(int32_t frame) {
  if (form_ == ProgressForm::kNone) return;
  const auto now = Clock::now();
  if (frame < frames_ && now - shown_ < kInterval) return;
  shown_ = now;
  const Pace pace = PaceOf(frame, frames_, std::chrono::duration<double>(now - start_).count());
  if (form_ == ProgressForm::kBar) return ShowBar(frame, pace.rate, pace.left);
  const std::string stage = stage_ ? fmt::format(",\"stage\":\"{}\"", stage_) : std::string();
  Print(fmt::format("{{\"frame\":{},\"frames\":{},\"fps\":{:.1f},\"eta_s\":{:.1f}{}}}\n", frame,
                    frames_, pace.rate, pace.left, stage));
}

void ProgressLine::ShowBar(int32_t frame, double rate, double left) {
  const double part = static_cast<double>(frame) / frames_;
  const int filled = kiv::SaturateToInt32(part * kBarWidth);
  const auto seconds = kiv::SaturateToInt64(left + 0.5);
  barVisible_ = true;
  Print(fmt::format("\r\033[K[{:=<{}}{:{}}] {:3d}%  {:.1f} fps  {}:{:02} left", "", filled, "",
                    kBarWidth - filled, kiv::SaturateToInt32(part * 100), rate, seconds / 60,
                    seconds % 60));
}

}  // namespace cli
