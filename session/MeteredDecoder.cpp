#include "session/MeteredDecoder.h"

#include <chrono>
#include <utility>

namespace kiv::session {
namespace {

using Clock = std::chrono::steady_clock;

// Adds the time until its end to a counter.
class Stopwatch {
 public:
  explicit Stopwatch(std::atomic<int64_t>* total) : total_(total) {}
  ~Stopwatch() {
    *total_ += std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start_).count();
  }
  Stopwatch(const Stopwatch&) = delete;
  Stopwatch& operator=(const Stopwatch&) = delete;

 private:
  std::atomic<int64_t>* total_;
  Clock::time_point start_ = Clock::now();
};

}  // namespace

MeteredDecoder::MeteredDecoder(KivComPtr<IKivMediaDecoder> decoder)
    : decoder_(std::move(decoder)),
      size_(decoder_.As<IKivDecoderSize>()),
      stream_(decoder_.As<IKivStreamInfo>()),
      frames_(decoder_.As<IKivFrameSeek>()) {}

KivComPtr<MeteredDecoder> MeteredDecoder::Make(KivComPtr<IKivMediaDecoder> decoder) {
  return KivComPtr<MeteredDecoder>::Adopt(new MeteredDecoder(std::move(decoder)));
}

HRESULT MeteredDecoder::QueryInterface(const GUID& iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IKivDecoderSize::kIid && size_) {
    *object = static_cast<IKivDecoderSize*>(this);
  } else if (iid == IKivFrameSeek::kIid && frames_) {
    *object = static_cast<IKivFrameSeek*>(this);
  } else if (iid == IKivMediaDecoder::kIid || iid == IUnknown::kIid) {
    *object = static_cast<IKivMediaDecoder*>(this);
  } else {
    return decoder_->QueryInterface(iid, object);
  }
  AddRef();  // given back by the caller
  return S_OK;
}

uint32_t MeteredDecoder::Release() {
  const uint32_t left = --references_;
  if (left == 0) delete this;
  return left;
}

KivDecoderStats MeteredDecoder::Stats() {
  KivDecoderStats stats;
  const MutexLock hold(lock_);
  if (stream_) stream_->GetStats(&stats);
  return stats;
}

bool MeteredDecoder::TimeOf(int32_t index, int64_t* time, int64_t* duration) {
  const MutexLock hold(lock_);
  return stream_ && Succeeded(stream_->GetFrameTime(index, time, duration, nullptr));
}

int64_t MeteredDecoder::GetCurrentTime() {
  const MutexLock hold(lock_);
  return decoder_->GetCurrentTime();
}

HRESULT MeteredDecoder::SetProxyOff(bool off) {
  const MutexLock hold(lock_);
  return decoder_->SetProxyOff(off);
}

HRESULT MeteredDecoder::SetProxyPath(const wchar_t* path) {
  const MutexLock hold(lock_);
  return decoder_->SetProxyPath(path);
}

HRESULT MeteredDecoder::Seek(int64_t time, int32_t mode) {
  const MutexLock hold(lock_);
  const Stopwatch watch(&nanoseconds_);
  return decoder_->Seek(time, mode);
}

HRESULT MeteredDecoder::SeekFrame(int32_t index, const KivRational* rate, int32_t mode) {
  const MutexLock hold(lock_);
  const Stopwatch watch(&nanoseconds_);
  return frames_ ? frames_->SeekFrame(index, rate, mode) : E_NOTIMPL;
}

HRESULT MeteredDecoder::Skip(int32_t count, int32_t* moved) {
  const MutexLock hold(lock_);
  const Stopwatch watch(&nanoseconds_);
  return decoder_->Skip(count, moved);
}

HRESULT MeteredDecoder::ReadCurrentFrame(KivComPtr<IKivFrame>* frame) {
  const MutexLock hold(lock_);
  const Stopwatch watch(&nanoseconds_);
  const HRESULT hr = decoder_->ReadCurrentFrame(frame);
  ++(Failed(hr) ? unread_ : read_);
  return hr;
}

HRESULT MeteredDecoder::SetOutputSize(const KivSize* size) {
  const MutexLock hold(lock_);
  return size_ ? size_->SetOutputSize(size) : E_NOTIMPL;
}

HRESULT MeteredDecoder::GetSourceSize(KivSize* size) {
  const MutexLock hold(lock_);
  return size_ ? size_->GetSourceSize(size) : E_NOTIMPL;
}

}  // namespace kiv::session
