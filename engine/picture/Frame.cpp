#include "engine/picture/Frame.h"

#include <algorithm>
#include <cstring>

#include "engine/memory/StreamCopy.h"
#include "kiv/base/FrameTime.h"
#include "kiv/platform/FrameFacts.h"

namespace kiv {
namespace {

KivComPtr<IPictureHolder> HolderOf(IKivFrame* frame) {
  KivComPtr<IPictureHolder> holder;
  if (frame) frame->QueryInterface(IPictureHolder::kIid, holder.PutVoid());
  return holder;
}

}  // namespace

HRESULT PictureMemory::Resize(int32_t width, int32_t height) {
  if (!IsPictureSize(width, height)) return E_INVALIDARG;
  const KivSize size{width, height};
  if (buffer_.HasOneOwner() && size == size_) return S_OK;
  SharedBuffer buffer(PictureBytesOf(size));
  if (!buffer) return E_OUTOFMEMORY;
  buffer_ = std::move(buffer);
  size_ = size;
  return S_OK;
}

HRESULT PictureMemory::MakeOwn() {
  if (!buffer_ || buffer_.HasOneOwner()) return S_OK;
  PictureMemory own;
  const HRESULT hr = own.CopyRows(size_.width, size_.height, Pixels(), RowBytes());
  if (Succeeded(hr)) std::swap(own, *this);
  return hr;
}

HRESULT PictureMemory::Fill(uint32_t bgra) {
  if (!buffer_) return E_NOTREADY;
  if (const HRESULT hr = Resize(size_.width, size_.height); Failed(hr)) return hr;
  if (bgra == 0) {
    std::memset(Pixels(), 0, ByteCount());
  } else {
    std::fill_n(reinterpret_cast<uint32_t*>(Pixels()), ByteCount() / kBytesPerPixel, bgra);
  }
  return S_OK;
}

HRESULT PictureMemory::CopyRows(int32_t width, int32_t height, const void* source,
                                size_t sourceRowBytes) {
  // The rows may lie in the buffer that a new size gives back, so that one has to stay until then.
  PictureMemory target;
  if (buffer_.HasOneOwner() && KivSize{width, height} == size_) {
    std::swap(target, *this);
  } else if (const HRESULT hr = target.Resize(width, height); Failed(hr)) {
    return hr;
  }
  const size_t rowBytes = target.RowBytes();
  const auto* from = static_cast<const uint8_t*>(source);
  uint8_t* to = target.Pixels();
  if (sourceRowBytes == rowBytes) {
    if (from != to) StreamCopy(to, from, target.ByteCount());
  } else {
    for (int32_t row = 0; row < height; ++row, from += sourceRowBytes, to += rowBytes) {
      std::memcpy(to, from, rowBytes);
    }
  }
  std::swap(target, *this);
  return S_OK;
}

bool ShareWith(IKivFrame* frame, const PictureMemory& memory) {
  const auto holder = HolderOf(frame);
  if (!holder || !holder->MayShare()) return false;
  holder->Memory() = memory;
  return true;
}

HRESULT CFrame::SetTime(int64_t presentationTime, int64_t duration) {
  presentationTime_ = presentationTime;
  duration_ = duration;
  return S_OK;
}

HRESULT CFrame::GetTime(int64_t* presentationTime, int64_t* duration) {
  if (presentationTime) *presentationTime = presentationTime_;
  if (duration) *duration = duration_;
  return S_OK;
}

HRESULT CFrame::GetDescription(KivFrameDescription* description) {
  if (!description) return E_POINTER;
  KivFrameDescription all;
  all.width = memory_.Size().width;
  all.height = memory_.Size().height;
  all.presentationTime = presentationTime_;
  all.duration = duration_;
  all.frameIndex = frameIndex_;
  all.rowBytes = static_cast<int32_t>(memory_.RowBytes());
  all.allocated = memory_.Size();
  all.byteCount = static_cast<int64_t>(memory_.ByteCount());
  all.memoryType = memoryType_;
  all.pixelLayout = memory_.Pixels() ? KivPixelLayout::kStraight : KivPixelLayout::kNone;
  *description = all;
  return S_OK;
}

HRESULT CFrame::CopyFrom(IKivFrame* source) {
  if (!source) return E_INVALIDARG;
  if (source == this) return S_OK;
  KivFrameDescription from;
  if (const HRESULT hr = source->GetDescription(&from); Failed(hr)) return hr;
  const void* const pixels = KivCommon::ReadPixels(source);
  if (!pixels || from.pixelLayout == KivPixelLayout::kNone) return E_NOTREADY;
  if (!IsPictureSize(from.width, from.height)) return E_INVALIDARG;
  if (from.rowBytes < from.width * kBytesPerPixel) return E_INVALIDARG;
  if (const auto holder = HolderOf(source); holder && holder->MayShare() && MayShare()) {
    memory_ = holder->Memory();
  } else {
    const auto rowBytes = static_cast<size_t>(from.rowBytes);
    const HRESULT hr = memory_.CopyRows(from.width, from.height, pixels, rowBytes);
    if (Failed(hr)) return hr;
  }
  presentationTime_ = from.presentationTime;
  duration_ = from.duration;
  frameIndex_ = from.frameIndex;
  return S_OK;
}

void* CFrame::GetPixels() {
  if (Failed(memory_.MakeOwn())) return nullptr;
  gavePixels_ = gavePixels_ || memory_.Pixels();
  return memory_.Pixels();
}

HRESULT CFrame::SetFrameIndex(int32_t index) {
  frameIndex_ = index;
  return S_OK;
}

HRESULT CFrame::Allocate(int32_t width, int32_t height, int32_t format, KivCGMemoryType type,
                         const void* pixels, int32_t /*flags*/, int64_t duration) {
  if (format != 0) return E_INVALIDARG;
  if (!IsPictureSize(width, height)) return E_INVALIDARG;
  const HRESULT hr = pixels ? memory_.CopyRows(width, height, pixels, RowBytesOf(width))
                            : memory_.Resize(width, height);
  if (Failed(hr)) return hr;
  memoryType_ = type;
  duration_ = duration;
  return hr;
}

HRESULT CreateFrameObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CFrame>(outer, iid, object);
}

}  // namespace kiv

namespace {

bool HasStraightPicture(IKivFrame* frame, const KivSize& size) {
  if (!KivCommon::ReadPixels(frame)) return false;
  KivFrameDescription description;
  if (Failed(frame->GetDescription(&description))) return false;
  return description.pixelLayout != KivPixelLayout::kPadded &&
         KivSize{description.width, description.height} == size;
}

}  // namespace

namespace KivCommon {

const void* ReadPixels(IKivFrame* frame) {
  if (!frame) return nullptr;
  const auto holder = kiv::HolderOf(frame);
  return holder ? holder->Memory().Pixels() : frame->GetPixels();
}

void* PixelsToFill(IKivFrame* frame) {
  if (!frame) return nullptr;
  const auto holder = kiv::HolderOf(frame);
  if (!holder) return frame->GetPixels();
  kiv::PictureMemory& memory = holder->Memory();
  const KivSize size = memory.Size();
  return Succeeded(memory.Resize(size.width, size.height)) ? memory.Pixels() : nullptr;
}

KivComPtr<IKivFrame> CreateBGRAFrameFrom(KivComPtr<IKivFrame>& frame, const KivSize& size,
                                         KivCGMemoryType type) {
  if (HasStraightPicture(frame.Get(), size)) return frame;
  KivComPtr<IKivFrame> made;
  if (Failed(kiv::MakeFrame(size, type, &made))) return {};
  frame = made;
  return made;
}

KivComPtr<IKivFrame> CreateBGRAFrameFrom(KivComPtr<IKivFrame>& frame, IKivFrame* shape,
                                         KivCGMemoryType type) {
  if (!ReadPixels(shape)) return {};
  KivFrameDescription description;
  if (Failed(shape->GetDescription(&description))) return {};
  return CreateBGRAFrameFrom(frame, KivSize{description.width, description.height}, type);
}

int64_t FrameNumberToPTS(int32_t index, double rate) {
  return rate == 0 ? 0 : kiv::FrameStart(index, rate);
}

namespace ImageFunc {

KivComPtr<IKivBitmap> InitBitmap(int32_t width, int32_t height) {
  auto* const made = new (std::nothrow) kiv::CBitmap;
  auto bitmap = KivComPtr<IKivBitmap>::Adopt(made);
  if (!made || Failed(made->Resize(width, height))) return {};
  made->Fill(0);
  return bitmap;
}

}  // namespace ImageFunc
}  // namespace KivCommon
