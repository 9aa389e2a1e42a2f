#include "kiv/StreamCommon/Streamer.h"

#include <algorithm>

#include "kiv/base/FrameTime.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/Saturate.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr int32_t kDecoderFailed = 1;

}  // namespace

CStreamer::CStreamer(IUnknown* outer) : CSourceBase(outer, nullptr) {}

HRESULT CStreamer::SetDecoder(IKivMediaDecoder* decoder) {
  KivComPtr<IKivMediaDecoder> exchanged(decoder);
  CSimpleMutexLock guard(lock_);
  decoder_.Swap(exchanged);
  decoderIsPlaced_ = false;
  return S_OK;
}

void CStreamer::SetFrameIndex(IKivFrame* frame, int32_t index) {
  const auto videoFrame = KivComPtr<IKivFrame>(frame).As<IKivVideoFrame>();
  if (videoFrame) videoFrame->SetFrameIndex(index);
}

void CStreamer::SetFrameTime(IKivFrame* frame, int32_t index, const KivRational& rate) {
  if (!frame) return;
  const double framesPerSecond = rate.ToDouble();
  frame->SetTime(KivCommon::FrameNumberToPTS(index, framesPerSecond),
                 KivCommon::FrameNumberToPTS(1, framesPerSecond));
}

int64_t CStreamer::FrameToTime(int32_t index) {
  CSimpleMutexLock guard(lock_);
  return kiv::FrameStart(index, frameRate_);
}

int32_t CStreamer::GetPosition(int64_t* time) {
  CSimpleMutexLock guard(lock_);
  const int32_t index = position_ == -1 ? 0 : position_;
  if (time) PlaceDecoderLocked();
  if (time) *time = decoder_ ? decoder_->GetCurrentTime() : kiv::FrameStart(index, frameRate_);
  return index;
}

// Where frames are not evenly spaced, a time at the rate is that of another one.
void CStreamer::SeekDecoderLocked(int32_t frame, int32_t mode) {
  const auto byNumber = decoder_.As<IKivFrameSeek>();
  if (byNumber && byNumber->SeekFrame(frame, &frameRate_, mode) == S_OK) return;
  decoder_->Seek(FrameToTime(frame), mode);
}

HRESULT CStreamer::Seek(int32_t frame, int32_t* reached, int32_t mode) {
  CSimpleMutexLock guard(lock_);
  if (decoder_ && (frame != position_ || !decoderIsPlaced_)) {
    SeekDecoderLocked(frame, mode);
    decoderIsPlaced_ = true;
  }
  position_ = frame;
  moved_ = true;
  if (reached) *reached = frame;
  return S_OK;
}

HRESULT CStreamer::Skip(int32_t count, int32_t* moved) {
  CSimpleMutexLock guard(lock_);
  PlaceDecoderLocked();
  if (position_ == -1 && !moved_) position_ = 0;
  const HRESULT hr = decoder_ ? decoder_->Skip(count, moved) : S_OK;
  position_ = kiv::ClampToInt32(int64_t{position_} + count);
  moved_ = true;
  decoderIsPlaced_ = static_cast<bool>(decoder_);
  if (moved) *moved = count;
  return std::max(hr, S_OK);
}

KivComPtr<IKivFrame> CStreamer::GetCurrentFrame(int32_t* status) {
  CSimpleMutexLock guard(lock_);
  if (!decoder_) return nullptr;
  PlaceDecoderLocked();
  KivComPtr<IKivFrame> frame;
  // A host may rebuild the chain from inside the read, which detaches the decoder.
  const KivComPtr<IKivMediaDecoder> decoder = decoder_;
  const HRESULT hr = decoder->ReadCurrentFrame(&frame);
  if (Failed(hr)) {
    KIV_LOG(LogLevel::kFailure, L"CStreamer::GetCurrentFrame: hr %08x", static_cast<uint32_t>(hr));
  }
  SetFrameIndex(frame.Get(), position_ == -1 ? 0 : position_);
  if (status) *status = Failed(hr) ? kDecoderFailed : hr;
  return frame;
}

void CStreamer::PlaceDecoderLocked() {
  if (!decoder_ || decoderIsPlaced_ || !moved_) return;
  SeekDecoderLocked(position_, static_cast<int32_t>(KivSeekMode::kReadOnward));
  decoderIsPlaced_ = true;
}

HRESULT CStreamer::Flush() {
  {
    CSimpleMutexLock guard(lock_);
    position_ = -1;
    moved_ = false;
  }
  return CSourceBase::Flush();
}

HRESULT CStreamer::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  static constexpr CommandRow<CStreamer> kRows[] = {
      {CommandId::SetDecoder, &CStreamer::OnSetDecoder, Route::kStop},
  };
  return Dispatch(*this, kRows, id, param, extra);
}

HRESULT CStreamer::OnSetDecoder(const CommandArgs& args) {
  const KivComPtr<IUnknown> object(args.As<IUnknown>());
  const auto decoder = object.As<IKivMediaDecoder>();
  SetDecoder(decoder.Get());
  // An object that is no decoder detaches, as null does.
  return object && !decoder ? E_NOINTERFACE : S_OK;
}
