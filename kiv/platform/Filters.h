// Image filters: created by GUID, told their inputs and rectangles, run, and read into a frame.
//
// Units:    rectangles in fractions of a frame, {0, 0, 1, 1} is the whole.
// Owns:     a filter keeps references to its inputs until the next run or until they are replaced.
// Threads:  one caller at a time for each filter.
// Errors:   Run without the inputs that the filter needs and ReadOutput before a Run give E_NOTREADY, a
//           GUID that names no filter E_NOTFOUND. A run that fails leaves the last result.
#pragma once

#include <cstdint>

#include "kiv/platform/Frame.h"

struct KIV_EXPORT IKivCGDevice : IUnknown {
  static constexpr GUID kIid{
      0x0D8C5E31, 0x9F27, 0x4A64, {0xBE, 0x18, 0x70, 0xC3, 0x4D, 0x92, 0xAB, 0x56}};
};

// Also answers IKivProperties: the bag that publishes its parameters (KivKey::Filter::Property).
struct KIV_EXPORT IKivCGFilter : IUnknown {
  static constexpr GUID kIid{
      0xC47F19B2, 0x5E80, 0x4D3C, {0x97, 0xA5, 0x2F, 0x6B, 0xD0, 0x18, 0xE3, 0x49}};

  virtual HRESULT SetSecondInput(IKivFrame* frame) = 0;  // slot 3, may be null
  virtual HRESULT SetFirstInput(IKivFrame* frame) = 0;
  virtual HRESULT SetInputCount(int32_t value) = 0;  // given 1 before every run
  virtual HRESULT SetRunMode(int32_t value) = 0;     // given 0 before every run
  virtual HRESULT Reserved7() { return E_NOTIMPL; }
  // `second` places the result in the output, `first` selects what is read of the first input.
  virtual HRESULT SetRects(const KivRectF* second, const KivRectF* first) = 0;  // slot 8
  virtual HRESULT Reserved9() { return E_NOTIMPL; }
  virtual HRESULT Run(const KivSize* outputSize) = 0;  // slot 10
  virtual HRESULT ReadOutput(IKivFrame* frame) = 0;
  virtual HRESULT Reserved12() { return E_NOTIMPL; }
  virtual HRESULT Reserved13() { return E_NOTIMPL; }
  virtual HRESULT Reserved14() { return E_NOTIMPL; }
  virtual HRESULT Reserved15() { return E_NOTIMPL; }
  virtual HRESULT Reserved16() { return E_NOTIMPL; }
  virtual HRESULT Reserved17() { return E_NOTIMPL; }
  virtual HRESULT Reserved18() { return E_NOTIMPL; }
  // Takes the parameters' current values over before a run.
  virtual HRESULT CommitParameters() = 0;  // slot 19
};

struct KIV_EXPORT IKivCGFilterManager : IUnknown {
  static constexpr GUID kIid{
      0x7E2A6B94, 0x03D5, 0x4F8B, {0x8A, 0xC9, 0x41, 0xE6, 0x57, 0x0D, 0xB8, 0x23}};

  virtual HRESULT Reserved3() { return E_NOTIMPL; }
  virtual HRESULT Reserved4() { return E_NOTIMPL; }
  virtual HRESULT Reserved5() { return E_NOTIMPL; }
  virtual HRESULT Reserved6() { return E_NOTIMPL; }
  // `guid` is the text without braces.
  virtual HRESULT CreateFilter(IKivCGDevice* device, const wchar_t* guid,
                               KivComPtr<IKivCGFilter>* filter) = 0;  // slot 7
};
