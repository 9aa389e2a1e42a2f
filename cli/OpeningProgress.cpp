#include "cli/OpeningProgress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "cli/Interrupt.h"
#include "cli/Messages.h"

namespace cli {
namespace {

constexpr double kBytesPerMegabyte = 1e6;
constexpr std::chrono::milliseconds kPatience{1000};

void Print(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace

bool OpeningProgress::Hear(const kiv::session::Progress& progress) {
  if (InterruptSignal() != 0) return false;
  if (progress.total <= 0 || IsQuiet() || Clock::now() - start_ < patience_) return true;
  if (progress.done < progress.total && !told_) {
    PrintNote(fmt::format("counting the frames of '{}', {:.0f} MB are read for it", path_,
                          static_cast<double>(progress.total) / kBytesPerMegabyte));
    told_ = true;
  }
  if (told_ && isatty(STDERR_FILENO) != 0) ShowPercent(progress);
  return true;
}

void OpeningProgress::ShowPercent(const kiv::session::Progress& progress) {
  if (progress.done >= progress.total) {
    if (shownPercent_ >= 0) Print("\r\033[K");
    shownPercent_ = -1;
    return;
  }
  const int64_t percent = progress.done / (progress.total / 100 + 1);
  if (percent == shownPercent_) return;
  shownPercent_ = percent;
  Print(fmt::format("\r\033[K{:3d}%", percent));
}

kiv::session::ProgressFunction TellOfOpening(const std::string& path) {
  const auto opening = std::make_shared<OpeningProgress>(path, kPatience);
  return [opening](const kiv::session::Progress& progress) { return opening->Hear(progress); };
}

}  // namespace cli
