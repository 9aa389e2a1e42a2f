// What the reads of a clip tell about the next ones: whether they go backwards, and how far up a run
// of them is likely to go before it turns back.
//
// A reader that plays backwards either asks for one frame after the other downwards, or, with a frame
// cache of its own in between, for short runs upwards that each begin below the one before.
//
// Units:    frame numbers.
// Threads:  one caller at a time.
#pragma once

#include <cstdint>

#include "kiv/values/Export.h"

namespace kiv {

class KIV_ENGINE_API ReadPattern {
 public:
  // The host says that it is going to read backwards.
  void Expect(bool backwards) { expected_ = backwards; }
  void Note(int64_t frame);

  int64_t Frame() const { return last_; }
  bool IsBackward() const { return trend_ == Trend::kBackward; }
  // The frame read last is best reached by filling the frames below it too.
  bool AsksForFill() const;
  // The reads themselves have shown it, once at least.
  bool IsConfirmed() const { return backSteps_ > 0; }
  // It is likely to go on that way for long.
  bool IsSteady() const;
  // Pictures are worth keeping: the reader has gone back, or will.
  bool Returns() const { return returned_ || expected_; }
  // The direction changed without a jump in between: the reader looks for something nearby.
  bool IsScrubbing() const { return scrubbing_; }
  // The highest frame the present run will probably reach.
  int64_t Top() const;
  // Changes when plans that were made from the pattern no longer apply.
  int64_t Generation() const { return generation_; }

 private:
  enum class Trend { kNone, kForward, kBackward };

  void Begin(int64_t frame);
  void StepBack(int64_t frame);
  void StepOn(int64_t frame);
  void Jump(int64_t frame);
  void Turn(Trend trend);

  int64_t last_ = -1;
  int64_t runStart_ = 0;
  int64_t runTop_ = 0;
  int64_t earlierRun_ = 1;  // how many frames the run before had
  int64_t turnedAt_ = 0;    // the lowest frame at which the direction changed
  Trend trend_ = Trend::kNone;
  bool expected_ = false;
  int64_t backSteps_ = 0;  // since the last jump
  bool returned_ = false;
  bool scrubbing_ = false;
  int64_t generation_ = 0;
};

}  // namespace kiv
