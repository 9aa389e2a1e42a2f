// Stands between frames and the interpolation algorithm, which knows pixels only.
#pragma once

#include <cstdint>

#include "kiv/platform/Algorithms.h"
#include "kiv/platform/Frame.h"

// Takes key frames, answers the frames between the last two and stamps them with times between
// theirs. Without the interpolation module it stays without an algorithm, and every operation that
// needs one does nothing.
//
// Units:    time int64 in 100 ns; index 0 is the older key frame, count + 1 the newer.
// Owns:     factory and algorithm; two scratch frames of the key frames' size.
// Threads:  one caller at a time; has no lock.
// Errors:   false when a frame is null, holds no picture or cannot be made; what the algorithm says
//           of a push or read is not passed on.
class CFrameInterpolator {
 public:
  CFrameInterpolator() = default;
  ~CFrameInterpolator();
  CFrameInterpolator(const CFrameInterpolator&) = delete;
  CFrameInterpolator& operator=(const CFrameInterpolator&) = delete;

  // Makes factory and algorithm unless they are there.
  bool EnsureAlgorithm();
  // Ends them and forgets the times. Parameters, key-frame size and scratch frames stay.
  bool Reset();
  bool PassParameters();
  // A count below 1 is ignored. Key frames held are carried over to an algorithm made anew.
  bool SetInBetweenCount(int32_t count);
  // Acts when the next algorithm is made.
  void SetMode(uint32_t mode) { params_.interpolationMode = mode; }

  bool PushKeyFrame(IKivFrame* frame);
  // Fills `frame`, whatever its size was.
  bool GetInterpolatedFrame(IKivFrame* frame, int32_t index);
  // Null when memory runs out.
  KivComPtr<IKivFrame> GetScratchFrame();

  bool HasAlgorithm() const { return factory_ && algorithm_; }
  bool WantsInput() const { return algorithm_ && algorithm_->WantsInput(); }
  int32_t InBetweenCount() const { return params_.inBetweenCount; }
  const KivSize& KeyFrameSize() const { return keyFrameSize_; }

 private:
  KivComPtr<IKivFrame> NewFrame() const;
  // Null when storage cannot be had.
  KivComPtr<IKivFrame> ReadNext(int32_t index);
  int32_t Push(IKivFrame* frame);
  int32_t Read(IKivFrame* frame, int32_t index);

  CVAlgorithmCreater* factory_ = nullptr;
  CVAlgorithm* algorithm_ = nullptr;
  // The algorithm keeps its address.
  FrameInterpolationParams params_;
  KivComPtr<IKivFrame> scratch_;  // what was shown last
  KivComPtr<IKivFrame> next_;
  KivSize keyFrameSize_;
  int64_t olderTime_ = 0;
  int64_t newerTime_ = 0;
};
