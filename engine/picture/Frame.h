// The engine's frames and bitmaps: BGRA pictures in pooled memory.
//
// A copy shares the memory of what it was made from until one of the two is written. Nobody can tell
// who still holds a pointer that GetPixels gave, so a frame that ever gave one no longer shares.
//
// Units:    sizes in pixels; time int64 in 100 ns; frame index int32, -1 = none.
// Owns:     its pixels. A frame's bitmap is the frame itself: borrowed, sharing identity.
// Threads:  the count any; the rest one caller at a time.
// Errors:   a refused or failed allocation leaves frame and pixels as they were.
#pragma once

#include "engine/base/CountedObject.h"
#include "engine/memory/SharedBuffer.h"
#include "kiv/platform/Frame.h"
#include "kiv/platform/PictureFacts.h"

namespace kiv {

// Straight rows of BGRA in one pooled buffer. A copy of this object shares the buffer.
class PictureMemory {
 public:
  // Keeps the memory when the size stays and nobody shares it. The content is unspecified afterwards.
  // E_INVALIDARG or E_OUTOFMEMORY leave all as it was.
  HRESULT Resize(int32_t width, int32_t height);
  // Keeps the content, in memory that nobody shares.
  HRESULT MakeOwn();
  HRESULT Fill(uint32_t bgra);
  // Takes over rows that lie `sourceRowBytes` apart; they may be this picture's own.
  HRESULT CopyRows(int32_t width, int32_t height, const void* source, size_t sourceRowBytes);

  const KivSize& Size() const { return size_; }
  uint8_t* Pixels() const { return buffer_.Data(); }
  size_t RowBytes() const { return RowBytesOf(size_.width); }
  size_t ByteCount() const { return RowBytes() * static_cast<size_t>(size_.height); }

 private:
  KivSize size_;
  SharedBuffer buffer_;
};

// The engine's own way to the memory of its frames.
struct IPictureHolder : IUnknown {
  static constexpr GUID kIid{
      0x1B0C9D52, 0x64EA, 0x4F7B, {0x9A, 0x13, 0x55, 0x0D, 0xE2, 0x7C, 0x38, 0x96}};

  virtual PictureMemory& Memory() = 0;
  // Nobody holds a pointer to the pixels.
  virtual bool MayShare() = 0;
};

// Gives the frame a share of `memory`. False when it is not a frame of the engine or cannot share.
bool ShareWith(IKivFrame* frame, const PictureMemory& memory);

class CFrame final : public CountedObject<IKivFrame, IKivVideoFrame, IKivBitmap, IPictureHolder> {
 public:
  HRESULT SetTime(int64_t presentationTime, int64_t duration) override;
  HRESULT GetTime(int64_t* presentationTime, int64_t* duration) override;
  HRESULT GetDescription(KivFrameDescription* description) override;
  HRESULT CopyFrom(IKivFrame* source) override;
  IKivBitmap* GetBitmap() override { return this; }
  void* GetPixels() override;

  int32_t GetFrameIndex() override { return frameIndex_; }
  HRESULT SetFrameIndex(int32_t index) override;
  HRESULT Allocate(int32_t width, int32_t height, int32_t format, KivCGMemoryType type,
                   const void* pixels, int32_t flags, int64_t duration) override;

  HRESULT Fill(uint32_t bgra) override { return memory_.Fill(bgra); }
  int32_t GetWidth() override { return memory_.Size().width; }
  int32_t GetHeight() override { return memory_.Size().height; }

  PictureMemory& Memory() override { return memory_; }
  bool MayShare() override { return !gavePixels_; }

 private:
  PictureMemory memory_;
  bool gavePixels_ = false;
  int64_t presentationTime_ = 0;
  int64_t duration_ = 0;
  int32_t frameIndex_ = -1;
  KivCGMemoryType memoryType_ = KivCGMemoryType::kDownstream;
};

class CBitmap final : public CountedObject<IKivBitmap> {
 public:
  HRESULT Resize(int32_t width, int32_t height) { return memory_.Resize(width, height); }

  HRESULT Fill(uint32_t bgra) override { return memory_.Fill(bgra); }
  int32_t GetWidth() override { return memory_.Size().width; }
  int32_t GetHeight() override { return memory_.Size().height; }
  void* GetPixels() override { return memory_.Pixels(); }

 private:
  PictureMemory memory_;
};

// The creation function of kFrameClassId.
HRESULT CreateFrameObject(IUnknown* outer, const GUID& iid, void** object);

}  // namespace kiv
