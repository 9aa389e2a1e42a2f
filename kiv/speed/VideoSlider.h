// The frame-rate node: presents a stream of one frame rate as a stream of another.
#pragma once

#include <cstdint>

#include "kiv/chain/Dispatch.h"
#include "kiv/chain/SourceBase.h"

// Every frame is a whole upstream frame, repeated or dropped. A seek picks it by arithmetic on frame
// numbers, a skip by stepping upstream and comparing times: it ends on the first upstream frame that
// starts no more than half a frame of its own before the wanted one, whichever way it came. Beyond
// the upstream's last frame, that one repeats. A skip over more than kiv::kLongestWalk upstream frames
// seeks most of them.
//
// Units:    its own frame numbers are render frames, the upstream's are source frames; time int64 in
//           100 ns.
// Owns:     its upstream reference; keeps no frame.
// Threads:  one caller at a time; has no lock.
// Errors:   creates none; an upstream failure is returned unchanged and leaves the position where it
//           was.
class CVideoSlider : public CSourceBase {
 public:
  CVideoSlider(IUnknown* outer, NodeRef upstream);

  // The stored position, -1 before the first move. Leaves `time` untouched.
  int32_t GetPosition(int64_t* time) override;
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;

 private:
  HRESULT OnSetSourceFrameRate(const CommandArgs& args);
  HRESULT OnSetRenderFrameRate(const CommandArgs& args);

  void ReadRates(IKivProperties* settings, IKivProperties* info);
  // Until the upstream's frame starts at `earliest` or later, or no longer does.
  HRESULT StepForward(int64_t earliest);
  HRESULT StepBack(int64_t earliest);
  bool IsFar(int32_t wanted) const;
  HRESULT SkipTo(int32_t wanted, int32_t count);
  HRESULT SeekBefore(int64_t earliest);
  HRESULT StepBackToEnd();
  int64_t UpstreamTime(int64_t unknown) const;
  bool UpstreamTellsTime() const;

  KivRational sourceRate_{25, 1};
  KivRational renderRate_{25, 1};
  // Steps made past the upstream's last frame, whose time stood still.
  int32_t beyondEnd_ = 0;
};
