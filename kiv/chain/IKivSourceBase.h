// The node interface: what every node of a clip's chain answers.
//
// Units:    frame index int32, 0 is the first frame of the node's output, -1 is no position; time
//           int64 in 100 ns.
// Threads:  one caller at a time; the clip render serialises its calls.
// Errors:   a failed Seek or Skip leaves the position as it was.
#pragma once

#include <cstdint>

#include "kiv/platform/Frame.h"
#include "kiv/platform/Properties.h"

struct KIV_EXPORT IKivSourceBase : IUnknown {
  static constexpr GUID kIid{
      0xEBE69D6D, 0x2302, 0x4770, {0xB0, 0x41, 0x11, 0xA4, 0x33, 0x4E, 0xF1, 0x4C}};

  virtual int32_t GetPosition(int64_t* time) = 0;
  virtual HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) = 0;
  virtual HRESULT Skip(int32_t count, int32_t* moved) = 0;
  // `status` (may be null) receives 0 for a decoded frame, 1 when the decoder failed, E_FAIL when no
  // decoder is attached. Null when there is no frame.
  virtual KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) = 0;
  virtual HRESULT Flush() = 0;
  // `param` is a pointer, or a number widened from int32 with its sign. See CommandIds.h.
  virtual HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) = 0;
  virtual HRESULT Initialize(KivComPtr<IKivProperties> settings,
                             KivComPtr<IKivProperties> info) = 0;
  virtual HRESULT SaveSettings(IKivProperties* bag) = 0;
  virtual HRESULT LoadSettings(IKivProperties* bag) = 0;
};
