// Plays a preset alpha video over a clip of any length and re-colours it.
//
// Its own frames count at the preset's rate and may go on for ever; each shows the preset's frame that
// MapToMaskFrame names. While the clip is not a preset, everything passes through.
//
// Units:    frame index int32; time int64 in 100 ns.
// Owns:     its upstream reference; filters, output frame, fill image and mask, until Flush or a
//           cleanup.
// Threads:  one caller at a time; has no lock.
// Errors:   E_POINTER for a null record, E_INVALIDARG for one whose paths do not end; an upstream
//           failure is returned unchanged and leaves the position where it was. A missing
//           filter, image or mask never costs a frame.
#pragma once

#include <cstdint>

#include "kiv/chain/Dispatch.h"
#include "kiv/chain/SourceBase.h"
#include "kiv/effects/AlphaVideoFields.h"
#include "kiv/effects/AlphaVideoMask.h"
#include "kiv/effects/AlphaVideoPictures.h"
#include "kiv/effects/AlphaVideoTiming.h"

class CVideoAlphaVideo : public CSourceBase {
 public:
  CVideoAlphaVideo(IUnknown* outer, NodeRef upstream);

  // 0 when the clip is no preset.
  virtual int32_t GetPreset() { return fields_.preset; }

  int32_t GetPosition(int64_t* time) override;
  // `reached` receives the preset's frame.
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  // `moved` is left alone while the preset is held, and where it jumps.
  HRESULT Skip(int32_t count, int32_t* moved) override;
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT Flush() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;
  HRESULT SaveSettings(IKivProperties* bag) override;
  HRESULT LoadSettings(IKivProperties* bag) override;

 private:
  HRESULT OnSetRenderFrameRate(const CommandArgs& args);
  HRESULT OnSetRenderRange(const CommandArgs& args);
  HRESULT OnSetImageFill(const CommandArgs& args);
  HRESULT OnSetSettings(const CommandArgs& args);
  HRESULT OnGetSettings(const CommandArgs& args);

  AlphaVideoTiming Timing() const;
  int32_t Mapped(int32_t frame) const { return MapToMaskFrame(Timing(), frame); }
  bool UsesMask() const { return fields_.fullHd == 1 && mask_.HasDecoder(); }
  // All of the mask's files come up with the first frame that needs them.
  HRESULT OpenFullHDSource();
  HRESULT SkipTo(int32_t presetFrame, int32_t count, int32_t* moved);
  HRESULT StepTo(int32_t presetFrame, int32_t count, int32_t* moved);
  HRESULT JumpTo(int32_t presetFrame);
  KivComPtr<IKivFrame> Compose(const KivComPtr<IKivFrame>& frame);
  KivComPtr<IKivFrame> MaskFor(const KivComPtr<IKivFrame>& frame);
  void ReadSettings(IKivProperties* settings, IKivProperties* info);
  void LoadPaths(IKivProperties* bag);
  void ReleaseWorkingObjects();

  AlphaVideoFields fields_;
  KivRational sourceRate_{25, 1};
  KivRational renderRate_;
  KivRange renderRange_;
  // The clip's frame; the base's position is the preset's, where the upstream is.
  int32_t timelineFrame_ = 0;
  bool isHeld_ = false;  // the last step stayed on the preset's frame
  bool isMaskReady_ = false;
  int32_t imageFill_ = 0;
  AlphaVideoMask mask_;
  AlphaVideoPictures pictures_;
};
