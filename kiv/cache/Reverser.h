// Plays a stretch of the clip backwards by mirroring frame indices.
#pragma once

#include <cstdint>

#include "kiv/chain/Dispatch.h"
#include "kiv/chain/SourceBase.h"

// Reversing is on when it was asked for and the speed settings are enabled. While it is, the
// position held is the upstream's, and times are turned round so that they grow again.
//
// Units:    frame index int32; time int64 in 100 ns.
// Owns:     nothing but its upstream reference; keeps no frame between calls.
// Threads:  one caller at a time; has no lock.
// Errors:   creates none; an upstream failure is returned unchanged and leaves the position where it
//           was.
class CReverser : public CSourceBase {
 public:
  CReverser(IUnknown* outer, NodeRef upstream);

  // What the clip's stream says about rate and length. Either bag may be null.
  virtual void ReadSourceInfo(IKivProperties* settings, IKivProperties* info) = 0;

  // The output index of the position. Leaves `time` untouched and does not ask the upstream.
  int32_t GetPosition(int64_t* time) override;
  // `reached` receives an upstream index, not an output index.
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  // The upstream's frame, its time rewritten; a frame without a picture gets time and duration 0.
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;

 protected:
  int32_t total_ = 0;  // frames of the output at the render rate
  KivRational sourceRate_{25, 1};
  KivRational renderRate_{25, 1};

 private:
  HRESULT OnSetSourceFrameRate(const CommandArgs& args);
  HRESULT OnSetRenderFrameRate(const CommandArgs& args);
  HRESULT OnGetSpeedSettings(const CommandArgs& args);
  HRESULT OnSetSpeedSettings(const CommandArgs& args);

  bool IsActive() const { return speedEnabled_ && reverse_; }
  int32_t Mirror(int32_t index) const;
  void Retime(IKivFrame* frame) const;

  bool reverse_ = false;
  bool speedEnabled_ = true;
  KivRange range_;
};
