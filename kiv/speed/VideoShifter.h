// The speed node: plays its upstream faster or slower.
#pragma once

#include <cstdint>

#include "kiv/base/Locks.h"
#include "kiv/chain/Dispatch.h"
#include "kiv/chain/SourceBase.h"
#include "kiv/speed/FrameInterpolator.h"

// Maps its frame f to the upstream's frame f x speed. In slow motion, with an interpolation algorithm
// and at least one frame to generate between two upstream frames, it returns generated frames;
// else upstream frames repeat. A skip ends where stepping forward to its position ends, whichever way
// it went; a seek gives the upstream frame at or before the wanted one, and generated frames follow
// with the steps after it. A skip over more than kiv::kLongestWalk upstream frames seeks most of them.
//
// Units:    its own frame numbers are render frames; speed 1/2 is slow motion.
// Owns:     the interpolator and one output frame, which is refilled for each generated frame.
// Threads:  one caller at a time, as the clip render makes it.
// Locks:    lock_ guards the output frame; the upstream may be called with it held.
// Errors:   an upstream failure is returned unchanged and leaves the position where it was. A
//           generated frame that cannot be made gives no frame with status 0.
class CVideoShifter : public CSourceBase {
 public:
  CVideoShifter(IUnknown* outer, NodeRef upstream);

  // The stored position, -1 before the first move. Leaves `time` untouched.
  int32_t GetPosition(int64_t* time) override;
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT Flush() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  // `info` receives the count and range of render frames.
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;

 private:
  HRESULT OnSetSourceFrameRate(const CommandArgs& args);
  HRESULT OnSetRenderFrameRate(const CommandArgs& args);
  HRESULT OnGetSpeedSettings(const CommandArgs& args);
  HRESULT OnSetSpeedSettings(const CommandArgs& args);

  double Speed() const;
  bool PassesThrough(double speed) const;
  bool Interpolates() const {
    return isInterpolationOn_ != 0 && interpolator_.InBetweenCount() >= 1;
  }
  int32_t MapUpstreamPosition() const;

  HRESULT StepSlow(int32_t target, double speed);
  HRESULT JumpSlow(int32_t target, double speed);
  HRESULT StepFast(int32_t target, double speed);
  HRESULT StepBack(int32_t target, double speed);
  HRESULT SeekTo(int64_t target);
  HRESULT RebuildPair(int32_t at);
  // The pair of key frames moves on by one.
  HRESULT AdvancePair();
  HRESULT FeedKeyFrames();
  HRESULT FeedOne();
  bool EnsureOutputFrameLocked(const KivSize& size) KIV_REQUIRES(lock_);

  HRESULT InitializeFrom(IKivProperties* settings, IKivProperties* info);
  HRESULT WriteUnknownLength(IKivProperties* info);
  void ReadSettings(IKivProperties* settings, IKivProperties* info, int32_t* total);
  void ChangeMode(uint32_t mode);
  int32_t RenderTotal(int32_t total) const;

  SimpleSync::CSimpleMutex lock_;
  uint32_t speedEnabled_ = 1;
  uint32_t interpolationMode_ = 0;
  int32_t isInterpolationOn_ = 1;
  KivRational scale_{1, 1};
  KivRational parentScale_{1, 1};
  KivRational sourceRate_{25, 1};
  KivRational renderRate_{25, 1};
  CFrameInterpolator interpolator_;
  KivComPtr<IKivFrame> output_ KIV_GUARDED_BY(lock_);
};
