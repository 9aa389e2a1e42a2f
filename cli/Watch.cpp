#include "cli/Watch.h"

#include "cli/Interrupt.h"
#include "kiv/values/Saturate.h"

namespace cli {

ProgressFunction Watch::Function() {
  return [this](const Progress& progress) { return Hear(progress); };
}

bool Watch::Hear(const Progress& progress) {
  if (InterruptSignal() != 0) return false;
  if (stage_ != progress.stage) Begin(progress);
  // It is also asked while nothing changes.
  if (progress.done == shown_) return true;
  shown_ = progress.done;
  line_->Update(kiv::ClampToInt32(progress.done));
  return true;
}

void Watch::Begin(const Progress& progress) {
  line_.reset();
  stage_ = progress.stage;
  shown_ = 0;
  const bool isAnalysis = progress.stage == Stage::kAnalysis;
  analysed_ = analysed_ || isAnalysis;
  const char* const name = isAnalysis ? "analysis" : analysed_ ? "render" : nullptr;
  line_ = std::make_unique<ProgressLine>(form_, kiv::ClampToInt32(progress.total), name);
}

}  // namespace cli
