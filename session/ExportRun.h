// One run of frames from a clip into an output.
//
// Owns:     the writer and its thread; borrows the clip.
// Threads:  one caller.
// Errors:   SessionError. Nothing is left of an output that was not finished.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "engine/write/Writer.h"
#include "session/Composite.h"
#include "session/Export.h"
#include "session/Progress.h"
#include "session/Sound.h"
#include "session/WriterQueue.h"

namespace kiv::session {

// kInvalidArgument for what does not fit.
kiv::OutputPlan PlanOf(const ExportPlan& plan);

class ExportRun {
 public:
  using Clock = std::chrono::steady_clock;

  // `opened` is when the opening of the clip began. Frames beyond the result are refused.
  ExportRun(Composite& clip, const ExportPlan& plan, const NoteFunction& onNote,
            const ProgressFunction& progress, Clock::time_point opened);

  void Run();
  ExportReport Report() const;

 private:
  KivComPtr<IKivFrame> PullNext(int32_t number);
  void OpenOutput(IKivFrame& first);
  void Write(const KivComPtr<IKivFrame>& frame);
  void Finish();
  void Tick() const;

  const Clock::time_point opened_;
  Composite& clip_;
  const kiv::OutputPlan plan_;
  const NoteFunction& onNote_;
  const ProgressFunction& progress_;
  const KivRange range_;
  Sound sound_;
  KivSize size_;
  KivSize written_;  // size_, or what the encoder makes of it
  int64_t done_ = 0;
  std::atomic<bool> cancelled_{false};
  // Nothing is read of discarded pictures, so they need no thread.
  std::unique_ptr<WriterQueue> queue_;
  double pullSeconds_ = 0;
  double wallSeconds_ = 0;
};

}  // namespace kiv::session
