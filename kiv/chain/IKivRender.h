// The render interfaces: a host pulls a clip's frames through them.
//
// Units:    frame index int32 in the tail node's output; -1 is no position.
// Threads:  any; one lock serialises all operations.
// Errors:   a missing or empty frame gives E_FAIL, the out slot then holds that frame or null. The
//           first operation initializes the chain and returns its failure, once.
#pragma once

#include <cstdint>
#include <functional>

#include "kiv/platform/Frame.h"
#include "kiv/values/ValueTypes.h"

// May replace `cached`; the result is ignored. Runs under the render's lock.
using KivFrameTransform = std::function<int32_t(
    KivComPtr<IKivFrame> frame, KivComPtr<IUnknown> argument, KivComPtr<IKivFrame>& cached)>;

struct KIV_EXPORT IKivRender : IUnknown {
  static constexpr GUID kIid{
      0x9BB41E51, 0x145B, 0x4150, {0xB9, 0x73, 0xBE, 0x3F, 0x8B, 0xFA, 0xB3, 0x17}};

  // In the four operations with an out frame, the slot holds null or a reference on entry.
  virtual HRESULT GetFrame(KivComPtr<IKivFrame>* frame) = 0;
  // The frame pulled last; pulls nothing.
  virtual HRESULT GetLastFrame(KivComPtr<IKivFrame>* frame) = 0;
  // `reached` and `moved` may be null.
  virtual HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) = 0;
  virtual HRESULT Skip(int32_t count, int32_t* moved) = 0;
  virtual int32_t GetPosition() = 0;
  // Drops frames and tells the nodes to release what they hold; the next operation initializes.
  virtual HRESULT Cleanup() = 0;
  // Always S_OK: answers come through `param`.
  virtual HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) = 0;
};

struct KIV_EXPORT IKivRenderEx : IKivRender {
  static constexpr GUID kIid{
      0x26CF902D, 0xC1DD, 0xEEED, {0x47, 0x2C, 0x5C, 0xC5, 0xD2, 0x42, 0xCA, 0xCD}};

  virtual HRESULT GetFrameEx(KivComPtr<IKivFrame>* frame, KivComPtr<IUnknown> argument,
                             KivFrameTransform transform) = 0;
  virtual HRESULT GetLastFrameEx(KivComPtr<IKivFrame>* frame, KivComPtr<IUnknown> argument,
                                 KivFrameTransform transform) = 0;
};

// What the chain is initialized with. Set before the first render operation; a later change takes
// effect at the next initialization. Untouched, the values are 0/1, 960 x 540 and 0/1.
struct KIV_EXPORT IKivRenderSettings : IUnknown {
  static constexpr GUID kIid{
      0xD80C2F6A, 0x5B91, 0x4A3E, {0x86, 0x1D, 0xC7, 0x40, 0x9E, 0x35, 0xF2, 0x6B}};

  // A null pointer gives E_POINTER.
  virtual HRESULT SetRenderFrameRate(const KivRational* rate) = 0;
  virtual HRESULT SetRenderSize(const KivSize* size) = 0;
  virtual HRESULT SetCustomSourceFrameRate(const KivRational* rate) = 0;
};
