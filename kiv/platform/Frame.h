// Frames and bitmaps: what travels along a chain.
//
// Units:    time int64 in 100 ns; frame index int32; sizes in pixels; a row is width x 4 bytes,
//           BGRA with straight (not pre-multiplied) alpha, no gap between rows.
// Threads:  a frame is written by one thread at a time; its count may change on any thread.
// Errors:   E_INVALIDARG for sizes that no picture has, E_NOTREADY for a copy of a frame that holds no
//           picture, E_OUTOFMEMORY; the frame is then as it was.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kiv/platform/KivComPtr.h"
#include "kiv/values/ValueTypes.h"

enum class KivCGMemoryType : int32_t {
  kCached = 1,      // copies that stay inside a node
  kDownstream = 2,  // frames handed on
};

// What kind of rows a frame holds. kPadded rows must be repacked (by CopyFrom into another frame)
// before they are handed over as straight BGRA.
enum class KivPixelLayout : int32_t { kNone = 0, kStraight = 1, kPadded = 32 };

struct KivFrameDescription {
  int32_t width = 0, height = 0;
  int64_t presentationTime = 0;
  int64_t duration = 0;
  int32_t frameIndex = -1;
  int32_t rowBytes = 0;
  KivSize allocated;
  int64_t byteCount = 0;
  KivCGMemoryType memoryType = KivCGMemoryType::kDownstream;
  int32_t reserved = 0;
  KivPixelLayout pixelLayout = KivPixelLayout::kNone;
  int32_t reserved2 = 0;
};
static_assert(offsetof(KivFrameDescription, pixelLayout) == 56);

struct KIV_EXPORT IKivBitmap : IUnknown {
  static constexpr GUID kIid{
      0x5D1B6C1E, 0x3A0F, 0x4C77, {0x9B, 0x52, 0x0E, 0x6F, 0x1C, 0x83, 0xA4, 0x11}};

  virtual HRESULT Reserved3() { return E_NOTIMPL; }
  // Every pixel becomes `bgra`, blue in the lowest byte. 0 is transparent black.
  virtual HRESULT Fill(uint32_t bgra) = 0;
  virtual int32_t GetWidth() = 0;
  virtual int32_t GetHeight() = 0;
  virtual HRESULT Reserved7() { return E_NOTIMPL; }
  virtual HRESULT Reserved8() { return E_NOTIMPL; }
  virtual HRESULT Reserved9() { return E_NOTIMPL; }
  // The first pixel of the top row; null when nothing is allocated.
  virtual void* GetPixels() = 0;
};

struct KIV_EXPORT IKivFrame : IUnknown {
  static constexpr GUID kIid{
      0xD5A682CB, 0x7397, 0xFC57, {0xE7, 0x39, 0x09, 0x6A, 0xF5, 0xB3, 0xFD, 0x27}};

  virtual HRESULT SetTime(int64_t presentationTime, int64_t duration) = 0;
  // Either out pointer may be null.
  virtual HRESULT GetTime(int64_t* presentationTime, int64_t* duration) = 0;
  virtual HRESULT GetDescription(KivFrameDescription* description) = 0;
  virtual HRESULT Reserved6() { return E_NOTIMPL; }
  virtual HRESULT Reserved7() { return E_NOTIMPL; }
  virtual HRESULT Reserved8() { return E_NOTIMPL; }
  // The pixel data, to read and write; null when the frame holds no picture, or when it shares memory
  // with a copy and memory of its own runs out. Stays valid while the size stays. To read only, or to
  // fill the whole frame, KivCommon::ReadPixels and PixelsToFill are cheaper.
  virtual void* GetPixels() = 0;
  virtual HRESULT Reserved10() { return E_NOTIMPL; }
  // Takes over size, pixels, time and index. Memory is shared until one of the two is written, or
  // else reused when the size stays.
  virtual HRESULT CopyFrom(IKivFrame* source) = 0;
  // Borrowed: lives as long as the frame. Never null; empty when the frame holds no picture.
  virtual IKivBitmap* GetBitmap() = 0;
};

struct KIV_EXPORT IKivVideoFrame : IUnknown {
  static constexpr GUID kIid{
      0x8022AAE8, 0xCE6F, 0xBC0D, {0x5C, 0x58, 0x1D, 0xCC, 0x63, 0xE8, 0x5C, 0x9B}};

  virtual HRESULT Reserved3() { return E_NOTIMPL; }
  virtual HRESULT Reserved4() { return E_NOTIMPL; }
  virtual int32_t GetFrameIndex() = 0;
  virtual HRESULT SetFrameIndex(int32_t index) = 0;
  virtual HRESULT Reserved7() { return E_NOTIMPL; }
  virtual HRESULT Reserved8() { return E_NOTIMPL; }
  // Gives the frame memory for width x height pixels, copied from `pixels` (straight rows) or, when
  // that is null, of unspecified content. `format` 0 is BGRA; `flags` is 0. Sizes below 1 or beyond
  // 2^15 a side give E_INVALIDARG and leave the frame as it was.
  virtual HRESULT Allocate(int32_t width, int32_t height, int32_t format, KivCGMemoryType type,
                           const void* pixels, int32_t flags, int64_t duration) = 0;
};

// The class of new frames, for KivCommon::GetInterface.
constexpr GUID kFrameClassId{
    0xBF73FF76, 0xBC29, 0x4A28, {0x9E, 0x43, 0xCF, 0xE6, 0x9C, 0x85, 0x22, 0xFD}};
// The length of one frame at 25 frames per second, given at allocation.
constexpr int64_t kDefaultFrameDuration = 400000;
