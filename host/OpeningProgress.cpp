#include "host/OpeningProgress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

#include "host/Interrupt.h"
#include "host/Messages.h"

namespace host {
namespace {

constexpr double kBytesPerMegabyte = 1e6;

void Print(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace

void OpeningProgress::Finish() {
  if (shownPercent_ >= 0) Print("\r\033[K");
  shownPercent_ = -1;
}

HRESULT OpeningProgress::OnRead(int64_t bytes, int64_t ofBytes) {
  if (InterruptSignal() != 0) return E_ABORT;
  if (ofBytes <= 0 || IsQuiet() || Clock::now() - start_ < patience_) return S_OK;
  if (!told_) {
    PrintNote(fmt::format("counting the frames of '{}', {:.0f} MB are read for it", path_,
                          static_cast<double>(ofBytes) / kBytesPerMegabyte));
  }
  told_ = true;
  const int64_t percent = bytes / (ofBytes / 100 + 1);
  if (isatty(STDERR_FILENO) == 0 || percent == shownPercent_) return S_OK;
  shownPercent_ = percent;
  Print(fmt::format("\r\033[K{:3d}%", percent));
  return S_OK;
}

}  // namespace host
